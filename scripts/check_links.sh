#!/usr/bin/env bash
# Every relative link and picture in the README and the manual (docs/) names a
# file that exists; prints each broken one with the page it is on.
set -euo pipefail
cd "$(dirname "$0")/.."
broken=0 checked=0
while IFS= read -r page; do
    dir=$(dirname "$page")
    while IFS= read -r target; do
        target=${target%%#*}
        case $target in '' | http://* | https://* | mailto:*) continue ;; esac
        checked=$((checked + 1))
        [ -e "$dir/$target" ] || { echo "$page: broken link to $target"; broken=$((broken + 1)); }
    done < <(grep -o '](\([^)]*\))' "$page" | sed 's/^](//; s/)$//')
done < <(find README.md docs -name '*.md' | sort)
echo "$checked links checked, $broken broken"
[ "$broken" -eq 0 ]
