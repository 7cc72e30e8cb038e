#!/usr/bin/env bash
# The shipped vesk.p, run by the 32-bit host, against the native build of the
# same sources, on every example scene: each item with motion plug-ins baked
# (the whole scene, up to frame 120), each object with displacement plug-ins
# displaced at frames 1, 24 and 48. Motion files hold six significant digits,
# so the product and the native build must agree to one part in 10^5 (a last
# digit rounded the other way); the OBJ files' nine digits to one in 10^7.
# Every filter over a test render (frames 1 and 12, with the focus-pull scene's
# settings where it has a block) and every shader's preview (at its example's
# settings) as pictures: every channel to within one level of 255.
# Every difference beyond is printed with its place and both values.
# usage: product_equality.sh VESK32 VESK_P NATIVE_VESK SOURCE_DIR
set -u
vesk32=$1 product=$2 native=$3 source=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
compare="python3 $source/tests/compare_numbers.py"
failed=0 compared=0
# Damaged modules: one line naming what is wrong, no crash, exit status 1.
damaged() {  # damaged WHAT PATTERN FILE
    if "$vesk32" --module "$3" list >/dev/null 2>"$work/err"; then
        echo "FAIL: $1 was started"; failed=$((failed + 1))
    elif [ "$(wc -l <"$work/err")" -ne 1 ] || ! grep -q -- "$2" "$work/err"; then
        echo "FAIL: $1:"; cat "$work/err"; failed=$((failed + 1))
    fi
}
head -c 300000 "$product" >"$work/cut.p"
damaged "a cut module" "cut short: its section" "$work/cut.p"
# An import renamed to one nobody provides (same length, so nothing else moves).
LC_ALL=C sed 's/ferror/ferrox/' "$product" >"$work/unknown.p"
damaged "an unknown import" "imports msvcrt.dll ferrox, which this host does not provide" "$work/unknown.p"
damaged "a folder" "not a file" "$source/examples"

# Which class each plug-in is: item motion or displacement.
"$native" list | awk '$2 == "ItemMotionHandler" || $2 == "DisplacementHandler" { print $3, $2 }' >"$work/classes"
class_of() { awk -v p="$1" '$1 == p { print $2 }' "$work/classes"; }
for scene in "$source"/examples/*.lws; do
    name=$(basename "$scene" .lws)
    "$native" describe "$scene" >"$work/described" 2>/dev/null || continue
    # "Item: Plugin: description" lines; items may hold ": " in no name here.
    awk -F': ' 'NF >= 3 && $1 != "Effects" { print $1 "\t" $2 }' "$work/described" | sort -u >"$work/uses"
    while IFS=$'\t' read -r item plugin; do
        case $(class_of "$plugin") in
        ItemMotionHandler)
            key="$name/$item (bake)"
            grep -qxF "$key" "$work/done" 2>/dev/null && continue
            echo "$key" >>"$work/done"
            "$vesk32" --module "$product" bake "$scene" "$item" --end 120 -o "$work/p.mot" >/dev/null &&
                "$native" bake "$scene" "$item" --end 120 -o "$work/n.mot" >/dev/null ||
                { echo "$key: the bake failed"; failed=$((failed + 1)); continue; }
            $compare "$key" "$work/p.mot" "$work/n.mot" 1e-5 || failed=$((failed + 1))
            compared=$((compared + 1))
            ;;
        DisplacementHandler)
            key="$name/$item (displace)"
            grep -qxF "$key" "$work/done" 2>/dev/null && continue
            echo "$key" >>"$work/done"
            for frame in 1 24 48; do
                "$vesk32" --module "$product" displace "$scene" "$item" --frame $frame -o "$work/p.obj" >/dev/null &&
                    "$native" displace "$scene" "$item" --frame $frame -o "$work/n.obj" >/dev/null ||
                    { echo "$key: frame $frame failed"; failed=$((failed + 1)); continue; }
                $compare "$key frame $frame" "$work/p.obj" "$work/n.obj" 1e-7 || failed=$((failed + 1))
                compared=$((compared + 1))
            done
            ;;
        esac
    done <"$work/uses"
done
# Pictures, as PAM (the 32-bit build has no libpng).
"$source/examples/make_test_frames.sh" 160 120 12 "$work/frames" >/dev/null
pictures() {  # pictures WHAT ARGS...: the same command by both, OUT is $work/X.pam
    local what=$1
    shift
    "$vesk32" --module "$product" "$@" -o "$work/p.pam" >/dev/null 2>"$work/err" &&
        "$native" "$@" -o "$work/n.pam" >/dev/null 2>>"$work/err" ||
        { echo "$what: failed"; cat "$work/err"; failed=$((failed + 1)); return; }
    python3 "$source/tests/compare_pictures.py" "$what" "$work/p.pam" "$work/n.pam" 1 || failed=$((failed + 1))
    compared=$((compared + 1))
}
for frame in 1 12; do
    convert "$work/frames/frame$(printf %04d $frame).png" -depth 8 "$work/frame.pam"
    for filter in Lens Confusion DropShadow Rayleigh VFog Enviro; do
        pictures "$filter frame $frame" filter "$filter" --scene "$source/examples/focus_pull.lws" --in "$work/frame.pam" \
            --depth "$work/frames/depth$(printf %04d $frame).pfm" --frame $frame
    done
done
pictures "HSVBoost" shade HSVBoost --size 96
pictures "EdgeRGB" shade EdgeRGB --size 96
pictures "Unveil" shade Unveil --size 96
pictures "Acid" shade Acid --settings "$source/examples/acid_corrode.txt" --size 96 --frame 30
pictures "PolyPop" shade PolyPop --settings "$source/examples/polypop_build.txt" --size 96 --frame 18
pictures "BladeBlur" shade BladeBlur --settings "$source/examples/rotor_spinup.txt" --size 96 --frame 12

echo "product against native: $compared comparisons, $failed beyond tolerance or failed"
[ "$failed" -eq 0 ] && [ "$compared" -gt 20 ]
