#!/usr/bin/env bash
# The image filters' example in docs/filters/: a 24-frame test render (three
# balls before a checked wall, with depth) put through the focus-pull scene's
# own filter blocks with vesk filter --scene: Confusion focused on a null that
# travels from the nearest ball to the farthest, then Lens bending the picture
# into a barrel and rolling it sideways over the sequence. Frames 1, 12 and 24
# before (top) and after (bottom). Run after a native build.
set -euo pipefail
cd "$(dirname "$0")/.."
vesk=build/native/vesk scene=examples/focus_pull.lws out=docs/filters
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out" "$work/focused" "$work/final"
examples/make_test_frames.sh 320 240 24 "$work/render"
"$vesk" filter Confusion --scene "$scene" --in "$work/render/frame%04d.png" --depth "$work/render/depth%04d.pfm" \
    --frames 1-24 -o "$work/focused/frame%04d.png"
"$vesk" filter Lens --scene "$scene" --in "$work/focused/frame%04d.png" --frames 1-24 -o "$work/final/frame%04d.png"
row() { convert "$1/frame0001.png" "$1/frame0012.png" "$1/frame0024.png" +append "$2"; }
row "$work/render" "$work/before.png"
row "$work/final" "$work/after.png"
convert "$work/before.png" "$work/after.png" -append "$out/focus_pull.png"
echo "wrote $out/focus_pull.png"
