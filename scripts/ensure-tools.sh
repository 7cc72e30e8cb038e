# Installs, from Debian's packages, whatever the builds and tests need and this
# machine lacks. Sourced by run.sh and test.sh.
vesk_packages=(
    cmake ninja-build g++ libgtest-dev libbenchmark-dev libpng-dev libembree-dev imagemagick
    g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix binutils-mingw-w64-i686
    wine wine64 xvfb
    clang libclang-rt-dev python3 g++-multilib
)

# What only the tests need: the programs that check the glTF export (Blender,
# with the numpy its importer needs, and assimp), and Node.js for the Khronos
# glTF validator, which comes from the npm registry into build/npm.
vesk_test_packages=(blender python3-numpy assimp-utils)
vesk_gltf_validator=gltf-validator@2.0.0-dev.3.10

vesk_ensure_test_tools() {
    local wanted=("${vesk_test_packages[@]}")
    # A Node.js from elsewhere (with its own npm) serves as well as Debian's.
    command -v node >/dev/null || wanted+=(nodejs)
    command -v npm >/dev/null || wanted+=(npm)
    vesk_ensure_tools "${wanted[@]}"
    if [ ! -f build/npm/node_modules/gltf-validator/package.json ]; then
        echo "== installing $vesk_gltf_validator from the npm registry"
        npm install --silent --no-audit --no-fund --prefix build/npm "$vesk_gltf_validator" >/dev/null
    fi
}

# Installs the named packages (default: the builds') that are missing.
vesk_ensure_tools() {
    local missing=() wanted=("${vesk_packages[@]}")
    [ $# -gt 0 ] && wanted=("$@")
    for p in "${wanted[@]}"; do
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
