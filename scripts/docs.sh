#!/usr/bin/env bash
# The manual in docs/: a picture of every plug-in's effect, made from real runs
# of the vesk command on the examples, into docs/effects/, then the pages
# (docs/README.md and docs/plugins/PLUGIN.md) from each plug-in's text in
# docs/source/ and what vesk says about its controls today. The panel pictures
# in docs/panels/ come from the Windows panel check (ctest --preset win64).
#   item motion:  the baked channels over the frames, with the plug-in and with
#                 the item's keys alone (vesk bake, vesk bake --no-plugins)
#   displacement: the object as modelled and displaced, drawn from the OBJ files
#   shaders:      vesk shade at two or three settings
#   filters:      the same frame before and after
# Plots and drawings are gnuplot's. `scripts/docs.sh --pages` writes the pages
# alone. Builds the native preset first when it is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/ensure-tools.sh
vesk_packages+=(gnuplot-nox python3)
vesk_ensure_tools
[ -x build/native/vesk ] || vesk_build native
vesk=build/native/vesk
if [ "${1:-}" = "--pages" ]; then
    exec python3 scripts/manual_pages.py "$vesk" docs
fi
out=docs/effects work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
font="DejaVu Sans,10"

# A motion file's keys as rows: frame X Y Z H P B SX SY SZ.
mot_rows() { awk 'NR > 4 { if ((NR - 5) % 2 == 0) v = $0; else { split($0, k, " "); print k[1], v } }' "$1"; }
# labelled_row OUT "LABEL" IMAGE "LABEL" IMAGE ...: pictures side by side, each
# with its caption under it.
labelled_row() {
    local target=$1 args=()
    shift
    while [ $# -gt 0 ]; do args+=(-label "$1" "$2"); shift 2; done
    montage "${args[@]}" -font DejaVu-Sans -pointsize 13 -tile x1 -geometry +6+6 -background white "$target"
}
column_of() { case $1 in X) echo 2 ;; Y) echo 3 ;; Z) echo 4 ;; H) echo 5 ;; P) echo 6 ;; B) echo 7 ;;
    SX) echo 8 ;; SY) echo 9 ;; SZ) echo 10 ;; esac; }

# plot_channels NAME WITH.dat WITHOUT.dat "CHANNELS" "Y LABEL" "TITLE" "X LABEL" [STYLE]
plot_channels() {
    local name=$1 with=$2 without=$3 channels=$4 ylabel=$5 title=$6 xlabel=$7 style=${8:-lines}
    local plots="" n=1 c
    for ch in $channels; do
        c=$(column_of "$ch")
        plots+="'$with' using 1:$c with $style lw 2 lc $n title '$ch with $name', "
        plots+="'$without' using 1:$c with $style lw 1.5 dt 2 lc $n title '$ch, keys only', "
        n=$((n + 1))
    done
    gnuplot <<GNUPLOT
set terminal pngcairo size 760,380 font "$font"
set output "$out/${name,,}.png"
set title "$title"
set xlabel "$xlabel"
set ylabel "$ylabel"
set key outside right top
set grid
plot ${plots%, }
GNUPLOT
}

# motion_plot NAME SCENE ITEM "CHANNELS" "Y LABEL" "TITLE" [bake options]
motion_plot() {
    local name=$1 scene=$2 item=$3 channels=$4 ylabel=$5 title=$6
    shift 6
    "$vesk" bake "$scene" "$item" "$@" -o "$work/with.mot" >/dev/null
    "$vesk" bake "$scene" "$item" "$@" --no-plugins -o "$work/without.mot" >/dev/null
    mot_rows "$work/with.mot" >"$work/with.dat"
    mot_rows "$work/without.mot" >"$work/without.dat"
    plot_channels "$name" "$work/with.dat" "$work/without.dat" "$channels" "$ylabel" "$title" "frame"
}

metres=metres degrees=degrees
motion_plot Track examples/track_demo.lws Camera "H P" "$degrees" \
    "Track: the circling camera's heading and pitch follow the bobbing target"
motion_plot Blink examples/blink_demo.lws Eyelid "P" "$degrees" \
    "Blink: the eyelid's keyed close (frames 1000-1006) replayed at random moments" --parent-coords --end 480
motion_plot Diffuser examples/drift_demo.lws Debris "X Y Z" "$metres" \
    "Diffuser: debris drifting away from its slow keyed path"
motion_plot Speedlimit examples/car_demo.lws Car "X" "$metres" \
    "Speedlimit: the car's jerk forward at frame 24 held to 6 m/s"
