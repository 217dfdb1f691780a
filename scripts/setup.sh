# Shared set-up of ./run and ./test: installs the Debian packages that are
# missing and configures and builds one build tree. Sourced, not run.

QUELVARI_PACKAGES="cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev"

quelvari_install_packages() {
    local missing=()
    for pkg in $QUELVARI_PACKAGES "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing missing packages: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}

# quelvari_build PRESET: configures (once) and builds the preset's tree.
quelvari_build() {
    local preset=$1
    local dir="build/$preset"
    if [ ! -f "$dir/build.ninja" ]; then
        cmake --preset "$preset" >/dev/null
    fi
    cmake --build "$dir" -j2 | grep -v "^\[" || true
    test "${PIPESTATUS[0]}" -eq 0
}
