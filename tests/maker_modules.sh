#!/usr/bin/env bash
# The host maker's own sample modules of 1996-98 (built with Microsoft C,
# nobody here built them), run by the 32-bit host: each starts, each handler
# settles on the version Layout would (offered 3, then 2, then 1), and what
# each computes agrees with an independent computation of what its source
# says it does. Skipped, saying so, when the maker's kit is not beside us.
# usage: maker_modules.sh VESK32 SHARED_DIR SOURCE_DIR
set -u
vesk32=$(realpath "$1") kit=$2/realdata/lw55-sdk/sample/layout source=$3
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

# Demo_LazyPoints, its lag rate read from the scene's plug-in block: each
# point is placed where the object was lag rate x its distance from the pivot
# seconds ago, in the world, then seen from the object now. The keys are
# linear and turn about the heading alone, so the placements are worked out
# here by hand: straight lines between keys, heading h turning +Z toward +X.
cp "$source/examples/ball.lwo" "$work/"
cat >"$work/lazy.lws" <<'LWS'
LWSC
1

FirstFrame 1
LastFrame 60
FrameStep 1
FramesPerSecond 30.000000

LoadObject ball.lwo
ObjectMotion (unnamed)
  9
  3
  0 0 0 0 0 0 1 1 1
  0 0 0 0 0
  4 1 0 90 0 0 1 1 1
  30 1 0 0 0
  0 2 4 180 0 0 1 1 1
  60 1 0 0 0
EndBehavior 1
Plugin DisplacementHandler 1 Demo_LazyPoints
 LagRate 0.500000
EndPlugin
LWS
lazy="$vesk32 --module $(module lazypnts)"
if $lazy displace "$work/lazy.lws" ball.lwo --frame 40 -o "$work/lazy.obj" >/dev/null 2>"$work/err" &&
    $lazy displace "$work/lazy.lws" ball.lwo --frame 40 --no-plugins -o "$work/still.obj" >/dev/null 2>>"$work/err"; then
    python3 - "$work/still.obj" "$work/lazy.obj" <<'PY' || fail "Demo_LazyPoints' points are not where the lagged keys put them"
import math, sys
def points(path):
    return [tuple(map(float, l.split()[1:4])) for l in open(path) if l.startswith('v ')]
still, moved = points(sys.argv[1]), points(sys.argv[2])
keys = [(0, (0, 0, 0), 0), (30, (4, 1, 0), 90), (60, (0, 2, 4), 180)]
def keyed(frame):  # position and heading, linear between keys, held past the ends
    if frame <= keys[0][0]:
        return keys[0][1], keys[0][2]
    for (f0, p0, h0), (f1, p1, h1) in zip(keys, keys[1:]):
        if frame <= f1:
            u = (frame - f0) / (f1 - f0)
            return [a + (b - a) * u for a, b in zip(p0, p1)], h0 + (h1 - h0) * u
    return keys[-1][1], keys[-1][2]
def axes(h):  # right, up, forward
    h = math.radians(h)
    return (math.cos(h), 0, -math.sin(h)), (0, 1, 0), (math.sin(h), 0, math.cos(h))
fps, now, rate = 30, 40 / 30, 0.5
here, heading = keyed(now * fps)
rows = axes(heading)
assert len(still) == len(moved) == 1106, (len(still), len(moved))
worst = 0
for p, m in zip(still, moved):
    then, h = keyed((now - rate * math.sqrt(sum(c * c for c in p))) * fps)
    x, y, z = axes(h)
    world = [then[i] + p[0] * x[i] + p[1] * y[i] + p[2] * z[i] for i in range(3)]
    seen = [sum((world[j] - here[j]) * rows[i][j] for j in range(3)) for i in range(3)]
    worst = max(worst, max(abs(a - b) for a, b in zip(seen, m)))
if worst > 1e-6:
    print('worst difference', worst)
    sys.exit(1)
PY
else
    fail "Demo_LazyPoints: $(cat "$work/err")"
fi
"$vesk32" --module "$(module lazypnts)" describe "$work/lazy.lws" 2>&1 | grep -qF "Lag Rate: 0.500000 sec/m" ||
    fail "Demo_LazyPoints did not read its lag rate from the scene"

