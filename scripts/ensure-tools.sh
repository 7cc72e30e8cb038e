# Installs, from Debian's packages, whatever the builds and tests need and this
# machine lacks. Sourced by run.sh and test.sh.
vesk_packages=(
    cmake ninja-build g++ libgtest-dev libbenchmark-dev libpng-dev libembree-dev imagemagick
    g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix binutils-mingw-w64-i686
    wine wine64 xvfb
    clang libclang-rt-dev python3 g++-multilib
)

vesk_ensure_tools() {
    local missing=()
    for p in "${vesk_packages[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "== installing: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

# Configures and builds the named presets, in order.
vesk_build() {
    for preset in "$@"; do
        echo "== building $preset"
        cmake --preset "$preset" >/dev/null
        cmake --build --preset "$preset" | tail -n 1
    done
}
