# Timing helpers the comparison scripts source.
seconds() {  # seconds COMMAND...: one run's wall time
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null || { echo "failed: $*" >&2; exit 1; }
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f\n", b - a }'
}
median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
fastest() {  # fastest N COMMAND...: the least wall time of N runs (the least disturbed)
    local n=$1 i
    shift
    for ((i = 0; i < n; ++i)); do seconds "$@"; done | sort -g | head -n 1
}
