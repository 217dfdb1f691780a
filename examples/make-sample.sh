#!/bin/sh
# Rebuilds examples/sample.PAD with quelvari-cli: one component of each type
# whose editor is fully defined, with conditions and a branch.
# Usage: examples/make-sample.sh [path/to/quelvari-cli] [output file]
set -e
cli=${1:-build/ci/tools/cli/quelvari-cli}
out=${2:-$(dirname "$0")/sample.PAD}
cli=$(cd "$(dirname "$cli")" && pwd)/$(basename "$cli")
out=$(cd "$(dirname "$out")" && pwd)/$(basename "$out")
rm -f "$out"
# The module name test creates (and removes) a file in the current directory.
cd "$(mktemp -d)"
"$cli" add "$out" C entry=WEITER description="Leak test section" first=1 reference=Z1 \
    name="Leak test" identification=B1
"$cli" add "$out" M description="Pressure and temperature" save=1 variables=P1P2T1 \
    scan=0.01 count=500 trigger=P1 operator='>' value=10 link=1 trigger2=P2 operator2='<' \
    value2=250 pretrigger=2
"$cli" add "$out" Z description="Settle for 2 s" time-wait=1 factor=200
"$cli" add "$out" I description="Pressure watch" routine1=1 on1=1 own1=1 base1=0 time1=100 \
    routine2=1 off2=1 external2=1
"$cli" add "$out" U entry=E3 description="Pump start module" name=PUMPSTART
"$cli" add "$out" D description="Save measured values" dos-no=1 line1="SAVE -m123 -S01"
"$cli" add "$out" p description="Bench logo" file='C:\Quelvari\Bilder\logo.bmp' screen=1 \
    clear-yes=1 x=10 y=10 width=30 height=20
"$cli" add "$out" u entry='Z1>=Z2' description="Break on operator stop" reference=Z2 \
    registration=B7 branch=B7 target=2
"$cli" dump "$out"