motion_plot Wheelie examples/car_demo.lws "wheel.lwo (3)" "B" "$degrees" \
    "Wheelie: a wheel rolling by the distance the car travels" --parent-coords
motion_plot Limiter examples/bounce_demo.lws Ball "Y" "$metres" \
    "Limiter: the ball keyed through the floor, held at Y 0.3 and above"
motion_plot VelAccel examples/throw_demo.lws Stone "X Y" "$metres" \
    "VelAccel: a stone thrown at 5 m/s forward and 8 m/s up under gravity"
motion_plot Parent examples/parent_demo.lws Ball "X Y" "$metres" \
    "Parent: a ball carried by one hand, handed to the other, then let go"
motion_plot Whip examples/whip_demo.lws Antenna "P B" "$degrees" \
    "Whip: a car's antenna thrown back, whipping at the stop, settling" --parent-coords
motion_plot PathAlign examples/pathalign_demo.lws Plane "H" "$degrees" \
    "PathAlign: a plane's nose along its S-curve, partly along its acceleration"
motion_plot DistLink examples/distlink_demo.lws Stride "P" "$degrees" \
    "DistLink: a stride's swing played by the distance its body travels" --parent-coords
motion_plot PhaseLink examples/cycle_links_demo.lws Stride "P" "$degrees" \
    "PhaseLink: a stride's swing played by the body's Z position, one per 1.5 m" --parent-coords
motion_plot SpeedLink examples/cycle_links_demo.lws Rider "P" "$degrees" \
    "SpeedLink: a rider leaning forward with the body's speed" --parent-coords
motion_plot AccelLink examples/cycle_links_demo.lws Aerial "P" "$degrees" \
    "AccelLink: an aerial thrown back as the body speeds up, forward as it brakes" --parent-coords
motion_plot ThrottleLink examples/cycle_links_demo.lws Fan "P" "$degrees" \
    "ThrottleLink: a fan's turn played at a phase velocity opening from 0" --parent-coords

# Objblur changes the motion the host samples for the blur, not the frame's:
# the propeller's bank at each of frame 24's passes.
blur_rows() { "$vesk" blur examples/propeller_demo.lws Propeller --frame 24 "$@" | awk 'NR > 2'; }
blur_rows >"$work/with.dat"
blur_rows --no-plugins >"$work/without.dat"
plot_channels Objblur "$work/with.dat" "$work/without.dat" "B" "$degrees" \
    "Objblur: the propeller's bank at frame 24's nine motion-blur passes" "time of the pass (frame)" linespoints
# And the propeller rendered at frame 24: the scene's plain motion blur (its
# Objblur block taken out) beside Objblur's three-frame trail.
sed '/^Plugin ItemMotionHandler 1 Objblur$/,/^EndPlugin$/d' examples/propeller_demo.lws >"$work/plain_blur.lws"
cp examples/propeller.lwo "$work/"
"$vesk" render "$work/plain_blur.lws" --frame 24 --size 320x240 -o "$work/plain.png" >/dev/null
"$vesk" render examples/propeller_demo.lws --frame 24 --size 320x240 -o "$work/trail.png" >/dev/null
convert "$work/plain.png" -alpha off "$work/plain.png"
convert "$work/trail.png" -alpha off "$work/trail.png"
labelled_row "$out/objblur_render.png" "the scene's motion blur" "$work/plain.png" "with Objblur" "$work/trail.png"

