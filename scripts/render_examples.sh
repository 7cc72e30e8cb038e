#!/usr/bin/env bash
# The renderer's examples in docs/render/: the studio scene (a bouncing,
# squashing ball and a crate on a mirror-polished floor, a key light and a
# blue spot light with traced shadows, a sky gradient and Rayleigh's haze as
# its pixel filter) rendered as a sequence by two workers, frames 0, 6 and 12;
# and the example scenes whose objects the plug-ins bend (Dangle's rope,
# Flexor's stalk, Diffuse's jelly, Poke's floor) at frame 20. Run after a
# native build.
set -euo pipefail
cd "$(dirname "$0")/.."
vesk=build/native/vesk out=docs/render
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
"$vesk" render examples/studio_demo.lws --frames 0-12 -j 2 -o "$work/studio%04d.png" --depth "$work/depth%04d.pfm"
convert "$work/studio0000.png" "$work/studio0006.png" "$work/studio0012.png" -alpha off -resize 50% +append "$out/studio.png"
for scene in dangle flexor diffuse poke; do
    "$vesk" render "examples/${scene}_demo.lws" --frame 20 --size 320x240 -o "$work/$scene.png"
done
convert "$work/dangle.png" "$work/flexor.png" "$work/diffuse.png" "$work/poke.png" -alpha off +append "$out/plugin_scenes.png"
echo "wrote $out/studio.png and $out/plugin_scenes.png"