# The preview sphere as the host draws it (radius 1 at the origin, seen from
# 5 units in front, lens zoom 3.2), over its checkerboard: a shader's colour
# and transparency at each spot, given by SHADE(p) from the spot's position,
# lit by the preview's own light (from the upper left, ambient 0.1, diffuse
# 0.8, specular 0.3 of power 20). A pixel is checked to within 2 levels of the
# picture (the rounding of its levels); SHADE returns None for a spot too near
# an edge of the shader's own to say which side it falls on.
cat >"$work/preview.py" <<'PY'
import math, sys
def check(path, shade, least_changed=100):
    data = open(path, 'rb').read()
    pixels = data[data.index(b'ENDHDR\n') + 7:]
    size = int(math.sqrt(len(pixels) // 4))
    half = 1 / 3.2
    light = [-1 / math.sqrt(3), 1 / math.sqrt(3), -1 / math.sqrt(3)]
    dot = lambda a, b: sum(x * y for x, y in zip(a, b))
    worst, changed = 0, 0
    for y in range(size):
        for x in range(size):
            u, v = ((x + 0.5) / size * 2 - 1) * half, (1 - (y + 0.5) / size * 2) * half
            d = [u, v, 1]
            d = [c / math.sqrt(dot(d, d)) for c in d]
            dark = (x // 16 + y // 16) % 2
            back = [0.25, 0.25, 0.3] if dark else [0.75, 0.75, 0.8]
            eye = [0, 0, -5]
            b, c = dot(eye, d), dot(eye, eye) - 1
            want = back
            if b * b - c >= 0:
                t = -b - math.sqrt(b * b - c)
                p = [e + t * k for e, k in zip(eye, d)]
                spot = shade(p)
                if spot is None:
                    continue
                colour, f = spot
                changed += colour != [0.8] * 3 or f > 0.05
                nl = dot(p, light)
                shine = 0.3 * max(0, -dot([2 * nl * n - l for n, l in zip(p, light)], d)) ** 20
                lit = [k * (0.8 * max(0, nl) + 0.1) + shine for k in colour]
                want = [a * (1 - f) + k * f for a, k in zip(lit, back)]
            got = pixels[(y * size + x) * 4:(y * size + x) * 4 + 3]
            worst = max(worst, max(abs(g - min(1, max(0, w)) * 255) for g, w in zip(got, want)))
    if worst > 2 or changed < least_changed:
        print('worst level difference', worst, 'pixels the shader changed', changed)
        sys.exit(1)
def ramp(low, high):  # ZOR's transparency from 0 at z = low to 1 at z = high
    return lambda p: ([0.8] * 3, min(1, max(0, (p[2] - low) / (high - low))))
PY
preview() {  # preview MODULE SERVER LABEL PYTHON-SHADE [vesk shade options]
    local m=$1 server=$2 label=$3 shade=$4; shift 4
    if "$vesk32" --module "$(module "$m")" shade "$server" --size 64 -o "$work/$m.pam" "$@" >/dev/null 2>"$work/err"; then
        (cd "$work" && python3 -c "import preview; from preview import *; preview.check('$m.pam', $shade)") ||
            fail "$server: $label"
    else
        fail "$server: $(cat "$work/err")"
    fi
}

# Demo_ZOR: with no "Zmin" and "Zmax" nulls among the object's children its
# source ramps the transparency from 0 at z = -1 to 1 at z = 1.
preview zor Demo_ZOR "the ramp is not the one between z = -1 and z = 1" "ramp(-1, 1)"
# With the sphere standing in for a scene's object, its children "Zmin" and
# "Zmax..." (the source compares four letters) set the ramp's ends by their
# own z (before the parent's motion: the parent stands aside at x = 5) at the
# frame shown: Zmin keyed linearly from -1 at frame 0 to -0.6 at 48, at 24
# frames a second, so -0.8 at frame 24.
cat >"$work/zor.lws" <<'LWS'
LWSC
1

FirstFrame 1
LastFrame 60
FrameStep 1
FramesPerSecond 24.000000

AddNullObject Sphere
ObjectMotion (unnamed)
  9
  1
  5 0 0 0 0 0 1 1 1
  0 0 0 0 0

AddNullObject Zmin
ObjectMotion (unnamed)
  9
  2
  0 0 -1 0 0 0 1 1 1
  0 0 0 0 0
  0 0 -0.6 0 0 0 1 1 1
  48 1 0 0 0
EndBehavior 1
ParentObject 1

AddNullObject Zmax.1
ObjectMotion (unnamed)
  9
  1
  0 0 -0.1 0 0 0 1 1 1
  0 0 0 0 0
ParentObject 1
LWS
preview zor Demo_ZOR "the ramp is not the one between its Zmin and Zmax nulls" "ramp(-0.8, -0.1)" \
    --scene "$work/zor.lws" --item Sphere --frame 24

# Demo_Blotch, its settings as a surface keeps them (eight big-endian
# floats: colour, centre, radius, softness), which its options server shows
# in a message. Its source blends toward the colour by cos(pi d / r) x
# softness (3.1416 for pi, at most 1) within the radius, d the spot's
# distance from the centre: near the centre it is the colour, toward the
# edge the blend goes negative and pushes the other way, and at the edge the
# spot leaps back to its own colour, so spots within 1e-6 of the edge are
# left unchecked.
python3 -c "import struct, sys; sys.stdout.buffer.write(struct.pack('>8f', 1, 0.5, 0, 0.3, 0.2, -0.9, 0.8, 2))" >"$work/blotch.dat"
"$vesk32" --module "$(module blotch)" settings Demo_Blotch "$work/blotch.dat" >"$work/said" 2>&1
grep -qF "info: BLOTCH: center (0.300000, 0.200000, -0.900000), radius 0.800000 / color (1.000, 0.500, 0.000), softness 2.000000" \
    "$work/said" || fail "Demo_Blotch's options did not show the settings loaded: $(cat "$work/said")"
cat >"$work/blotch.py" <<'PY'
import math, struct
colour = struct.unpack('>3f', struct.pack('>3f', 1, 0.5, 0))
centre = struct.unpack('>3f', struct.pack('>3f', 0.3, 0.2, -0.9))
radius, softness = struct.unpack('>2f', struct.pack('>2f', 0.8, 2))
def blotch(p):
    d = math.sqrt(sum((a - b) ** 2 for a, b in zip(p, centre)))
    if abs(d - radius) < 1e-6:
        return None
    if d > radius:
        return [0.8] * 3, 0
    k = min(1, math.cos(d * 3.1416 / radius) * softness)
    return [0.8 * (1 - k) + c * k for c in colour], 0
PY
preview blotch Demo_Blotch "the blotch is not the one its settings describe" "__import__('blotch').blotch" \
    --settings "$work/blotch.dat"

# Demo_MotionDump, run by vesk generic: the first object whose name starts
# with '$', one line a frame from 0 to the scene's last, position, rotation
# in degrees (by its own 180 / 3.14159265) and scale, by C's %g. The keys are
# linear, so each frame's channels are worked out here by hand.
cat >"$work/dump.lws" <<'LWS'
LWSC
1

FirstFrame 1
LastFrame 10
FrameStep 1
FramesPerSecond 30.000000

AddNullObject Other
AddNullObject $Mover
ObjectMotion (unnamed)
  9
  2
  0 0 0 0 0 0 1 1 1
  0 1 0 0 0
  10 5 -2 90 30 -45 2 1 0.5
  10 1 0 0 0
EndBehavior 1
LWS
if (cd "$work" && "$vesk32" --module "$(module motdump)" generic Demo_MotionDump dump.lws >"$work/said" 2>"$work/err"); then
    grep -qF "Motion channels have been written to MotDump.txt" "$work/said" || fail "Demo_MotionDump said: $(cat "$work/said")"
    python3 - "$work/MotDump.txt" <<'PY' || fail "Demo_MotionDump's file is not the keyed motion"
import math, sys
lines = open(sys.argv[1]).read().splitlines()
assert len(lines) == 11, len(lines)
first, last = [0, 0, 0, 0, 0, 0, 1, 1, 1], [10, 5, -2, 90, 30, -45, 2, 1, 0.5]
for frame, line in enumerate(lines):
    got = [float(v) for v in line.split()]
    want = [a + (b - a) * frame / 10 for a, b in zip(first, last)]
    for c in (3, 4, 5):  # degrees to radians by the host, back by the module's own pi
        want[c] = want[c] * math.pi / 180 * 180 / 3.14159265
    for g, w in zip(got, want):
        if abs(g - w) > 1e-5 * max(1, abs(w)):  # %g: six significant digits
            print('frame', frame, 'has', got, 'not', want)
            sys.exit(1)
PY
else
    fail "Demo_MotionDump: $(cat "$work/err")"
fi

if [ "$failed" -ne 0 ]; then
    echo "$failed check(s) failed"
    exit 1
fi
echo "the host maker's modules: all checks passed"
