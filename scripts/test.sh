#!/usr/bin/env bash
# Every test: the native unit tests (which also read the built 32-bit vesk.p),
# the same tests again under AddressSanitizer and UndefinedBehaviorSanitizer,
# the shipped 32-bit vesk.p itself run by the 32-bit host (its activations and
# records, and every example against the native build),
# the Windows check of the 64-bit vesk.p under wine64, the glTF exports checked
# by the Khronos validator, assimp and Blender (in the native tests), and half a minute of
# fuzzing shared by the settings, object, scene, stored image and image readers
# and the module loader.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/ensure-tools.sh
vesk_ensure_tools
vesk_ensure_test_tools

vesk_build win32 win64 fuzz native sanitize host32

echo "== fuzzers: settings, object, scene, stored image and image readers and the module loader, 5 seconds each"
if ! ctest --preset fuzz > build/fuzz/fuzz.log 2>&1; then
    tail -n 80 build/fuzz/fuzz.log
    exit 1
fi
grep -E 'Test +#|Done [0-9]+ runs|tests passed' build/fuzz/fuzz.log
echo "== native tests"
ctest --preset native -j 2
echo "== native tests under the sanitizers"
ctest --preset sanitize -j 2
echo "== the shipped vesk.p in the 32-bit host"
ctest --preset host32
echo "== Windows tests under wine64"
ctest --preset win64 --timeout 600
