#!/usr/bin/env bash
# The vesk command as an animator uses it: settings in and out, describing and
# baking scenes (our demo and the real ones), and one-line errors for bad input.
# Usage: vesk_command_test.sh VESK SOURCE_DIR SHARED_DIR
set -u
vesk=$1 source=$2 shared=$3
real=$shared/realdata/legacy-lightwave-projects/content
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0 passed=0
check() {  # check WHAT COMMAND...: the command must succeed
    local what=$1; shift
    if "$@" >"$work/out" 2>"$work/err"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAIL: $what"; cat "$work/err"; fi
}
refuse() {  # refuse WHAT PATTERN COMMAND...: non-zero exit and one error line matching PATTERN
    local what=$1 pattern=$2; shift 2
    if ! "$@" >"$work/out" 2>"$work/err" && [ "$(wc -l <"$work/err")" -eq 1 ] && grep -q -- "$pattern" "$work/err"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1)); echo "FAIL: $what"; cat "$work/err"
    fi
}

for sub in list settings describe bake blur filter displace shade render describe-plugin export; do check "$sub --help" "$vesk" "$sub" --help; done

check "default settings" "$vesk" settings Track
cp "$work/out" "$work/defaults"
has() {  # has WHAT PATTERN FILE: the file holds a line matching PATTERN
    if grep -q -- "$2" "$3"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAIL: $1"; fi
}
check "a plug-in's settings as a table" "$vesk" describe-plugin VFog
has "VFog's altitude, animatable, 0 by default" "^ALTITUDE  *Altitude (m)  *number, animatable  *0.00  *none$" "$work/out"
has "its fog colour" "^COLOR  *Fog Color  *colour  *190, 200, 210" "$work/out"
check "the same as the manual's Markdown" "$vesk" describe-plugin PolyPop --markdown
has "PolyPop's seed" "^| \`SEED\` | \"Seed\" | whole number | 1 | 0 to 9999 |$" "$work/out"
refuse "describe an unknown plug-in" "no plug-in named 'Nope'" "$vesk" describe-plugin Nope
has "defaults: no target" "^description: Track (no target!)" "$work/defaults"
has "defaults hold SELECTION 4" "^  SELECTION 4$" "$work/defaults"
sed -n '/^BEGIN MARVEN/,/^END MARVEN/p' "$work/defaults" | awk '/BEGIN NUM STRENGTH/ {s=1} s && /VALUE/ {sub(/VALUE 1/, "VALUE 0.25"); s=0} {print}' >"$work/changed.txt"
check "settings fed back" "$vesk" settings Track "$work/changed.txt"
grep -A1 "BEGIN NUM STRENGTH" "$work/out" >"$work/strength"
has "the changed STRENGTH shows" "VALUE 0.25" "$work/strength"

check "describe the demo" "$vesk" describe "$source/examples/track_demo.lws"
has "the demo's camera tracks" "^Camera: Track: Tracking Target$" "$work/out"
check "bake the demo" "$vesk" bake "$source/examples/track_demo.lws" Camera -o "$work/camera.mot"
# Headings (fourth number of each values line) rise continuously past 180.
check "headings rise past 180" awk 'NR > 4 && NR % 2 == 1 { h = $4; if (NR > 5 && h < last - 1e-6) exit 1; last = h } END { exit !(last > 180) }' "$work/camera.mot"
has "121 keys" $'^121\r$' "$work/camera.mot"
check "describe the baked motion" "$vesk" describe "$work/camera.mot"
has "its keys and frames" "camera.mot: 121 keys, frames 0 to 120$" "$work/out"
check "describe a real motion file" "$vesk" describe "$real/nxng-experiments/bot.mot"
has "bot.mot holds 19 keys to frame 150" "bot.mot: 19 keys, frames 0 to 150$" "$work/out"
has "its pitch range" "^P  -10.4 to 3.5$" "$work/out"
head -c 300 "$work/camera.mot" > "$work/cut.mot"
refuse "a cut motion file" "cut.mot:[0-9]*: the motion file ends" "$vesk" describe "$work/cut.mot"

# The seeded demos: an eyelid that blinks, debris and a hand-held camera that drift.
check "describe the blink demo" "$vesk" describe "$source/examples/blink_demo.lws"
has "the eyelid blinks" "^Eyelid: Blink: Blink: frames 1000 to 1006, every 72 frames$" "$work/out"
check "bake the eyelid" "$vesk" bake "$source/examples/blink_demo.lws" Eyelid --parent-coords -o "$work/eyelid.mot"
# Pitch (fifth number) closes past 1 degree in separate blinks, at least 24 frames apart.
check "several blinks, gaps kept" awk 'NR > 4 && NR % 2 == 1 { p = $5 } NR > 5 && NR % 2 == 0 { f = $1;
    if (p > 1 && !shut) { if (n && f - last < 24) exit 1; n++; shut = 1 } if (p > 1) last = f; if (p <= 1) shut = 0 }
    END { exit !(n >= 5) }' "$work/eyelid.mot"
check "bake the eyelid twice" "$vesk" bake "$source/examples/blink_demo.lws" Eyelid --parent-coords -o "$work/eyelid2.mot"
check "the same blinks every time" cmp "$work/eyelid.mot" "$work/eyelid2.mot"
check "describe the drift demo" "$vesk" describe "$source/examples/drift_demo.lws"
has "the camera drifts" "^Camera: Diffuser: Diffuser (seed 11)$" "$work/out"
check "bake the debris" "$vesk" bake "$source/examples/drift_demo.lws" Debris -o "$work/debris.mot"
check "the debris starts on its keys and leaves them" awk 'NR == 5 { if ($1 != -1 || $2 != 1.5 || $4 != 0) exit 1 }
    NR > 5 && NR % 2 == 1 && ($2 < 1.45 || $2 > 1.55) { moved = 1 } END { exit !moved }' "$work/debris.mot"

