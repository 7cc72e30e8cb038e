#!/usr/bin/env bash
# Runs panelcheck under wine on a virtual screen, answers its screenshot
# requests with ImageMagick, then checks that Export Motion wrote what
# vesk bake writes for the same scene.
# usage: run_panels.sh WINE PANELCHECK.EXE VESK.P SCENE.LWS OUTDIR SHOTDIR VESK
set -u
wine=$1 panelcheck=$2 module=$3 scene=$4 out=$5 shots=$6 vesk=$7
mkdir -p "$out" "$shots"
rm -f "$shots"/*.req "$shots"/*.done "$out"/*.mot
if [ -z "${DISPLAY:-}" ]; then
    display=:$((90 + RANDOM % 9))
    Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb=$!
    export DISPLAY=$display
    sleep 1
fi
# Screenshots: each request names the window's rectangle on the screen.
(
    while true; do
        for request in "$shots"/*.req; do
            [ -e "$request" ] || continue
            name=${request%.req}
            import -window root -crop "$(cat "$request")" +repage "$name.png" 2>/dev/null
            rm -f "$request"
            touch "$name.done"
        done
        sleep 0.1
    done
) &
watcher=$!
"$wine" "$panelcheck" "$module" "$scene" "$out" "$shots"
status=$?
# Once more on a screen too small for the advanced definition, with a wine
# session of its own (the last one's desktop belongs to the other screen).
for server in wineserver "${wine%/*}/wineserver64" "${wine%/*}/wineserver"; do
    if command -v "$server" >/dev/null 2>&1; then "$server" -w; break; fi
done
small=:$((80 + RANDOM % 9))
Xvfb "$small" -screen 0 500x400x24 -nolisten tcp >/dev/null 2>&1 &
smallxvfb=$!
sleep 1
DISPLAY=$small "$wine" "$panelcheck" "$module" "$scene" "$out" "" --small-screen || status=1
kill "$smallxvfb" 2>/dev/null
kill "$watcher" 2>/dev/null
[ -n "${xvfb:-}" ] && kill "$xvfb" 2>/dev/null
rm -f "$shots"/*.done
if [ -x "$vesk" ] && [ -e "$out/edited.lws" ]; then
    "$vesk" bake "$out/edited.lws" Camera -o "$out/bake.mot" >/dev/null
    if cmp -s "$out/export.mot" "$out/bake.mot"; then
        echo "Export Motion's file equals vesk bake's"
    else
        echo "FAIL: Export Motion's file differs from vesk bake's"
        status=1
    fi
fi
exit $status
