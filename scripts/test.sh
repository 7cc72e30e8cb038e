#!/usr/bin/env bash
# Every test: the native unit tests (which also read the built 32-bit vesk.p),
# and the Windows check of the 64-bit vesk.p under wine64.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/ensure-tools.sh
vesk_ensure_tools

vesk_build win32 win64 native

echo "== native tests"
ctest --preset native -j 2
echo "== Windows tests under wine64"
ctest --preset win64 --timeout 600
