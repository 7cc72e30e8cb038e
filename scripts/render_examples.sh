#!/usr/bin/env bash
# The renderer's examples in docs/render/: the studio scene (a bouncing,
# squashing ball and a crate on a mirror-polished floor, a key light and a
# blue spot light with traced shadows, a sky gradient and Rayleigh's haze as
# its pixel filter) rendered as a sequence by two workers, frames 0, 6 and 12;
# and the example scenes whose objects the plug-ins bend (Dangle's rope,
# Flexor's stalk, Diffuse's jelly, Poke's floor) at frame 20; and vesk shade
# on real objects: HSVBoost at its defaults and with a glancing hue shift on
# the real glossy sphere object, EdgeRGB on the studio ball; Enviro's maps of
# the studio from a null, PolyPop building the studio's ball, Acid eating the
# crate, BladeBlur's
# rotor spinning up and strobing, and VFog's
# misty valley; the studio at each antialiasing level; and the studio and the
# car demo exported and rendered by Blender beside vesk render's frames. Run
# after a native build and the test tools (Blender), from a checkout with
# ../shared beside it.
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
sphere=../shared/realdata/assimp/test/models/LWO/LWOB/sphere_with_mat_gloss_10pc.lwo
cat >"$work/hue.txt" <<'SETTINGS'
BEGIN MARVEN_LABS_PLUGIN HSVBoost
VERSION 1
 BEGIN NUM GLANCEHUE
 VALUE 150
 END
 BEGIN NUM SHARPHUE
 VALUE 2
 END
END MARVEN_LABS_PLUGIN HSVBoost
SETTINGS
"$vesk" shade HSVBoost --object "$sphere" -o "$work/plain.png"
"$vesk" shade HSVBoost --settings "$work/hue.txt" --object "$sphere" -o "$work/hue.png"
"$vesk" shade EdgeRGB --object examples/studio_ball.lwo -o "$work/edge.png"
convert "$work/plain.png" "$work/hue.png" "$work/edge.png" +append "$out/shade_on_objects.png"
# Enviro: the studio seen from the probe null between the crate and the ball,
# as a spherical map (1024 x 512) and, with the mapping switched to the cube's
# cross, a cubical one (1024 x 768); the map is an ordinary PNG.
"$vesk" render examples/enviro_demo.lws --frame 6 -o "$out/enviro_spherical.png"
sed -e '/BEGIN RADIO MAPPING/{n;s/SELECTION 0/SELECTION 2/}' -e 's/^CustomSize 1024 512$/CustomSize 1024 768/' \
    examples/enviro_demo.lws >"$work/enviro_cubical.lws"
cp examples/studio_*.lwo "$work/"
"$vesk" render "$work/enviro_cubical.lws" --frame 6 -o "$out/enviro_cubical.png"
identify "$out/enviro_spherical.png" "$out/enviro_cubical.png"
# PolyPop on the studio's ball (its surface "Ball"): built in seeded order
# over frames 0 to 36, each polygon fading in over 4 frames with a flash;
# frames 6, 14, 22 and 30.
for f in 6 14 22 30; do
    "$vesk" render examples/studio_demo.lws --frame "$f" --shader Ball=PolyPop:examples/polypop_build.txt \
        -o "$work/pop$f.png"
done
convert "$work/pop6.png" "$work/pop14.png" "$work/pop22.png" "$work/pop30.png" -alpha off -resize 50% +append \
    "$out/polypop.png"
# Acid on the studio crate (surface "Crate", examples/acid_corrode.txt): its
# coverage rising from 0 by 0.8 % a frame, eaten parts turned to holes, and a
# null "Drop1" at its top corner growing, eating outwards; frames 1, 16, 32, 48.
for f in 1 16 32 48; do
    "$vesk" render examples/acid_demo.lws --frame "$f" --shader Crate=Acid:examples/acid_corrode.txt -o "$work/acid$f.png"
done
convert "$work/acid1.png" "$work/acid16.png" "$work/acid32.png" "$work/acid48.png" -alpha off -resize 50% +append \
    "$out/acid.png"