# The displacement demos, as frame sequences.
check "describe the stalk" "$vesk" describe "$source/examples/flexor_demo.lws"
has "the stalk follows its guide" "^stalk.lwo: Flexor: Flexor, guided by Guide$" "$work/out"
check "a stalk sequence" "$vesk" displace "$source/examples/flexor_demo.lws" stalk.lwo --frames 38-42 -o "$work/stalk.obj"
check "five frames written" test -s "$work/stalk_0038.obj" -a -s "$work/stalk_0042.obj" -a ! -e "$work/stalk_0043.obj"
tip() { awk '/^v / { n++; if (n > 160) { x += $2; y += $3 } } END { printf "%.3f %.3f\n", x / 4, y / 4 }' "$1"; }
check "the guide overhead leaves the stalk straight" test "$(tip "$work/stalk_0040.obj")" = "0.000 2.000"
check "one frame of the stalk" "$vesk" displace "$source/examples/flexor_demo.lws" stalk.lwo --frame 80 -o "$work/stalk80.obj"
check "the guide at the side bends it over" awk -v t="$(tip "$work/stalk80.obj")" 'BEGIN { split(t, p, " "); exit !(p[1] > 1 && p[2] < 1.5) }'
# A pattern is used as it stands; a plain name with a percent sign keeps it.
check "a patterned stalk sequence" "$vesk" displace "$source/examples/flexor_demo.lws" stalk.lwo --frames 38-39 -o "$work/st%03d.obj"
check "named by the pattern" test -s "$work/st038.obj" -a -s "$work/st039.obj"
check "a name with a percent sign" "$vesk" displace "$source/examples/flexor_demo.lws" stalk.lwo --frames 38-38 -o "$work/100%.obj"
check "the sign kept, the number added" test -s "$work/100%_0038.obj"
refuse "a frame range backwards" "FIRST-LAST" "$vesk" displace "$source/examples/flexor_demo.lws" stalk.lwo --frames 9-3 -o "$work/x.obj"
check "dust frames" "$vesk" displace "$source/examples/diffuse_demo.lws" ball.lwo --frames 24-25 -o "$work/dust.obj"
check "the dust at frame 1" "$vesk" displace "$source/examples/diffuse_demo.lws" ball.lwo --frame 1 -o "$work/dust1.obj"
check "dust still at its start frame" cmp <(grep '^v' "$work/dust_0024.obj") <(grep '^v' "$work/dust1.obj")
check "and moving after it" bash -c '! cmp -s <(grep "^v" "$1") <(grep "^v" "$2")' _ "$work/dust_0024.obj" "$work/dust_0025.obj"

