#!/usr/bin/env bash
# A failing build must make quelvari_build (and so ./run and ./test) fail, and a
# good build must pass: builds a tiny project once broken and once fixed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cat >CMakePresets.json <<'J'
{ "version": 6, "configurePresets": [ { "name": "p", "generator": "Ninja", "binaryDir": "${sourceDir}/build/p" } ] }
J
printf 'cmake_minimum_required(VERSION 3.25)\nproject(t CXX)\nadd_executable(t main.cpp)\n' >CMakeLists.txt
echo 'int main() { return undeclared; }' >main.cpp
source "$root/scripts/setup.sh"
if quelvari_build p >/dev/null; then
    echo "a broken build was reported as a success"
    exit 1
fi
echo 'int main() { return 0; }' >main.cpp
quelvari_build p >/dev/null || { echo "a good build was reported as a failure"; exit 1; }
echo "build status passed through"
