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

for sub in list settings describe bake filter displace shade; do check "$sub --help" "$vesk" "$sub" --help; done

check "default settings" "$vesk" settings Track
cp "$work/out" "$work/defaults"
has() {  # has WHAT PATTERN FILE: the file holds a line matching PATTERN
    if grep -q -- "$2" "$3"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAIL: $1"; fi
}
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
sphere=$shared/realdata/assimp/test/models/LWO/LWOB/sphere_with_mat_gloss_10pc.lwo
printf 'LWSC\n1\nLoadObject %s\nObjectMotion (unnamed)\n  9\n  1\n  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\nEndBehavior 1\nPlugin DisplacementHandler 1 SuperQ\nBEGIN MARVEN_LABS_PLUGIN SuperQ\nVERSION 1\n BEGIN NUM XEXP\n VALUE 0.1\n END\nEND MARVEN_LABS_PLUGIN SuperQ\nEndPlugin\n' "$sphere" >"$work/boxy.lws"
check "SuperQ on a real object" "$vesk" displace "$work/boxy.lws" sphere_with_mat_gloss_10pc.lwo -o "$work/boxy.obj"
check "the OBJ parses: numbers on v lines, faces within range" awk '
    $1 == "v" { if (NF != 4) exit 1; for (i = 2; i <= 4; ++i) if ($i !~ /^-?[0-9.e+-]+$/) exit 1; ++v }
    $1 == "f" { if (NF < 4) exit 1; for (i = 2; i <= NF; ++i) if ($i < 1 || $i > v) exit 1; ++f }
    END { exit !(v > 0 && f > 0) }' "$work/boxy.obj"
refuse "a filter that is not one" "Track is not a pixel or image filter" "$vesk" filter Track --in "$work/render.png" -o "$work/x.png"
refuse "an unreadable image" "not a readable PNG image" "$vesk" filter DropShadow --in "$work/depth.pfm" -o "$work/x.png"
printf 'Pf\n2 2\n-1\n\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0' >"$work/small.pfm"
refuse "mismatched depth" "the depth is 2x2, the image 64x48" "$vesk" filter Rayleigh --in "$work/render.png" --depth "$work/small.pfm" -o "$work/x.png"
[ ! -e "$work/x.png" ] && passed=$((passed + 1)) || { failed=$((failed + 1)); echo "FAIL: a failed filter wrote a file"; }
printf 'LWSC\n1\nLoadObject /nowhere/ghost.lwo\n' >"$work/ghost.lws"
refuse "an object without points" "ghost.lwo has no points" "$vesk" displace "$work/ghost.lws" ghost.lwo -o "$work/x.obj"

refuse "unknown plug-in" "no plug-in named 'Nope'" "$vesk" settings Nope
refuse "missing settings file" "missing.txt: cannot be read" "$vesk" settings Track "$work/missing.txt"
refuse "missing scene" "nowhere.lws: cannot be read" "$vesk" describe "$work/nowhere.lws"
refuse "unknown item" "no item named 'Ghost'" "$vesk" bake "$source/examples/track_demo.lws" Ghost -o "$work/x.mot"
printf 'LWSC\n1\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  1\n  0 0 zero 0 0 0 1 1 1\n' >"$work/broken.lws"
refuse "malformed scene line" "broken.lws:7: 'zero' is not a number" "$vesk" describe "$work/broken.lws"
refuse "unwritable output" "cannot be written" "$vesk" bake "$source/examples/track_demo.lws" Camera -o "$work/no/such/dir.mot"

echo "vesk command: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
