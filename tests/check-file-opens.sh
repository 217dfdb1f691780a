#!/usr/bin/env bash
# Fails on a plain stdio or iostream file open (fopen, freopen, ifstream,
# ofstream, fstream) in the program's sources outside the allowed places.
# Files the user or a procedure names are read through OpenRegularFile or
# ReadRegularFile (model/file_io), which refuse FIFOs, devices and directories
# and bound what they read; files are written through AtomicFile.
#
# Allowed: "path count" -- at most that many opening calls in that file.
set -u
root=${1:-$(dirname "$0")/..}
allowed="
src/link/link_settings.cpp 2
src/link/simulator.cpp 1
src/link/transfer.cpp 2
src/link/transfer_job.cpp 1
tools/bench/bench_check.cpp 2
tools/bench/bench_transfer.cpp 1
tools/bench/ui/bench_ui.cpp 2
tools/cli/cli_link.cpp 1
tools/instrument/main.cpp 1
tools/textgen/textgen.cpp 3
"
# The link files above read the system file, pictures and link settings; they
# are to go through the safe open as well, and their entries with them.
pattern='\bfopen\s*\(|\bfreopen\s*\(|\b(std::)?(i|o)?fstream\b'
bad=0
cd "$root" || exit 2
while read -r count file; do
    limit=$(awk -v f="$file" '$1 == f { print $2 }' <<<"$allowed")
    if [ "$count" -gt "${limit:-0}" ]; then
        echo "$file: $count plain file opens (allowed: ${limit:-0}); use model/file_io:"
        grep -nE "$pattern" "$file" | grep -vE '^[0-9]+:\s*#\s*include'
        bad=1
    fi
done < <(grep -rnE "$pattern" src tools --include='*.cpp' --include='*.h' --include='*.cc' |
         grep -vE '^[^:]+:[0-9]+:\s*#\s*include' | cut -d: -f1 | sort | uniq -c)
exit $bad