# obj_drawing NAME SCENE OBJECT FRAME "VIEW" "TITLE" [STYLE] [AXES]: the object
# as modelled beside the object displaced at FRAME, as wires (or points) seen
# along gnuplot's VIEW (rotations about its X and Z axes), both in one cube of
# space so that they share a scale; the scene's Y is drawn up. AXES "xy" keeps
# only the ground's two axes to one scale and stretches the height, for shallow
# dents in a wide floor.
obj_edges() {
    awk '$1 == "v" { n++; x[n] = $2; y[n] = $3; z[n] = $4 }
         $1 == "f" { for (i = 2; i <= NF; i++) print x[$i], z[$i], y[$i]; print x[$2], z[$2], y[$2]; print "" }' "$1"
}
obj_drawing() {
    local name=$1 scene=$2 object=$3 frame=$4 view=$5 title=$6 style=${7:-lines lw 0.6} axes=${8:-xyz}
    "$vesk" displace "$scene" "$object" --frame "$frame" --no-plugins -o "$work/before.obj" >/dev/null
    "$vesk" displace "$scene" "$object" --frame "$frame" -o "$work/after.obj" >/dev/null
    obj_edges "$work/before.obj" >"$work/before.dat"
    obj_edges "$work/after.obj" >"$work/after.dat"
    local cube
    cube=$(awk -v axes="$axes" 'NF == 3 { for (i = 1; i <= 3; i++) { if (!(i in lo) || $i < lo[i]) lo[i] = $i; if (!(i in hi) || $i > hi[i]) hi[i] = $i } }
        END { h = 0; for (i = 1; i <= 3; i++) if ((hi[i] - lo[i]) / 2 > h) h = (hi[i] - lo[i]) / 2
              for (i = 1; i <= length(axes); i++) printf "set %srange [%g:%g]\n", substr("xyz", i, 1), (lo[i] + hi[i]) / 2 - h, (lo[i] + hi[i]) / 2 + h
              if (axes == "xy") printf "set zrange [%g:%g]\n", 2 * lo[3] - hi[3], 2 * hi[3] - lo[3] }' \
        "$work/before.dat" "$work/after.dat")
    gnuplot <<GNUPLOT
set terminal pngcairo size 900,430 font "$font"
set output "$out/${name,,}.png"
set multiplot layout 1,2 title "$title"
set view $view
set view equal $axes
$cube
unset tics
unset border
unset key
set title "as modelled"
splot "$work/before.dat" using 1:2:3 with $style lc rgb "#40608a"
set title "frame $frame, with $name"
splot "$work/after.dat" using 1:2:3 with $style lc rgb "#a04020"
unset multiplot
GNUPLOT
}
obj_drawing SuperQ examples/superq_demo.lws globe.lwo 48 "70, 30" "SuperQ: a globe squared off (curvature 50% down to 10%)"
obj_drawing Flexor examples/flexor_demo.lws stalk.lwo 80 "80, 20" "Flexor: a stalk bent towards its guide null"
obj_drawing Diffuse examples/diffuse_demo.lws ball.lwo 72 "70, 30" "Diffuse: a ball dispersing into dust" "points pt 7 ps 0.25"
obj_drawing Dangle examples/dangle_demo.lws rope.lwo 48 "80, 10" "Dangle: a rope hanging between a hand and an anchor"
obj_drawing Poke examples/poke_demo.lws plane.lwo 60 "55, 25" "Poke: a floor dented by a rolling ball (height stretched)" \
    "lines lw 0.6" xy


# Shaders: previews at two or three settings.
settings() { # settings FILE PLUGIN "KEY VALUE" ...: a settings file of numbers ("@KEY N": a choice)
    local file=$1 name=$2
    shift 2
    { echo "BEGIN MARVEN_LABS_PLUGIN $name"; echo "VERSION 1"
      for kv in "$@"; do
          set -- $kv
          case $1 in
          @*) printf ' BEGIN RADIO %s\n  SELECTION %s\n END RADIO %s\n' "${1#@}" "$2" "${1#@}" ;;
          *) printf ' BEGIN NUM %s\n VALUE %s\n END\n' "$1" "$2" ;;
          esac
      done
      echo "END MARVEN_LABS_PLUGIN $name"; } >"$file"
}
shade() { # shade OUT SHADER SETTINGS [vesk shade options]
    local target=$1 shader=$2 file=$3
    shift 3
    "$vesk" shade "$shader" --settings "$file" --size 220 "$@" -o "$target" >/dev/null
}
settings "$work/u1.txt" Unveil "NEAR 3.8" "FAR 4.2"
settings "$work/u2.txt" Unveil "NEAR 3" "FAR 5"
settings "$work/u3.txt" Unveil "NEAR 3" "FAR 5" "TRANSP 0.6"
shade "$work/u1.png" Unveil "$work/u1.txt"; shade "$work/u2.png" Unveil "$work/u2.txt"; shade "$work/u3.png" Unveil "$work/u3.txt"
labelled_row "$out/unveil.png" "near 3.8 m, far 4.2 m" "$work/u1.png" "near 3 m, far 5 m" "$work/u2.png" \
    "the same, 60 %% transparency" "$work/u3.png"
settings "$work/h1.txt" HSVBoost
settings "$work/h2.txt" HSVBoost "GLANCEHUE 150" "GLANCEBRIGHT 1.6"
settings "$work/h3.txt" HSVBoost "PERPSAT 0.1" "PERPBRIGHT 1.3"
shade "$work/h1.png" HSVBoost "$work/h1.txt" --color 60,90,200; shade "$work/h2.png" HSVBoost "$work/h2.txt" --color 60,90,200
shade "$work/h3.png" HSVBoost "$work/h3.txt" --color 200,60,50
labelled_row "$out/hsvboost.png" "defaults: no change" "$work/h1.png" "glancing hue +150°, brighter" "$work/h2.png" \
    "facing side drained, brighter" "$work/h3.png"
