#!/usr/bin/env bash
# The host maker's own sample modules of 1996-98 (built with Microsoft C,
# nobody here built them), run by the 32-bit host: each starts, each handler
# settles on the version Layout would (offered 3, then 2, then 1), and what
# each computes agrees with an independent computation of what its source
# says it does. Skipped, saying so, when the maker's kit is not beside us.
# usage: maker_modules.sh VESK32 SHARED_DIR
set -u
vesk32=$1 kit=$2/realdata/lw55-sdk/sample/layout
if [ ! -d "$kit" ]; then
    echo "skipped: the host maker's plug-in kit is not at $kit"
    exit 0
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() { echo "FAIL: $*"; failed=$((failed + 1)); }
module() { echo "$kit/$1/win32/x86/$1.p"; }

# The version each server accepted, as vesk list shows it.
expect_versions() {  # expect_versions MODULE "LINE" ...
    local m=$1; shift
    "$vesk32" --module "$(module "$m")" list >"$work/list" 2>"$work/err" || fail "$m: list failed: $(cat "$work/err")"
    for line in "$@"; do
        grep -qF -- "$line" "$work/list" || { fail "$m: no line '$line' in:"; cat "$work/list"; }
    done
}
expect_versions negative "ImageFilterHandler     Demo_Negative" "activated at version 1"
expect_versions zor "activated at version 2"
expect_versions blotch "activated at version 2" "ShaderInterface        Demo_Blotch"
expect_versions lazypnts "activated at version 2"
expect_versions motdump "LayoutGeneric          Demo_MotionDump"
# SuperBlotch needs gradient and preview services of other modules: refused
# in one message, the host going on.
expect_versions superblotch "refused at version 2 with code 2" "Gradient services could not be found"

# Demo_Negative: every colour byte v becomes 255 - v; alpha stays.
python3 - "$work/in.pam" <<'PY'
import sys
w, h = 7, 5
data = bytes((x * 37 + y * 11 + c * 61) % 256 for y in range(h) for x in range(w) for c in range(4))
open(sys.argv[1], 'wb').write(b'P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n' % (w, h) + data)
PY
if "$vesk32" --module "$(module negative)" filter Demo_Negative --in "$work/in.pam" -o "$work/out.pam" >/dev/null 2>"$work/err"; then
    python3 - "$work/in.pam" "$work/out.pam" <<'PY' || fail "Demo_Negative's picture is not the negative"
import sys
def pixels(path):
    data = open(path, 'rb').read()
    return data[data.index(b'ENDHDR\n') + 7:]
a, b = pixels(sys.argv[1]), pixels(sys.argv[2])
want = bytes(v if i % 4 == 3 else 255 - v for i, v in enumerate(a))
if b != want:
    bad = next(i for i in range(len(want)) if i >= len(b) or b[i] != want[i])
    print('byte', bad, 'is', b[bad] if bad < len(b) else None, 'not', want[bad])
    sys.exit(1)
PY
else
    fail "Demo_Negative: $(cat "$work/err")"
fi

if [ "$failed" -ne 0 ]; then
    echo "$failed check(s) failed"
    exit 1
fi
echo "the host maker's modules: all checks passed"
