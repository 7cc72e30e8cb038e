#!/usr/bin/env bash
# Lens and Confusion against ImageMagick on the same 1920 x 1080 frame, each
# whole command timed (PNG in and out included), the best of three runs:
#   Lens point-sampled   vs  convert -filter point -interpolate integer -distort Barrel
#   Lens bilinear        vs  convert -filter point -interpolate bilinear -distort Barrel
#   Confusion's blur     vs  convert FRAME MAP -compose blur -composite, its
#                            largest blur 10 (a Gaussian of that size spreads
#                            about as far as our 20-pixel disk)
# Usage: compare_imagemagick.sh VESK [WORK_DIR]
# Prints each pair's seconds and the ratio ours / ImageMagick's.
set -euo pipefail
vesk=$(realpath "$1")
work=${2:-$(mktemp -d)}
mkdir -p "$work"
cd "$work"
W=1920 H=1080

# The frame: ImageMagick's plasma, opaque; the depth runs from 2 m at the top
# to 60 m at the bottom (a floor going away); the blur map for ImageMagick is
# the same ramp, darkest where in focus.
convert -seed 7 -size ${W}x${H} plasma:fractal -alpha set -depth 8 frame.png
LC_ALL=C awk -v W=$W -v H=$H 'function float32(v,  e, m, bits) {
        e = 0; while (v >= 2) { v /= 2; ++e } while (v < 1) { v *= 2; --e }
        m = int((v - 1) * 8388608 + 0.5); if (m == 8388608) { m = 0; ++e }
        bits = (e + 127) * 8388608 + m
        return sprintf("%c%c%c%c", bits % 256, int(bits / 256) % 256, int(bits / 65536) % 256, int(bits / 16777216))
    }
    BEGIN {
        printf "Pf\n%d %d\n-1\n", W, H
        for (y = H - 1; y >= 0; --y) {
            one = float32(2 + 58 * y / (H - 1)); row = one
            while (length(row) < 4 * W) row = row row
            printf "%s", substr(row, 1, 4 * W)
        }
    }' >depth.pfm
convert -size ${W}x${H} gradient:gray20-white map.png
cat >barrel.txt <<'EOF'
BEGIN MARVEN_LABS_PLUGIN Lens
VERSION 1
 BEGIN NUM XPIN
 VALUE -0.1
 END
 BEGIN NUM YPIN
 VALUE -0.1
 END
END MARVEN_LABS_PLUGIN Lens
EOF
sed 's/END MARVEN_LABS_PLUGIN Lens/ BEGIN BUTTON INTERPOLATE\n  CHECKED YES\n  HIGHLIGHTED YES\n END\nEND MARVEN_LABS_PLUGIN Lens/' barrel.txt >barrel_bilinear.txt
cat >focus.txt <<'EOF'
BEGIN MARVEN_LABS_PLUGIN Confusion
VERSION 1
 BEGIN NUM FSTOP
 VALUE 1
 END
 BEGIN NUM FDIST
 VALUE 10
 END
END MARVEN_LABS_PLUGIN Confusion
EOF

best() {  # best COMMAND...: the fastest of three runs (one, when a run takes over 10 s), in seconds
    local fastest=
    for _ in 1 2 3; do
        local start end
        start=$(date +%s.%N)
        "$@" >/dev/null || { echo "failed: $*" >&2; exit 1; }
        end=$(date +%s.%N)
        fastest=$(awk -v a="$start" -v b="$end" -v f="$fastest" 'BEGIN { t = b - a; print (f == "" || t < f) ? t : f }')
        awk -v t="$fastest" 'BEGIN { exit !(t > 10) }' && break
    done
    echo "$fastest"
}
compare() {  # compare WHAT OURS THEIRS
    printf '%-22s ours %6.3f s   ImageMagick %6.3f s   ratio %.2f\n' "$1" "$2" "$3" "$(awk -v a="$2" -v b="$3" 'BEGIN { print a / b }')"
}

ours=$(best "$vesk" filter Lens --settings barrel.txt --in frame.png -o lens_point.png)
theirs=$(best convert frame.png -filter point -interpolate integer -distort Barrel '0 0 -0.1' im_point.png)
compare "Lens, point sampled" "$ours" "$theirs"
ours=$(best "$vesk" filter Lens --settings barrel_bilinear.txt --in frame.png -o lens_bilinear.png)
theirs=$(best convert frame.png -filter point -interpolate bilinear -distort Barrel '0 0 -0.1' im_bilinear.png)
compare "Lens, bilinear" "$ours" "$theirs"
ours=$(best "$vesk" filter Confusion --settings focus.txt --in frame.png --depth depth.pfm -o confusion.png)
theirs=$(best convert frame.png map.png -compose blur -set option:compose:args 10 -composite im_blur.png)
compare "Confusion, disk blur" "$ours" "$theirs"