settings "$work/e1.txt" EdgeRGB
settings "$work/e2.txt" EdgeRGB "TRANS 0.8" "SHARP 0.9"
shade "$work/e1.png" EdgeRGB "$work/e1.txt" --color 120,140,170; shade "$work/e2.png" EdgeRGB "$work/e2.txt" --color 120,140,170
labelled_row "$out/edgergb.png" "defaults" "$work/e1.png" "coverage 0.8, sharpness 0.9" "$work/e2.png"
settings "$work/a1.txt" Acid "COVERAGE 0.3"
settings "$work/a2.txt" Acid "COVERAGE 0.55"
settings "$work/a3.txt" Acid "COVERAGE 0.55" "DETAIL 7" "SCALE 0.12"
for i in 1 2 3; do shade "$work/a$i.png" Acid "$work/a$i.txt" --object examples/studio_crate.lwo; done
labelled_row "$out/acid.png" "coverage 30 %%" "$work/a1.png" "coverage 55 %%" "$work/a2.png" \
    "55 %%, 7 octaves, half the size" "$work/a3.png"
for f in 8 18 28; do
    shade "$work/p$f.png" PolyPop examples/polypop_build.txt --object examples/globe.lwo --frame $f
done
labelled_row "$out/polypop.png" "frame 8" "$work/p8.png" "frame 18" "$work/p18.png" "frame 28" "$work/p28.png"
blades=("TIPRAD 1.2" "HUBRAD 0.1" "ROOTW 0.28" "TIPW 0.16" "SWEEP 15" "@EXPMODE 1")
settings "$work/b1.txt" BladeBlur "RPM 20" "${blades[@]}"
settings "$work/b2.txt" BladeBlur "RPM 200" "${blades[@]}"
settings "$work/b3.txt" BladeBlur "RPM 1500" "${blades[@]}"
for i in 1 2 3; do shade "$work/b$i.png" BladeBlur "$work/b$i.txt" --object examples/rotor_disc.lwo --frame 12; done
labelled_row "$out/bladeblur.png" "20 RPM" "$work/b1.png" "200 RPM" "$work/b2.png" "1500 RPM" "$work/b3.png"
# BladeBlur over a motion-blurred render: the rotor demo's crate and disc
# keyed to fly right at 0.2 m a frame, rendered at frame 24 without and with
# the scene's motion blur (half a frame, nine passes); BladeBlur at the spin-up
# settings shades each pass at its own time over its exposure.
awk '/^ObjectMotion/ { print; getline; print; getline; print "  2"; getline; split($0, k, " ");
       x = k[1]; k[1] = x - 4.8; line = " "; for (i = 1; i <= 9; ++i) line = line " " k[i]; print line; getline; print "  0 1 0 0 0";
       k[1] = x + 4.8; line = " "; for (i = 1; i <= 9; ++i) line = line " " k[i]; print line; print "  48 1 0 0 0"; next } { print }' \
    examples/rotor_demo.lws >"$work/flying.lws"
printf 'Antialiasing 2\nMotionBlur 1\nBlurLength 0.5\n' >>"$work/flying.lws"
sed '/^MotionBlur 1$/d' "$work/flying.lws" >"$work/still.lws"
cp examples/studio_crate.lwo examples/rotor_disc.lwo "$work/"
for scene in still flying; do
    "$vesk" render "$work/$scene.lws" --frame 24 --size 320x240 --shader Prop=BladeBlur:examples/rotor_spinup.txt \
        -o "$work/$scene.png" >/dev/null
    convert "$work/$scene.png" -alpha off "$work/$scene.png"
done
labelled_row "$out/bladeblur_motion_blur.png" "no motion blur" "$work/still.png" "motion blur, half a frame" "$work/flying.png"

