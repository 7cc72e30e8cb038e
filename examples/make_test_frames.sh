#!/usr/bin/env bash
# Renders a small test sequence without the host: three lit balls in front of a
# checked wall, with a depth buffer per frame, as a render would leave them.
#   make_test_frames.sh WIDTH HEIGHT FRAMES DIR
# writes DIR/frame0001.png ... (RGBA) and DIR/depth0001.pfm ... (float depth in
# metres, single-channel PFM). The camera sits at the origin looking down +Z
# with a vertical field of view of about 53 degrees; the red ball stands 4 m
# away and drifts right, the green one bobs at 10 m, the blue one sits at
# 20 m, the wall at 40 m. Needs awk and ImageMagick's convert.
set -euo pipefail
[ $# -eq 4 ] || { echo "usage: make_test_frames.sh WIDTH HEIGHT FRAMES DIR" >&2; exit 2; }
width=$1 height=$2 frames=$3 dir=$4
mkdir -p "$dir"
for ((f = 1; f <= frames; ++f)); do
    name=$(printf '%04d' "$f")
    LC_ALL=C awk -v W="$width" -v H="$height" -v f="$f" -v n="$frames" -v ppm="$dir/.frame$name.ppm" \
        -v pfm="$dir/.depth$name.pfm" '
    function float32(v,    e, m, bits) {  # little-endian bytes of a positive float
        e = 0
        while (v >= 2) { v /= 2; ++e }
        while (v < 1) { v *= 2; --e }
        m = int((v - 1) * 8388608 + 0.5)
        if (m == 8388608) { m = 0; ++e }
        bits = (e + 127) * 8388608 + m
        return sprintf("%c%c%c%c", bits % 256, int(bits / 256) % 256, int(bits / 65536) % 256, int(bits / 16777216))
    }
    BEGIN {
        t = (n > 1) ? (f - 1) / (n - 1) : 0
        focal = H                      # pixels per metre at 1 m
        # balls: centre (x, y, z) in metres, radius, colour
        bx[1] = -1.2 + 1.4 * t; by[1] = 0.3;  bz[1] = 4;  br[1] = 0.6; cr[1] = 220; cg[1] = 50;  cb[1] = 40
        bx[2] = 0.3;  by[2] = -0.8 + 0.5 * sin(6.2832 * t); bz[2] = 10; br[2] = 1.2; cr[2] = 60; cg[2] = 190; cb[2] = 70
        bx[3] = 4.5;  by[3] = 0.5;  bz[3] = 20; br[3] = 2.0; cr[3] = 50;  cg[3] = 90;  cb[3] = 220
        print "P3\n" W " " H "\n255" > ppm
        for (y = 0; y < H; ++y) {
            line = ""
            for (x = 0; x < W; ++x) {
                # the ray through the pixel centre, at z = 1
                rx = (x + 0.5 - W / 2) / focal; ry = (y + 0.5 - H / 2) / focal
                z = 40; check = (int((rx * 40 + 100) / 2) + int((ry * 40 + 100) / 2)) % 2
                r = check ? 150 : 110; g = r; b = check ? 140 : 100
                for (i = 1; i <= 3; ++i) {
                    # where the ray meets the ball (unit-z ray scaled by depth)
                    dx = rx * bz[i] - bx[i]; dy = ry * bz[i] - by[i]
                    d2 = (dx * dx + dy * dy) / (br[i] * br[i])
                    if (d2 >= 1) continue
                    nz = sqrt(1 - d2); hz = bz[i] - br[i] * nz
                    if (hz >= z) continue
                    z = hz
                    lit = -0.5 * dx / br[i] - 0.5 * dy / br[i] + 0.7 * nz
                    lit = 0.25 + 0.75 * (lit > 0 ? lit : 0)
                    r = int(cr[i] * lit); g = int(cg[i] * lit); b = int(cb[i] * lit)
                }
                line = line r " " g " " b " "
                depth[x, y] = z
            }
            print line > ppm
        }
        printf "Pf\n%d %d\n-1\n", W, H > pfm
        for (y = H - 1; y >= 0; --y)  # PFM rows run bottom up
            for (x = 0; x < W; ++x) printf "%s", float32(depth[x, y]) > pfm
    }'
    convert "$dir/.frame$name.ppm" -alpha set "$dir/frame$name.png"
    mv "$dir/.depth$name.pfm" "$dir/depth$name.pfm"
    rm -f "$dir/.frame$name.ppm"
done
