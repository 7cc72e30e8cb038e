#!/usr/bin/env bash
# The main job: build the product vesk.p (32-bit Windows), the 64-bit Windows
# build and the native embedded host, show what the built vesk.p offers the
# host, and bake the Track demo scene's camera into a motion file.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/ensure-tools.sh
vesk_ensure_tools

vesk_build native win32 win64

echo "== build/win32/vesk.p"
i686-w64-mingw32-objdump -p build/win32/vesk.p | grep -E 'file format|^Name|DLL Name|\] _mod_descrip' | sed 's/^[[:space:]]*/  /'
echo "== its server table, read through the embedded host"
build/native/vesk list --module build/win32/vesk.p | head -n 5
echo "   ..."
echo "== the Track demo: a camera circling a bobbing null, tracking it"
build/native/vesk describe examples/track_demo.lws
build/native/vesk bake examples/track_demo.lws Camera -o build/track_demo_camera.mot