# BladeBlur on a rotor disc: spinning up from rest (frames 2, 12, 24, 48),
# then held at 478 RPM, just under one blade spacing a frame at 24 fps, so
# that frames 20 to 23 show the blades creeping backwards (strobing).
for f in 2 12 24 48; do
    "$vesk" render examples/rotor_demo.lws --frame "$f" --shader Prop=BladeBlur:examples/rotor_spinup.txt -o "$work/spin$f.png"
done
for f in 20 21 22 23; do
    "$vesk" render examples/rotor_demo.lws --frame "$f" --shader Prop=BladeBlur:examples/rotor_strobe.txt -o "$work/strobe$f.png"
done
convert \( "$work/spin2.png" "$work/spin12.png" "$work/spin24.png" "$work/spin48.png" +append \) \
    \( "$work/strobe20.png" "$work/strobe21.png" "$work/strobe22.png" "$work/strobe23.png" +append \) \
    -append -alpha off -resize 50% "$out/bladeblur.png"
# VFog: the camera descending into a misty valley, frames 0, 24, 40 and 48.
"$vesk" render examples/mist_demo.lws --frames 0-48 -j 2 -o "$work/mist%04d.png"
convert \( "$work/mist0000.png" "$work/mist0024.png" +append \) \( "$work/mist0040.png" "$work/mist0048.png" +append \) \
    -append -alpha off -resize 50% "$out/mist.png"
# Antialiasing: the studio's frame 12 at each level (off, 5, 9 and 17 passes),
# the ball's edge against the floor and the crate's shadow cropped and enlarged
# four times.
for level in 0 1 2 3; do
    "$vesk" render examples/studio_demo.lws --frame 12 --aa "$level" -o "$work/aa$level.png"
    convert "$work/aa$level.png" -crop 120x90+250+230 +repage -alpha off -filter point -resize 400% "$work/aa$level.crop.png"
done
convert "$work/aa0.crop.png" "$work/aa1.crop.png" "$work/aa2.crop.png" "$work/aa3.crop.png" +append +repage \
    "$out/antialiasing.png"
# Exported and rendered by Blender: the studio's frame 12 and the car demo's
# frame 60 (the car held to its speed, the wheels rolled by their plug-ins),
# each as vesk render draws it beside Blender's Cycles render of its glTF
# export (scripts/blender_render.py says how the lights are matched).
ambient() {  # the scene's ambient light as Blender's world colour: colour x intensity
    tr -d '\r' <"$1" | awk '$1 == "AmbientColor" { c = $2 " " $3 " " $4 } $1 == "AmbIntensity" { k = $2 }
        END { split(c, v, " "); printf "%g,%g,%g", v[1] / 255 * k, v[2] / 255 * k, v[3] / 255 * k }'
}
for shot in studio_demo:12 car_demo:60; do
    scene=${shot%:*} frame=${shot#*:}
    fps=$(tr -d '\r' <"examples/$scene.lws" | awk '$1 == "FramesPerSecond" { print $2 }')
    "$vesk" render "examples/$scene.lws" --frame "$frame" --size 400x300 -o "$work/$scene.vesk.png"
    "$vesk" export "examples/$scene.lws" -o "$work/$scene.glb"
    env -u PYENV_VERSION blender -b --python-expr "import sys; sys.argv = ['', '$work/$scene.glb', '$frame', '400', '300', \
        '$work/$scene.blender.png', '$fps', '$(ambient "examples/$scene.lws")']; exec(open('scripts/blender_render.py').read())" \
        >"$work/blender.log" 2>&1 || { tail -n 20 "$work/blender.log"; exit 1; }
    for side in vesk blender; do convert "$work/$scene.$side.png" -background black -alpha remove "$work/$scene.$side.png"; done
done
montage -label "vesk render" "$work/studio_demo.vesk.png" -label "Blender (Cycles), from vesk export" "$work/studio_demo.blender.png" \
    -label "vesk render" "$work/car_demo.vesk.png" -label "Blender (Cycles), from vesk export" "$work/car_demo.blender.png" \
    -font DejaVu-Sans -pointsize 13 -tile 2x2 -geometry +4+4 -background white "$out/blender.png"
echo "wrote $out/studio.png, antialiasing.png, plugin_scenes.png, shade_on_objects.png, enviro_spherical.png, enviro_cubical.png, polypop.png, acid.png, bladeblur.png, mist.png and blender.png"
