#!/usr/bin/env bash
# Fails when a source file includes a header from a layer that is not below its
# own. The allowed lists mirror the target_link_libraries of src/CMakeLists.txt:
# one line per layer, the layer first, then what it may include.
#
# One grep lists every include of a layer directory; the rest runs inside this
# shell without starting a process per line.
set -u
src=${1:-$(dirname "$0")/../src}
rules="
model       model
texts       texts model
components  components texts model
check       check components texts model
commands    commands check components texts model
exchange    exchange check components texts model
link        link texts model
render      render check components texts model
app         app render exchange commands link check components texts model
"
declare -A allowed=()
while read -r layer deps; do
    [ -n "$layer" ] && allowed[$layer]=" $deps "
done <<<"$rules"

bad=0
for dir in "$src"/*/; do
    layer=$(basename "$dir")
    [ -n "${allowed[$layer]+x}" ] || { echo "$dir: layer '$layer' has no dependency rule"; bad=1; }
done
pattern='^\s*#\s*include "([a-z_]+)/'
while IFS= read -r hit; do
    # hit: <src>/<layer>/<path>:<line>:<text>
    rest=${hit#"$src"/}
    layer=${rest%%/*}
    text=${hit#*:*:}
    [[ $text =~ $pattern ]] || continue
    target=${BASH_REMATCH[1]}
    [ -n "${allowed[$target]+x}" ] || continue
    if [[ ${allowed[$layer]-} != *" $target "* ]]; then
        echo "${hit%%:"$text"}: layer '$layer' must not include '$target'"
        bad=1
    fi
done < <(grep -rnE '^\s*#\s*include "[a-z_]+/' "$src" --include='*.h' --include='*.cpp')
exit $bad
