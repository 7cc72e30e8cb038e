#!/usr/bin/env bash
# Where a bake's time goes: the host answering questions against the plug-ins
# working. Profiles (perf, 500 samples a second) vesk bake of the car demo's
# wheel to FRAMES frames, and sums the samples by source file: files under
# host/ are the host's answers, files under src/ the plug-ins and their
# framework; the rest (the C++ library inlined into either, libc) is shown
# apart.
# Usage: host_share.sh VESK SOURCE_DIR [FRAMES]   (default 8000)
set -euo pipefail
vesk=$(realpath "$1")
source_dir=$(realpath "$2")
frames=${3:-8000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$source_dir/examples"
perf record -q -F 500 -o "$work/perf.data" "$vesk" bake car_demo.lws wheel.lwo --end "$frames" -o "$work/a.mot" >/dev/null 2>&1
perf report -i "$work/perf.data" --no-children --sort srcfile --stdio 2>/dev/null | awk '$1 ~ /%$/ { print $1, $2 }' |
    while read -r share file; do
        where=other
        if [ -n "$file" ] && [ -n "$(find "$source_dir/host" -name "$file" -print -quit)" ]; then
            where=host
        elif [ -n "$file" ] && [ -n "$(find "$source_dir/src" -name "$file" -print -quit)" ]; then
            where=plug-ins
        fi
        echo "${share%\%} $where $file"
    done >"$work/shares"
sort -k1,1gr "$work/shares" | awk '$1 >= 0.5 { printf "%6.2f %%  %-8s %s\n", $1, $2, $3 }'
awk '{ sum[$2] += $1 } END { printf "car wheel to %s frames: host %.1f %%, plug-ins %.1f %%, other %.1f %%\n", frames, sum["host"], sum["plug-ins"], sum["other"] }' \
    frames="$frames" "$work/shares"
