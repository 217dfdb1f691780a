#!/usr/bin/env bash
# Fuzzes the libFuzzer targets of fuzz/ for a while each.
#
#   scripts/fuzz.sh [TARGET|all] [SECONDS] [JOBS]
#
# TARGET is a name from fuzz/CMakeLists.txt (procedure_file, syntax_test, ...)
# or "all" (the default); SECONDS the time per target (default 60); JOBS how
# many targets run at once (default 2). Builds the fuzz preset first (clang,
# ASan + UBSan). Each target starts from its seed corpus in fuzz/corpus/TARGET
# and keeps what it learns in build/fuzz/corpus/TARGET (the repository's
# corpus is never written). A crash, leak, time-out or failed check leaves the
# input in build/fuzz/findings/TARGET/ and makes the script fail; add such an
# input to fuzz/corpus/TARGET/ once it is fixed (docs/fuzzing.md).
#
# Scratch files go to a directory of the run under $TMPDIR, /dev/shm when it is
# unset (saves fsync there cost nothing). Prints one line per target: executions, corpus size, result.
set -uo pipefail
cd "$(dirname "$0")/.."
target=${1:-all}
seconds=${2:-60}
jobs=${3:-2}
build=build/fuzz

if [ ! -f "$build/build.ninja" ]; then
    cmake --preset fuzz >/dev/null || exit 1
fi
log=$(mktemp)
cmake --build "$build" --target fuzzers -j2 >"$log" 2>&1
rc=$?
if [ $rc -ne 0 ]; then
    grep -v '^\[' "$log"
    rm -f "$log"
    exit $rc
fi
rm -f "$log"

mapfile -t all < <(sed -nE 's/^quelvari_fuzz_target\(([a-z_0-9]+).*/\1/p' fuzz/CMakeLists.txt)
if [ "$target" = all ]; then
    targets=("${all[@]}")
else
    printf '%s\n' "${all[@]}" | grep -qx "$target" || {
        echo "unknown target '$target'; targets: ${all[*]}" >&2
        exit 64
    }
    targets=("$target")
fi

# A scratch directory of this run, so that what a crashed target leaves goes too.
base=${TMPDIR:-}
if [ -z "$base" ] && [ -d /dev/shm ] && [ -w /dev/shm ]; then
    base=/dev/shm
fi
TMPDIR=$(mktemp -d "${base:-/tmp}/quelvari-fuzz-run-XXXXXX") || exit 1
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

# run_one TARGET: fuzzes one target; its summary line goes to build/fuzz/TARGET.result.
run_one() {
    local t=$1
    # Absolute names: a target may change the working directory.
    local corpus=$PWD/$build/corpus/$t findings=$PWD/$build/findings/$t out=$build/$t.log
    mkdir -p "$corpus" "$findings"
    nice -n 10 "$build/fuzz/fuzz-$t" "$corpus" "$PWD/fuzz/corpus/$t" \
        -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
        -print_final_stats=1 -artifact_prefix="$findings/" >"$out" 2>&1
    local status=$?
    local runs
    runs=$(sed -nE 's/^stat::number_of_executed_units: *([0-9]+)/\1/p' "$out" | tail -1)
    local size
    size=$(find "$corpus" -type f | wc -l)
    local result=ok
    if [ $status -ne 0 ]; then
        result="FAILED ($(grep -m1 -E 'SUMMARY|check failed|ERROR' "$out" || echo "status $status")); see $out"
    fi
    printf '%-20s %12s executions  %6s corpus files  %s\n' "$t" "${runs:-?}" "$size" "$result" \
        >"$build/$t.result"
    return $status
}

failed=0
pids=()
names=()
for t in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do
        wait -n || true
    done
    run_one "$t" &
    pids+=($!)
    names+=("$t")
done
for i in "${!pids[@]}"; do
    wait "${pids[$i]}" || failed=1
    cat "$build/${names[$i]}.result"
done
exit $failed
