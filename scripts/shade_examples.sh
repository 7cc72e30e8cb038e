#!/usr/bin/env bash
# The view-angle shaders' example pictures in docs/shaders/: vesk shade on its
# lit sphere with settings that show each effect, and the three side by side.
# Run after a native build (bash scripts/run.sh builds one).
set -euo pipefail
cd "$(dirname "$0")/.."
vesk=build/native/vesk out=docs/shaders
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
settings() {  # settings PLUGIN BLOCK...: a settings file as the panel's Save writes it
    local name=$1; shift
    { echo "BEGIN MARVEN_LABS_PLUGIN $name"; echo "VERSION 1"; printf '%s\n' "$@"; echo "END MARVEN_LABS_PLUGIN $name"; } >"$work/$name.txt"
}
num() { printf ' BEGIN NUM %s\n VALUE %s\n END' "$1" "$2"; }

# A cool blue ball whose rim turns warm and bright.
settings HSVBoost "$(num GLANCEHUE 170)" "$(num GLANCEBRIGHT 1.4)" "$(num TRANSHUE 0.15)" "$(num SHARPHUE 0.85)"
"$vesk" shade HSVBoost --settings "$work/HSVBoost.txt" --color 70,110,190 --size 256 -o "$out/hsvboost_warm_rim.png"
# A red ball whose facing side loses its saturation.
settings HSVBoost "$(num PERPSAT 0.15)" "$(num GLANCESAT 1.2)" "$(num SHARPSAT 0.3)"
"$vesk" shade HSVBoost --settings "$work/HSVBoost.txt" --color 200,60,50 --size 256 -o "$out/hsvboost_pale_face.png"
# An orange silhouette on a grey-blue ball, reaching well in, with a soft border.
printf 'BEGIN MARVEN_LABS_PLUGIN EdgeRGB\nVERSION 1\n BEGIN COLOR COLOR\n  RED 255\n  GREEN 150\n  BLUE 40\n END\n%s\n%s\nEND MARVEN_LABS_PLUGIN EdgeRGB\n' \
    "$(num TRANS 0.7)" "$(num SHARP 0.3)" >"$work/EdgeRGB.txt"
"$vesk" shade EdgeRGB --settings "$work/EdgeRGB.txt" --color 110,120,140 --size 256 -o "$out/edgergb_orange_edge.png"
convert "$out/hsvboost_warm_rim.png" "$out/hsvboost_pale_face.png" "$out/edgergb_orange_edge.png" +append "$out/view_angle.png"
echo "wrote $out/view_angle.png and its three pictures"
