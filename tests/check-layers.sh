#!/usr/bin/env bash
# Fails when a source file includes a header from a layer that is not below its
# own. The allowed lists mirror the target_link_libraries of src/CMakeLists.txt.
set -u
src=${1:-$(dirname "$0")/../src}
declare -A allowed=(
    [model]="model"
    [texts]="texts model"
    [components]="components texts model"
    [check]="check components texts model"
    [commands]="commands check components texts model"
    [link]="link texts model"
    [render]="render check components texts model"
    [app]="app render commands link check components texts model"
)
bad=0
for layer in "${!allowed[@]}"; do
    [ -d "$src/$layer" ] || continue
    while IFS=: read -r file line inc; do
        target=$(sed -E 's/.*#include "([a-z_]+)\/.*/\1/' <<<"$inc")
        [ -d "$src/$target" ] || continue
        if ! grep -qw "$target" <<<"${allowed[$layer]}"; then
            echo "$file:$line: layer '$layer' must not include '$target'"
            bad=1
        fi
    done < <(grep -rnE '^\s*#\s*include "[a-z_]+/' "$src/$layer" --include='*.h' --include='*.cpp')
done
for dir in "$src"/*/; do
    layer=$(basename "$dir")
    [ -n "${allowed[$layer]+x}" ] || { echo "$dir: layer '$layer' has no dependency rule"; bad=1; }
done
exit $bad