# A rope between a swaying hand and an anchor walking away, and a ball denting a floor.
check "describe the rope" "$vesk" describe "$source/examples/dangle_demo.lws"
has "the rope hangs from its anchor" "^rope.lwo: Dangle: Dangle, anchored by Anchor$" "$work/out"
mkdir -p "$work/rope"
check "every frame of the rope" "$vesk" displace "$source/examples/dangle_demo.lws" rope.lwo --frames 1-96 -o "$work/rope/rope.obj"
objs() {  # objs DIR COUNT POINTS: COUNT files, each with POINTS numeric v lines and faces in range
    local n=0 f
    for f in "$1"/*.obj; do
        awk -v want="$3" '$1 == "v" { if (NF != 4 || $2 !~ /^-?[0-9.e+-]+$/) exit 1; ++v }
            $1 == "f" { for (i = 2; i <= NF; ++i) if ($i < 1 || $i > v) exit 1 } END { exit v != want }' "$f" || return 1
        n=$((n + 1))
    done
    [ "$n" -eq "$2" ]
}
check "96 whole OBJ files of 244 points" objs "$work/rope" 96 244
check "taut by the last frame: three units from the hand" awk '$1 == "v" { n++; if (n == 242) { d = sqrt($2 * $2 + $3 * $3 + $4 * $4) } }
    END { exit !(d > 2.99 && d < 3.01) }' "$work/rope/rope_0096.obj"
check "the floor under the ball" "$vesk" displace "$source/examples/poke_demo.lws" plane.lwo --frames 48-48 -o "$work/floor.obj"
check "dented under the ball" awk '$1 == "v" && $3 < -0.15 { dented++ } END { exit !(dented > 8) }' "$work/floor_0048.obj"
check "and still dented behind it, relaxing" awk '$1 == "v" && $2 < -1 && $3 < -0.01 && $3 > -0.19 { trail++ } END { exit !(trail > 5) }' "$work/floor_0048.obj"
# Leaving an item's own plug-ins out: the keys alone, the object as modelled.
check "the ball's keys alone" "$vesk" bake "$source/examples/bounce_demo.lws" Ball --no-plugins -o "$work/keys.mot"
check "dips to its key at -0.6 through the floor" grep -q '^0 -0.6 0 0 0 0 1 1 1' "$work/keys.mot"
check "the ball with Limiter" "$vesk" bake "$source/examples/bounce_demo.lws" Ball -o "$work/held.mot"
check "never below Y 0.3" awk 'NR > 4 && NR % 2 == 1 && $2 < 0.3 { low++ } END { exit low > 0 }' "$work/held.mot"
check "the globe as modelled" "$vesk" displace "$source/examples/superq_demo.lws" globe.lwo --frame 48 --no-plugins -o "$work/globe.obj"
check "every point on the unit sphere" awk '$1 == "v" { d = sqrt($2 * $2 + $3 * $3 + $4 * $4); if (d < 0.999999 || d > 1.000001) off++ }
    END { exit off > 0 }' "$work/globe.obj"
check "the globe squared off" "$vesk" displace "$source/examples/superq_demo.lws" globe.lwo --frame 48 -o "$work/box.obj"
check "moved by SuperQ" bash -c "! cmp -s '$work/globe.obj' '$work/box.obj'"
# PolyPop's build (frames 0 to 36, a 4-frame fade, a 3-frame flash) is over by
# frame 40, where the globe looks as it does with PolyPop disabled.
printf 'BEGIN MARVEN_LABS_PLUGIN PolyPop\nVERSION 1\n BEGIN BUTTON DISABLE\n  CHECKED YES\n END\nEND MARVEN_LABS_PLUGIN PolyPop\n' >"$work/off.txt"
for frame in 0 40; do
    check "PolyPop at frame $frame" "$vesk" shade PolyPop --settings "$source/examples/polypop_build.txt" \
        --object "$source/examples/globe.lwo" --size 64 --frame $frame -o "$work/pop$frame.png"
done
check "PolyPop disabled" "$vesk" shade PolyPop --settings "$work/off.txt" --object "$source/examples/globe.lwo" --size 64 --frame 40 -o "$work/popoff.png"
check "built by frame 40" cmp "$work/pop40.png" "$work/popoff.png"
check "not yet at frame 0" bash -c "! cmp -s '$work/pop0.png' '$work/popoff.png'"
refuse "a shade frame out of range" "--frame is a frame from 0" "$vesk" shade PolyPop --frame -3 -o "$work/x.png"
refuse "a density that is not a number" "the density is a fraction from 0 to 1" "$vesk" bake "$source/examples/bounce_demo.lws" Ball --density half
head -c 100 "$source/examples/rope.lwo" >"$work/broken.lwo"
sed "s#LoadObject rope.lwo#LoadObject $work/broken.lwo#" "$source/examples/dangle_demo.lws" >"$work/broken.lws"
mkdir -p "$work/none"
refuse "a broken object file, with the reason" "broken.lwo: the file is cut short: its FORM holds 5844 bytes, the file 92" "$vesk" displace "$work/broken.lws" broken.lwo --frames 1-5 -o "$work/none/rope.obj"
check "and nothing written" test -z "$(ls "$work/none")"

# The motion demos: a car held to a speed with wheels that roll, a ball kept
# above the floor, a thrown stone, a propeller's extended blur.
check "bake the car" "$vesk" bake "$source/examples/car_demo.lws" Car -o "$work/car.mot"
check "never faster than 6 m/s (a tenth of a frame's rounding)" awk 'NR > 4 && NR % 2 == 1 { if (NR > 5 && ($1 - x) * 24 > 6.01) exit 1; x = $1 }' "$work/car.mot"
check "bake a wheel" "$vesk" bake "$source/examples/car_demo.lws" "wheel.lwo (3)" --parent-coords -o "$work/wheel.mot"
# The rim points lie at 0.35 from the axle and 0.04 to the side; the last
# 80th of a second of travel may be counted ahead (6 m/s: up to 12.2 degrees).
check "the wheel rolls a turn per 2 pi r travelled" bash -c 'paste -d " " <(awk "NR > 4 && NR % 2 == 1 { print \$1 }" "$1") \
    <(awk "NR > 4 && NR % 2 == 1 { print \$6 }" "$2") | awk "{ want = \$1 / sqrt(0.35 ^ 2 + 0.04 ^ 2) * 57.29578;
        if (\$2 < want - 1.5 || \$2 > want + 12.5) exit 1 }"' _ "$work/car.mot" "$work/wheel.mot"
check "bake the ball" "$vesk" bake "$source/examples/bounce_demo.lws" Ball -o "$work/ball.mot"
check "the ball stays above the floor" awk 'NR > 4 && NR % 2 == 1 { if ($2 < 0.3) exit 1; if ($2 == 0.3) floor++ } END { exit !floor }' "$work/ball.mot"
check "bake the stone" "$vesk" bake "$source/examples/throw_demo.lws" Stone -o "$work/stone.mot"
check "a second after the throw: 5 along, 1 + 8 - 4.9 up" awk 'NR == 53 { exit !($1 == 5 && $2 > 4.0999 && $2 < 4.1001) }' "$work/stone.mot"
check "the propeller's blur passes" "$vesk" blur "$source/examples/propeller_demo.lws" Propeller --frame 24
has "nine passes" "^Propeller at frame 24: 9 passes$" "$work/out"
check "reaching three frames back" awk '$1 == "23.5000" { exit !($7 == "1575.0000") } $1 == "24.0000" { exit !($7 == "1800.0000") }' "$work/out"

# A ball handed from hand to hand and to the world; an antenna on a car; a
# plane along an S-curve.
check "bake the ball" "$vesk" bake "$source/examples/parent_demo.lws" Ball -o "$work/handed.mot"
check "no jump at the hand-overs, still in the world after" awk 'NR > 4 && NR % 2 == 1 { n++
    if (n > 1) { d = ($1 - x) ^ 2 + ($2 - y) ^ 2 + ($3 - z) ^ 2; if (d > 0.01) exit 1; if (n > 50 && d > 0) exit 1 }
    x = $1; y = $2; z = $3 }' "$work/handed.mot"
check "bake the antenna" "$vesk" bake "$source/examples/whip_demo.lws" Antenna --parent-coords -o "$work/antenna.mot"
check "thrown back as the car pulls away" awk 'NR == 4 + 2 * 24 + 1 { exit !($5 < -30) }' "$work/antenna.mot"
check "bake the plane" "$vesk" bake "$source/examples/pathalign_demo.lws" Plane -o "$work/plane.mot"
check "its heading follows the S, level" awk 'NR > 4 && NR % 2 == 1 { if ($5 > 1e-6 || $5 < -1e-6) exit 1; h[++n] = $4 }
    END { exit !(h[37] > h[1] + 30 && h[109] < h[73] - 20) }' "$work/plane.mot"

# A stride cycle driven by the distance its body travels: it plays while the
# body moves (to frame 96) and holds once it stops.
check "describe the stride" "$vesk" describe "$source/examples/distlink_demo.lws"
has "driven by the body" "^Stride: DistLink: DistLink: Controlled by Body$" "$work/out"
check "bake the stride" "$vesk" bake "$source/examples/distlink_demo.lws" Stride --parent-coords -o "$work/stride.mot"
check "it strides while the body moves and stops with it" awk 'NR > 4 && NR % 2 == 1 { n++; p[n] = $5 }
    END { changes = 0; for (i = 2; i <= 97; ++i) if (p[i] != p[i - 1]) changes++
          for (i = 98; i <= n; ++i) if (p[i] != p[97]) exit 1; exit !(changes > 80) }' "$work/stride.mot"

for scene in nxng-experiments/planet.lws nxng-experiments/hnoize.lws nxng-experiments/sparks.lws \
             nxng-experiments/basileanim.lws nxng-experiments/gus.lws demo-couloir-14/titles/titles.lws \
             aminet-JumpingBall/JumpingBall/scenes/JumpingBall.scene aminet-atmobjs/PassMountains; do
    check "describe $scene" "$vesk" describe "$real/$scene"
    check "bake the camera of $scene" "$vesk" bake "$real/$scene" Camera -o "$work/camera_of_scene.mot"
done
check "bake a real camera" "$vesk" bake "$real/nxng-experiments/planet.lws" Camera --density 0.5 -o "$work/planet.mot"
check "bake a real object in parent coordinates" "$vesk" bake "$real/nxng-experiments/gus.lws" "body.lwo" --parent-coords -o "$work/gus.mot"

# Filters over a render with alpha and depth; every output opens in ImageMagick.
convert -size 64x48 xc:'rgb(40,90,160)' -alpha set -channel A -evaluate set 0 +channel \
    -fill 'rgba(230,200,40,1)' -draw 'rectangle 20,15 40,30' "$work/render.png"
{ printf 'Pf\n64 48\n-1\n'; for ((i = 0; i < 64 * 48; ++i)); do printf '\x00\x00\x20\x44'; done; } >"$work/depth.pfm"  # 640.0
check "DropShadow over a render" "$vesk" filter DropShadow --in "$work/render.png" -o "$work/shadow.png"
check "the shadowed render opens" identify "$work/shadow.png"
check "Rayleigh with depth" "$vesk" filter Rayleigh --in "$work/render.png" --depth "$work/depth.pfm" -o "$work/fog.png"
check "the fogged render opens" identify "$work/fog.png"
check "Unveil preview" "$vesk" shade Unveil -o "$work/unveil.png"
check "the preview opens" identify "$work/unveil.png"
# The view-angle shaders on a 128-pixel sphere: the centre (64, 64) faces the
# viewer, (24, 64) lies near the rim. rgb PNG X Y prints "R G B".
rgb() { convert "$1" -format "%[fx:round(255*p{$2,$3}.r)] %[fx:round(255*p{$2,$3}.g)] %[fx:round(255*p{$2,$3}.b)]" info:; }
printf 'BEGIN MARVEN_LABS_PLUGIN HSVBoost\nVERSION 1\n BEGIN NUM GLANCEHUE\n VALUE 120\n END\nEND MARVEN_LABS_PLUGIN HSVBoost\n' >"$work/hue.txt"
check "HSVBoost on an orange sphere" "$vesk" shade HSVBoost --settings "$work/hue.txt" --color 200,90,60 --size 128 -o "$work/hsv.png"
check "the HSVBoost picture opens" identify "$work/hsv.png"
check "orange where it faces the viewer" awk -v c="$(rgb "$work/hsv.png" 64 64)" 'BEGIN { split(c, p, " "); exit !(p[1] > p[2] && p[2] > p[3]) }'
check "turned green towards the rim" awk -v c="$(rgb "$work/hsv.png" 24 64)" 'BEGIN { split(c, p, " "); exit !(p[2] > p[1] && p[2] > p[3]) }'
check "EdgeRGB on a grey sphere" "$vesk" shade EdgeRGB --size 128 -o "$work/edge.png"
check "the EdgeRGB picture opens" identify "$work/edge.png"
check "grey where it faces the viewer" awk -v c="$(rgb "$work/edge.png" 64 64)" 'BEGIN { split(c, p, " "); exit !(p[1] == p[3]) }'
check "red towards the rim" awk -v c="$(rgb "$work/edge.png" 24 64)" 'BEGIN { split(c, p, " "); exit !(p[1] > p[3] + 10) }'
refuse "a colour out of range" "R,G,B from 0 to 255" "$vesk" shade EdgeRGB --color 300,0,0 -o "$work/x.png"
sphere=$shared/realdata/assimp/test/models/LWO/LWOB/sphere_with_mat_gloss_10pc.lwo
printf 'LWSC\n1\nLoadObject %s\nObjectMotion (unnamed)\n  9\n  1\n  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\nEndBehavior 1\nPlugin DisplacementHandler 1 SuperQ\nBEGIN MARVEN_LABS_PLUGIN SuperQ\nVERSION 1\n BEGIN NUM XEXP\n VALUE 0.1\n END\nEND MARVEN_LABS_PLUGIN SuperQ\nEndPlugin\n' "$sphere" >"$work/boxy.lws"
check "SuperQ on a real object" "$vesk" displace "$work/boxy.lws" sphere_with_mat_gloss_10pc.lwo -o "$work/boxy.obj"
check "the OBJ parses: numbers on v lines, faces within range" awk '
    $1 == "v" { if (NF != 4) exit 1; for (i = 2; i <= 4; ++i) if ($i !~ /^-?[0-9.e+-]+$/) exit 1; ++v }
    $1 == "f" { if (NF < 4) exit 1; for (i = 2; i <= NF; ++i) if ($i < 1 || $i > v) exit 1; ++f }
    END { exit !(v > 0 && f > 0) }' "$work/boxy.obj"
check "the fastest PNG" "$vesk" filter DropShadow --png-level 0 --in "$work/render.png" -o "$work/level0.png"
check "the smallest PNG" "$vesk" filter DropShadow --png-level 9 --in "$work/render.png" -o "$work/level9.png"
check "the levels differ in bytes only" test "$(compare -metric AE "$work/level0.png" "$work/level9.png" null: 2>&1)" = 0
refuse "a level out of range" "png-level is a whole number from 0 to 9" "$vesk" filter DropShadow --png-level 12 --in "$work/render.png" -o "$work/x.png"
refuse "a filter that is not one" "Track is not a pixel or image filter" "$vesk" filter Track --in "$work/render.png" -o "$work/x.png"
refuse "an unreadable image" "not a readable PNG image" "$vesk" filter DropShadow --in "$work/depth.pfm" -o "$work/x.png"
printf 'Pf\n2 2\n-1\n\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0' >"$work/small.pfm"
refuse "mismatched depth" "the depth is 2x2, the image 64x48" "$vesk" filter Rayleigh --in "$work/render.png" --depth "$work/small.pfm" -o "$work/x.png"
[ ! -e "$work/x.png" ] && passed=$((passed + 1)) || { failed=$((failed + 1)); echo "FAIL: a failed filter wrote a file"; }
printf 'LWSC\n1\nLoadObject /nowhere/ghost.lwo\n' >"$work/ghost.lws"
refuse "an object without points" "ghost.lwo has no points" "$vesk" displace "$work/ghost.lws" ghost.lwo -o "$work/x.obj"

# Scenes and sequences: a focus pull (Confusion on a moving null) and a rolling
# barrel (Lens, its roll animated) from the example scene, over test frames.
scene=$source/examples/focus_pull.lws
"$source/examples/make_test_frames.sh" 48 36 24 "$work/seq"
check "describe the focus pull" "$vesk" describe "$scene"
has "its effects: Confusion, then Lens" "^Effects: Confusion: Confusion$" "$work/out"
has "and Lens" "^Effects: Lens: Lens$" "$work/out"
printf 'BEGIN MARVEN_LABS_PLUGIN Confusion\nVERSION 1\n BEGIN NUM FSTOP\n VALUE 0.3\n END\n BEGIN NUM FDIST\n VALUE %s\n END\nEND MARVEN_LABS_PLUGIN Confusion\n' 4 >"$work/at4.txt"
for f in 1 24; do
    n=$(printf %04d $f)
    check "Confusion from the scene, frame $f" "$vesk" filter Confusion --scene "$scene" --in "$work/seq/frame$n.png" --depth "$work/seq/depth$n.pfm" --frame $f -o "$work/scene$n.png"
done
check "the same focus typed in: 4 m at frame 1" "$vesk" filter Confusion --settings "$work/at4.txt" --in "$work/seq/frame0001.png" --depth "$work/seq/depth0001.pfm" -o "$work/typed.png"
check "focus from the null equals the typed focus" cmp "$work/scene0001.png" "$work/typed.png"
check "the focus moved by frame 24" bash -c "! cmp -s '$work/scene0001.png' '$work/scene0024.png'"
mkdir "$work/lens"
check "a 24-frame sequence, 2 workers" "$vesk" filter Lens --scene "$scene" --in "$work/seq/frame%04d.png" --frames 1-24 -j 2 -o "$work/lens/f%04d.png"
has "the summary line" "^Lens: 24 of 24 frames (1-24) filtered to .* by 2 workers$" "$work/out"
same=0
for ((f = 1; f <= 24; ++f)); do
    n=$(printf %04d $f)
    "$vesk" filter Lens --scene "$scene" --in "$work/seq/frame$n.png" --frame $f -o "$work/one.png" >/dev/null && cmp -s "$work/one.png" "$work/lens/f$n.png" && same=$((same + 1))
done
check "every frame equals its single-frame run ($same of 24)" test "$same" -eq 24
check "the roll is animated" bash -c "! cmp -s '$work/lens/f0001.png' '$work/lens/f0012.png'"
rm "$work/seq/frame0013.png"
mkdir "$work/gap"
refuse "a missing frame" "frame0013.png: cannot be read (frame 13 of 1-24)" "$vesk" filter Lens --in "$work/seq/frame%04d.png" --frames 1-24 -o "$work/gap/f%04d.png"
check "nothing written for a gap" test -z "$(ls "$work/gap")"
# PAM pictures: the same pixels as PNG, in and out; damaged ones refused.
convert "$work/seq/frame0001.png" -depth 8 "$work/f1.pam"
check "a PAM frame filtered" "$vesk" filter DropShadow --in "$work/f1.pam" -o "$work/shadow.pam"
check "the PNG frame filtered" "$vesk" filter DropShadow --in "$work/seq/frame0001.png" -o "$work/shadow.png"
check "the same pixels" bash -c "convert '$work/shadow.png' -depth 8 '$work/shadow_png.pam' && cmp <(tail -c 6912 '$work/shadow.pam') <(tail -c 6912 '$work/shadow_png.pam')"
head -c 200 "$work/f1.pam" >"$work/cut.pam"
refuse "a cut PAM" "cut.pam: its pixels are cut short" "$vesk" filter Lens --in "$work/cut.pam" -o "$work/x.pam"
convert "$work/seq/frame0001.png" -depth 16 "$work/deep.pam"
refuse "a 16-bit PAM" "only 8-bit RGB or RGBA PAM" "$vesk" filter Lens --in "$work/deep.pam" -o "$work/x.pam"
refuse "not a frame pattern" "frame patterns, as render/frame%04d.png" "$vesk" filter Lens --in "$work/seq/frame0001.png" --frames 1-2 -o "$work/gap/f.png"
refuse "no folder for the frames" "no folder to write the frames in" "$vesk" filter Lens --in "$work/seq/frame%04d.png" --frames 1-2 -o "$work/nowhere/f%04d.png"

# Hostile scenes: one line naming the file, the line and the reason.
printf 'LWSC\n1\n\v\f \r\nAddNullObject A\n' >"$work/blank.lws"
check "a line of odd white space is a blank line" "$vesk" describe "$work/blank.lws"
printf 'LWSC\n1\nAddNullObject A\nParentObject 1\n' >"$work/self.lws"
refuse "an item parented to itself" "self.lws:4: 'A' would be its own parent" "$vesk" bake "$work/self.lws" A -o "$work/x.mot"
printf 'LWSC\n1\nAddNullObject A\nParentObject 2\nAddNullObject B\nParentObject 1\n' >"$work/mutual.lws"
refuse "two items parented to each other" "mutual.lws:4: 'A' would be its own parent (through 'B')" "$vesk" describe "$work/mutual.lws"
printf 'LWSC\n1\nLastFrame nan\n' >"$work/nan.lws"
refuse "a number that is not one" "nan.lws:3: 'nan' is not a usable number for LastFrame" "$vesk" describe "$work/nan.lws"
printf 'LWSC\n1\nAddNullObject A\nObjectMotion (unnamed)\n  9\n  1e300\n' >"$work/keys.lws"
refuse "a key count past the limit" "keys.lws:6: a motion's key count is a whole number from 1 to 1000000" "$vesk" describe "$work/keys.lws"
printf 'LWSC\n1\nLoadObject %s\n' "$work" >"$work/folder.lws"
refuse "a folder as an object" "has no points (.*: not a file)" "$vesk" displace "$work/folder.lws" "$(basename "$work")" -o "$work/x.obj"
printf 'LWSC\n1\nLoadObject /dev/zero\n' >"$work/device.lws"
refuse "a device as an object" "zero has no points (/dev/zero: not a file)" timeout 10 "$vesk" displace "$work/device.lws" zero -o "$work/x.obj"

# Safe output: a full disk (a file size limit) keeps the old file and leaves
# nothing temporary; a device is written through; a link is followed; two
# writers to one path leave one whole file.
echo "the old motion" >"$work/old.mot"
refuse "a full disk" "old.mot: cannot be written" bash -c "trap '' XFSZ; ulimit -f 1; exec '$vesk' bake '$source/examples/track_demo.lws' Camera -o '$work/old.mot'"
check "the old file kept" grep -q "the old motion" "$work/old.mot"
check "nothing temporary left" test -z "$(ls "$work" | grep vesk-)"
check "a device written through" "$vesk" bake "$source/examples/track_demo.lws" Camera -o /dev/null
check "/dev/null is still a device" test -c /dev/null
ln -s "$work/old.mot" "$work/link.mot"
check "a link followed" "$vesk" bake "$source/examples/track_demo.lws" Camera -o "$work/link.mot"
check "the link stays a link to the new motion" bash -c "test -L '$work/link.mot' && head -1 '$work/old.mot' | grep -q LWMO"
for i in 1 2 3 4; do "$vesk" filter DropShadow --in "$work/render.png" -o "$work/both.png" >/dev/null & "$vesk" filter Lens --in "$work/render.png" -o "$work/both.png" >/dev/null & done; wait
check "two writers leave one whole file" identify "$work/both.png"
check "and nothing temporary" test -z "$(ls "$work" | grep vesk-)"

printf 'BEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\n BEGIN NUM DELAY\n VALUE\n END\nEND MARVEN_LABS_PLUGIN Track\n' >"$work/bad_settings.txt"
refuse "settings that do not load" "bad_settings.txt: the settings did not load: Bad Token on load. (Line 5: VALUE)" "$vesk" settings Track "$work/bad_settings.txt"

# Limits: counts and numbers an animator cannot have meant.
refuse "a bake too long" "bake: --end is a frame from 0 to 1000000, not '99999999999'" "$vesk" bake "$source/examples/track_demo.lws" Camera --end 99999999999 -o "$work/x.mot"
refuse "a density that is not a number" "the density is a fraction from 0 to 1" "$vesk" bake "$source/examples/track_demo.lws" Camera --density nan -o "$work/x.mot"
refuse "a sequence too long" "within 0 to 1000000" "$vesk" displace "$source/examples/poke_demo.lws" plane.lwo --frames 1-2000000000 -o "$work/x.obj"
refuse "a frame that is not one" "filter: --frame is a frame from 0 to 1000000" "$vesk" filter Lens --frame 1e9 --in "$work/render.png" -o "$work/x.png"
printf 'LWSC\n1\nLastFrame 900000000\nAddNullObject A\n' >"$work/long.lws"
refuse "a scene longer than a bake may be" "long.lws: its last frame, 900000000, is past the 1000000 frames a bake may hold; give --end" "$vesk" bake "$work/long.lws" A -o "$work/x.mot"

# A PNG claiming 20000 x 2 pixels (its checksums right), with no pixels.
printf '\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x4e\x20\x00\x00\x00\x02\x08\x06\x00\x00\x00\xbd\x20\xec\x20\x00\x00\x00\x00\x49\x44\x41\x54\x35\xaf\x06\x1e\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60\x82' >"$work/wide.png"
refuse "a PNG too wide" "wide.png: 20000x2 is larger than the 16384-pixel sides vesk reads" "$vesk" filter Lens --in "$work/wide.png" -o "$work/x.png"

# Devices and folders where files belong; a depth written with Windows line ends.
refuse "a device as a scene" "/dev/zero: not a file" timeout 10 "$vesk" describe /dev/zero
refuse "a folder as a render" "not a file" "$vesk" filter Lens --in "$work" -o "$work/x.png"
refuse "a device as settings" "/dev/zero: not a file" timeout 10 "$vesk" settings Track /dev/zero
{ printf 'Pf\r\n64 48\r\n-1\r\n'; tail -c $((64 * 48 * 4)) "$work/depth.pfm"; } >"$work/crlf.pfm"
check "a depth with Windows line ends" "$vesk" filter Rayleigh --in "$work/render.png" --depth "$work/crlf.pfm" -o "$work/fog_crlf.png"
check "reads as the same depth" cmp "$work/fog.png" "$work/fog_crlf.png"
{ cat "$work/depth.pfm"; printf 'more'; } >"$work/long.pfm"
refuse "a depth with more data than pixels" "more depth data than 64x48 pixels" "$vesk" filter Rayleigh --in "$work/render.png" --depth "$work/long.pfm" -o "$work/x.png"

# Rendering: a frame of the studio with its haze, and the same work done by
# hand (the render without its filters, then vesk filter) giving the same pixels.
studio=$source/examples/studio_demo.lws
check "render a studio frame" "$vesk" render "$studio" --frame 6 -o "$work/studio.png" --depth "$work/studio.pfm"
check "the frame opens in ImageMagick" bash -c "identify -format '%w %h' '$work/studio.png' | grep -q '^640 480$'"
check "render without filters" "$vesk" render "$studio" --frame 6 --no-filters -o "$work/bare.png" --depth "$work/bare.pfm"
check "then its haze by hand" "$vesk" filter Rayleigh --scene "$studio" --frame 6 --in "$work/bare.png" --depth "$work/bare.pfm" -o "$work/hazed.png"
check "the pixel filter inside the render is the one by hand" cmp "$work/studio.png" "$work/hazed.png"
{ grep -v '^RenderMode' "$studio"; printf 'Plugin ImageFilterHandler 1 DropShadow\nEndPlugin\n'; } >"$work/shadowed.lws"
cp "$source"/examples/studio_*.lwo "$work/"
check "render with an image filter" "$vesk" render "$work/shadowed.lws" --frame 6 -o "$work/shadowed.png"
check "its shadow by hand" "$vesk" filter DropShadow --scene "$work/shadowed.lws" --frame 6 --in "$work/hazed.png" -o "$work/shadowed_by_hand.png"
check "the image filter inside the render is the one by hand" cmp "$work/shadowed.png" "$work/shadowed_by_hand.png"
check "a shader on the ball's surface" "$vesk" render "$studio" --frame 6 --shader Ball=HSVBoost -o "$work/boosted.png"
check "a sequence by two workers" "$vesk" render "$studio" --frames 0-3 -j 2 -o "$work/seq%04d.png"
check "every frame of it" test -s "$work/seq0000.png" -a -s "$work/seq0003.png"
check "frame 3 of the sequence is frame 3 alone" bash -c "'$vesk' render '$studio' --frame 3 -o '$work/three.png' && cmp '$work/three.png' '$work/seq0003.png'"
check "PolyPop building the ball" "$vesk" render "$studio" --frame 14 --size 160x120 --shader Ball=PolyPop:"$source/examples/polypop_build.txt" -o "$work/built.png"
check "the crate corroding" "$vesk" render "$source/examples/acid_demo.lws" --frame 32 --size 160x120 --shader Crate=Acid:"$source/examples/acid_corrode.txt" -o "$work/acid.png"
check "a rotor spinning up" "$vesk" render "$source/examples/rotor_demo.lws" --frame 24 --size 160x120 --shader Prop=BladeBlur:"$source/examples/rotor_spinup.txt" -o "$work/rotor.png"
check "an environment map from the probe" "$vesk" render "$source/examples/enviro_demo.lws" --frame 6 --size 128x64 -o "$work/map.png"
check "the map is an ordinary PNG" bash -c "identify -format '%w %h %m' '$work/map.png' | grep -q '^128 64 PNG$'"
check "the misty valley, the camera inside the layer" "$vesk" render "$source/examples/mist_demo.lws" --frame 48 --size 160x90 -o "$work/mist.png"
check "a shader on a real object" "$vesk" shade HSVBoost --object "$shared/realdata/assimp/test/models/LWO/LWOB/sphere_with_mat_gloss_10pc.lwo" --size 64 -o "$work/on_sphere.png"
refuse "a shader on a missing object" "nowhere.lwo: no such file" "$vesk" shade HSVBoost --object "$work/nowhere.lwo" -o "$work/none.png"
head -c 3000 "$source/examples/studio_floor.lwo" >"$work/studio_floor.lwo"
refuse "a cut object" "studio_floor.lwo: the file is cut short" "$vesk" render "$work/shadowed.lws" --frame 6 -o "$work/none.png"
rm -f "$work/studio_floor.lwo"
refuse "a missing object" "studio_floor.lwo: no such file" "$vesk" render "$work/shadowed.lws" --frame 6 -o "$work/none.png"
check "and nothing written" test ! -e "$work/none.png"
refuse "an unknown shader" "no plug-in named 'Nope'" "$vesk" render "$studio" --frame 6 --shader Ball=Nope -o "$work/none.png"
refuse "a filter given as a shader" "Rayleigh is not a shader" "$vesk" render "$studio" --frame 6 --shader Ball=Rayleigh -o "$work/none.png"
refuse "a frame of no size" "render: --size wants WIDTHxHEIGHT" "$vesk" render "$studio" --frame 1 --size 0x10 -o "$work/none.png"
printf 'LWSC\n1\nCustomSize -5 10\nShowCamera 1 7\n' >"$work/negative.lws"
refuse "a scene's negative frame" "negative.lws: the frame is -5x10" "$vesk" render "$work/negative.lws" --frame 1 -o "$work/none.png"
printf 'LWSC\n1\nAddNullObject A\n' >"$work/dark.lws"
refuse "a scene without a camera" "dark.lws: the scene has no camera" "$vesk" render "$work/dark.lws" --frame 1 -o "$work/none.png"
check "still nothing written" test ! -e "$work/none.png"

refuse "unknown plug-in" "no plug-in named 'Nope'" "$vesk" settings Nope
refuse "missing settings file" "missing.txt: cannot be read" "$vesk" settings Track "$work/missing.txt"
refuse "missing scene" "nowhere.lws: cannot be read" "$vesk" describe "$work/nowhere.lws"
refuse "unknown item" "no item named 'Ghost'" "$vesk" bake "$source/examples/track_demo.lws" Ghost -o "$work/x.mot"
printf 'LWSC\n1\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  1\n  0 0 zero 0 0 0 1 1 1\n' >"$work/broken.lws"
refuse "malformed scene line" "broken.lws:7: 'zero' is not a number" "$vesk" describe "$work/broken.lws"
refuse "unwritable output" "cannot be written" "$vesk" bake "$source/examples/track_demo.lws" Camera -o "$work/no/such/dir.mot"

# A range of one frame is a range: its pattern is filled in.
check "render a one-frame range" "$vesk" render "$source/examples/studio_demo.lws" --frames 3-3 --size 64x48 -o "$work/one%04d.png"
check "its file is numbered" test -s "$work/one0003.png"
refuse "a range to a plain name" "for a range of frames -o is a frame pattern" "$vesk" render "$source/examples/studio_demo.lws" --frames 3-3 -o "$work/one.png"

# The plain-key export: the camera's Track baked to keys, read back without
# the plug-in, bakes to the same motion; a missing object refuses before writing.
check "export the demo as plain keys" "$vesk" export "$source/examples/track_demo.lws" -o "$work/plain.lws"
check "the export has no motion plug-in" awk '/^Plugin ItemMotionHandler/ { exit 1 }' "$work/plain.lws"
check "bake the export" "$vesk" bake "$work/plain.lws" Camera -o "$work/plain.mot"
check "the same motion, within the motion file's digits" awk 'NR == FNR { a[FNR] = $0; next }
    { n = split(a[FNR], x); if (n != split($0, y)) exit 1; for (i = 1; i <= n; ++i) { d = x[i] - y[i]; if (d * d > 1e-10) exit 1 } }' \
    "$work/camera.mot" "$work/plain.mot"
printf 'LWSC\n1\nLoadObject nowhere/gone_wheel.lwo\n' >"$work/gone.lws"
refuse "an export whose object is missing" "gone_wheel.lwo: no such file" "$vesk" export "$work/gone.lws" -o "$work/gone_out.lws"
check "nothing written" test ! -e "$work/gone_out.lws"
refuse "a glTF export whose object is missing" "gone_wheel.lwo: no such file" "$vesk" export "$work/gone.lws" -o "$work/gone.glb"
check "nothing written" test ! -e "$work/gone.glb"
refuse "an export to another format" "name the file .glb or .gltf" "$vesk" export "$work/gone.lws" -o "$work/out.fbx"
refuse "glTF options on a plain-key export" "are for glTF" "$vesk" export "$work/gone.lws" -o "$work/out.lws" --step 2
refuse "a step of none" "give a whole number of frames" "$vesk" export "$work/gone.lws" -o "$work/out.glb" --step 0
# A .gltf and its buffer, side by side, the .gltf naming the buffer by its file name alone.
check "export a .gltf" "$vesk" export "$source/examples/car_demo.lws" -o "$work/car.gltf" --frames 1-9 --step 4
check "its buffer beside it" grep -q '"uri":"car.bin"' "$work/car.gltf"
check "three frames sampled" grep -q '"count":3,"type":"SCALAR","min":\[0.0416666679\],"max":\[0.375\]' "$work/car.gltf"

echo "vesk command: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
