#!/usr/bin/env bash
# What vesk makes of every example scene, as one digest a line: each item with
# motion plug-ins baked over the scene's frames, each object with displacement
# plug-ins displaced at its first frame and frame 20, and the first and last
# frames rendered (raw pixels, PAM). The digests kept in tests/example_outputs.sha256
# were made before the host learnt to remember motions (the propeller's two
# renders were made again when its blades and backdrop joined the scene); the
# test fails when any output differs from them by a byte.
#
# Usage: example_outputs.sh VESK SOURCE_DIR [--check DIGESTS | --write DIGESTS]
set -euo pipefail
vesk=$(realpath "$1")
source_dir=$(realpath "$2")
mode=${3:-}
digests=${4:+$(realpath -m "$4")}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

motion=$("$vesk" list | awk '$2 == "ItemMotionHandler" { print $3 }')
displacement=$("$vesk" list | awk '$2 == "DisplacementHandler" { print $3 }')
is_in() { grep -qx -- "$1" <<<"$2"; }

cd "$source_dir/examples"
for scene in *.lws; do
    first=$(tr -d '\r' <"$scene" | awk '$1 == "FirstFrame" { print $2 }')
    last=$(tr -d '\r' <"$scene" | awk '$1 == "LastFrame" { print $2 }')
    # "ITEM: PLUGIN: description" lines; the item's shown name may hold blanks.
    "$vesk" describe "$scene" | awk -F': ' 'NF >= 3 { print $1 "\t" $2 }' | sort -u |
        while IFS=$'\t' read -r item plugin; do
            if is_in "$plugin" "$motion"; then
                "$vesk" bake "$scene" "$item" -o "$work/out.mot" >/dev/null
                echo "$(sha256sum <"$work/out.mot" | cut -c1-64)  bake $scene $item"
            elif is_in "$plugin" "$displacement"; then
                for frame in "${first:-1}" 20; do
                    "$vesk" displace "$scene" "$item" --frame "$frame" -o "$work/out.obj" >/dev/null
                    echo "$(sha256sum <"$work/out.obj" | cut -c1-64)  displace $scene $item $frame"
                done
            fi
        done | sort -u -k2
    for frame in "${first:-1}" "${last:-60}"; do
        "$vesk" render "$scene" --frame "$frame" -j 1 -o "$work/out.pam" >/dev/null
        echo "$(sha256sum <"$work/out.pam" | cut -c1-64)  render $scene $frame"
    done
done >"$work/digests"

case "$mode" in
--write) cp "$work/digests" "$digests" ;;
--check)
    if ! diff -u "$digests" "$work/digests"; then
        echo "example outputs differ from the kept digests (lines marked + are today's)"
        exit 1
    fi
    echo "$(wc -l <"$digests") example outputs byte for byte as kept"
    ;;
*) cat "$work/digests" ;;
esac
