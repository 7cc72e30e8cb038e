#!/usr/bin/env bash
# The shipped vesk.p, run by the 32-bit host, against the native build of the
# same sources, on every example scene: each item with motion plug-ins baked
# (the whole scene, up to frame 120), each object with displacement plug-ins
# displaced at frames 1, 24 and 48. Motion files hold six significant digits,
# so the product and the native build must agree to one part in 10^5 (a last
# digit rounded the other way); the OBJ files' nine digits to one in 10^7.
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
echo "product against native: $compared comparisons, $failed beyond tolerance or failed"
[ "$failed" -eq 0 ] && [ "$compared" -gt 20 ]
