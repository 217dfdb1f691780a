# Shared set-up of ./run and ./test: installs the Debian packages that are
# missing and configures and builds one build tree. Sourced, not run.

# Build and run: compiler, CMake, Qt 6, libusb, GoogleTest; the fonts the
# window and the print-outs are drawn in (a machine may have other fonts only,
# or none).
QUELVARI_PACKAGES="cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev
    qt6-base-dev qt6-svg-dev libqt6svg6 qt6-serialport-dev libusb-1.0-0-dev qt6-translations-l10n
    libtomlplusplus-dev nlohmann-json3-dev libpugixml-dev fonts-dejavu-core"
# Tests only: format check, fuzzing (clang's libFuzzer), PDF page counts
# (pdfinfo), fake USB devices (umockdev-run), a comma locale (localedef), a
# display for ./run without one (xvfb-run, xauth), an immutable file (chattr),
# the version-control round trip of the text form (git).
QUELVARI_TEST_PACKAGES="clang clang-format libclang-rt-14-dev poppler-utils umockdev
    locales xvfb xauth e2fsprogs git"

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

# quelvari_build PRESET: configures (once) and builds the preset's tree. Returns
# the build's own status; only the progress lines are filtered from the output.
quelvari_build() {
    local preset=$1
    local dir="build/$preset"
    # A compiler cache, when the machine has one, makes rebuilds of the same
    # sources in another tree (a fresh clone, another preset's tree) quick.
    if command -v ccache >/dev/null 2>&1; then
        export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
        export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER:-ccache}
    fi
    if [ ! -f "$dir/build.ninja" ]; then
        cmake --preset "$preset" >/dev/null || return $?
    fi
    local log rc=0
    log=$(mktemp)
    cmake --build "$dir" -j2 >"$log" 2>&1 || rc=$?
    grep -v '^\[' "$log" || true
    rm -f "$log"
    return $rc
}

# quelvari_format_check: every C++ source must be formatted with .clang-format.
quelvari_format_check() {
    local files
    mapfile -t files < <(git ls-files -- '*.cpp' '*.h' 2>/dev/null || find src tools tests fuzz -name '*.cpp' -o -name '*.h')
    [ ${#files[@]} -eq 0 ] && return 0
    clang-format --dry-run --Werror "${files[@]}"
}