# Filters: the same frame before and after.
before_after() { # before_after NAME BEFORE AFTER [ALPHA]: ALPHA "remove" shows the frames over white
    convert "$2" -background white -alpha "${4:-off}" -resize x260 "$work/b.png"
    convert "$3" -background white -alpha "${4:-off}" -resize x260 "$work/a.png"
    labelled_row "$out/${1,,}.png" "before" "$work/b.png" "after" "$work/a.png"
}
render_pair() { # render_pair NAME SCENE FRAME: the scene without and with its filters
    "$vesk" render "$2" --frame "$3" --size 400x300 --no-filters -o "$work/before.png" >/dev/null
    "$vesk" render "$2" --frame "$3" --size 400x300 -o "$work/after.png" >/dev/null
    before_after "$1" "$work/before.png" "$work/after.png"
}
# Rayleigh over the valley as rendered, with falloffs of 120 m for red, 300 m
# for green and 1500 m for blue: the far slopes go to the fog colour red first.
"$vesk" render examples/mist_demo.lws --frame 0 --size 400x300 --no-filters --depth "$work/depth.pfm" \
    -o "$work/before.png" >/dev/null
settings "$work/r.txt" Rayleigh "RLENGTH 120" "GLENGTH 300" "BLENGTH 1500"
"$vesk" filter Rayleigh --settings "$work/r.txt" --in "$work/before.png" --depth "$work/depth.pfm" -o "$work/after.png" >/dev/null
before_after Rayleigh "$work/before.png" "$work/after.png"
render_pair VFog examples/mist_demo.lws 40
"$vesk" render examples/enviro_demo.lws --frame 6 --size 400x300 --no-filters -o "$work/before.png" >/dev/null
"$vesk" render examples/enviro_demo.lws --frame 6 -o "$work/after.png" >/dev/null
before_after Enviro "$work/before.png" "$work/after.png"
examples/make_test_frames.sh 320 240 12 "$work/frames" >/dev/null
frame=$work/frames/frame0012.png
"$vesk" filter Confusion --scene examples/focus_pull.lws --in "$frame" --depth "$work/frames/depth0012.pfm" \
    --frame 12 -o "$work/after.png" >/dev/null
before_after Confusion "$frame" "$work/after.png"
settings "$work/l.txt" Lens "XPIN 0.25" "YPIN 0.25" "ROTATION 8"
"$vesk" filter Lens --settings "$work/l.txt" --in "$frame" -o "$work/after.png" >/dev/null
before_after Lens "$frame" "$work/after.png"
# DropShadow needs a frame with a background: the globe alone, its shadow
# added to the alpha and shown over white.
"$vesk" render examples/superq_demo.lws --frame 1 --size 400x300 --no-filters -o "$work/globe.png" >/dev/null
printf 'BEGIN MARVEN_LABS_PLUGIN DropShadow\nVERSION 1\n BEGIN BUTTON ALPHA\n  CHECKED YES\n END\nEND MARVEN_LABS_PLUGIN DropShadow\n' \
    >"$work/ds.txt"
"$vesk" filter DropShadow --settings "$work/ds.txt" --in "$work/globe.png" -o "$work/after.png" >/dev/null
before_after DropShadow "$work/globe.png" "$work/after.png" remove
# DropShadow on a field-rendered frame: the globe keyed to sweep right at half
# a metre a frame, its two fields half a frame apart combed line by line; each field's shadow
# is gathered from its own lines, so the shadow is combed as the globe is
# (enlarged four times).
awk '/^ObjectMotion/ && !done { print; getline; print; getline; print "  2"; getline; print "  -6 0 0 0 0 0 1 1 1"; getline; print "  0 1 0 0 0";
     print "  6 0 0 0 0 0 1 1 1"; print "  24 1 0 0 0"; done = 1; next } { print }' examples/superq_demo.lws >"$work/fields.lws"
printf 'FieldRendering 1\nReverseFields 0\n' >>"$work/fields.lws"
cp examples/globe.lwo "$work/"
"$vesk" render "$work/fields.lws" --frame 12 --size 400x300 --no-filters -o "$work/fielded.png" >/dev/null
printf 'BEGIN MARVEN_LABS_PLUGIN DropShadow\nVERSION 1\n BEGIN BUTTON ALPHA\n  CHECKED YES\n END\nEND MARVEN_LABS_PLUGIN DropShadow\n' >"$work/ds.txt"
"$vesk" filter DropShadow --scene "$work/fields.lws" --settings "$work/ds.txt" --in "$work/fielded.png" --frame 12 -o "$work/shadowed.png" >/dev/null
convert "$work/shadowed.png" -background white -alpha remove -crop 100x75+250+170 +repage -filter point -resize 400% "$work/crop.png"
convert "$work/shadowed.png" -background white -alpha remove "$work/shadowed.png"
labelled_row "$out/dropshadow_fields.png" "fields, with DropShadow" "$work/shadowed.png" "enlarged" "$work/crop.png"

echo "wrote $(ls "$out" | wc -l) pictures to $out"
python3 scripts/manual_pages.py "$vesk" docs
