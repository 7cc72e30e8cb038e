#!/usr/bin/env bash
# Two pairs timed round by round in one run (each round runs both sides of a
# pair, so the machine's moods fall on both), medians printed with their ratio:
#   vesk filter DropShadow  vs  ImageMagick's soft shadow composite of the
#                               same 1920 x 1080 frame with soft alpha edges
#   vesk bake of the Track demo's camera  vs  the plain keyed Target null of
#                               the same scene, 20,000 frames each
# Usage: compare_speed.sh VESK SOURCE_DIR [ROUNDS] [WORK_DIR]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/timing.sh"
vesk=$(realpath "$1")
source_dir=$(realpath "$2")
rounds=${3:-5}
work=${4:-$(mktemp -d)}
mkdir -p "$work"
cd "$work"

# The frame: opaque shapes with blurred (soft) edges over a clear background.
convert -size 1920x1080 xc:none -fill 'rgb(200,120,60)' -draw 'circle 700,500 700,200' \
    -fill 'rgb(60,140,200)' -draw 'rectangle 1100,300 1600,800' -channel A -blur 0x4 +channel -depth 8 frame.png
sed 's/^LastFrame .*/LastFrame 20000/' "$source_dir/examples/track_demo.lws" >long.lws


: >shadow_ours; : >shadow_theirs; : >bake_track; : >bake_plain
for ((round = 1; round <= rounds; ++round)); do
    seconds "$vesk" filter DropShadow --in frame.png -o ours.png >>shadow_ours
    # Opacity 65 %, a softness of about 10 pixels, offset 0.1 and 0.07 of the frame.
    seconds convert frame.png \( +clone -background black -shadow 65x10+192+75 \) +swap -background none \
        -layers merge +repage theirs.png >>shadow_theirs
    seconds "$vesk" bake long.lws Camera -o camera.mot >>bake_track
    seconds "$vesk" bake long.lws Target -o target.mot >>bake_plain
done
report() {  # report WHAT OURS_FILE OTHER_FILE OTHER_NAME
    local a b
    a=$(median <"$2") b=$(median <"$3")
    printf '%-34s %7.3f s   %-18s %7.3f s   ratio %.2f\n' "$1" "$a" "$4" "$b" "$(awk -v a="$a" -v b="$b" 'BEGIN { print a / b }')"
}
echo "medians of $rounds paired rounds"
report "vesk filter DropShadow" shadow_ours shadow_theirs "ImageMagick shadow" 
report "bake, Track demo camera" bake_track bake_plain "plain keyed null"
