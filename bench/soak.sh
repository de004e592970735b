#!/usr/bin/env bash
# A long session as a new player would have it: `velmora --autoplay` with
# rounds of ROUND_LIMIT (3) seconds against a house ad server of its own, for
# DURATION minutes (30; QUICK=1 makes it 5), sampled every SAMPLE (60) seconds.
# Each row: rounds so far; PSS of the game's process and of every process it
# started (the web engine's); their CPU share over the sample; ad requests and
# impression pings a second reaching the server; tick lines a second on the
# game's standard output; the period of the top round's motion tick (50 ms
# wanted), p50 and p99 over the sample, as the autoplay bot reports it.
# BESIDE=BUILD_DIR runs that build's game (another tree's) at the same time,
# with a house server of its own, so two states of the program meet the same
# load; each row names its state (STATE, "now" by default; "beside" for the
# other).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
duration=${DURATION:-30}
[ -n "${QUICK:-}" ] && duration=5
round_limit=${ROUND_LIMIT:-3}
sample=${SAMPLE:-60}
state=${STATE:-now}
if [ -n "${BESIDE:-}" ]; then
    VELMORA_BUILD_DIR=$BESIDE STATE=beside BESIDE= "$0" &
    beside=$!
    trap 'kill $beside 2>/dev/null || true' EXIT
fi

[ -f "$build_dir/CMakeCache.txt" ] || cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --target velmora velmora-adserver -j"${VELMORA_JOBS:-2}" >/dev/null
source scripts/headless-env
source bench/house-server.sh
start_house_server "$build_dir"
[ -n "${beside:-}" ] && trap 'for p in "${pids[@]}" $beside; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"' EXIT

"$build_dir/app/velmora" --autoplay 1000000 --round-limit "$round_limit" >"$work/out" 2>"$work/err" &
game=$!
pids+=("$game")
hz=$(getconf CLK_TCK)

# Lines of FILE past byte OFFSET that match PATTERN, reading no further than SIZE.
count_since() { tail -c +$(($2 + 1)) "$1" | head -c $(($3 - $2)) | grep -cE "$4" || true; }
bytes() { stat -c %s "$1"; }
one_place() { printf "%.1f" "$(echo "scale=3; $1" | bc)"; }
rate() { one_place "$1 / $sample"; }
share() { one_place "$1 * 100 / $hz / $sample"; }
mb() { one_place "$1 / 1024"; }
# p50 and p99 of the numbers on standard input, one a line.
percentiles() { sort -n | awk '{v[NR]=$1} END {if (!NR) {print "- -"; exit} i=int(NR*0.99)+1; if (i>NR) i=NR; print v[int(NR*0.5)+1], v[i]}'; }

echo "== $state: load average $(cut -d' ' -f1 /proc/loadavg) on $(nproc) cores, house ad server on $host, ${duration} min, rounds of ${round_limit} s"
if [ "$state" != beside ]; then
    printf "| %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n" min state rounds "game PSS MB" "web PSS MB" \
        "game CPU %" "web CPU %" "ad requests/s" "impressions/s" "tick lines/s" "tick p50 ms" "tick p99 ms"
    echo "|---|---|---|---|---|---|---|---|---|---|---|---|"
fi
out_seen=0 err_seen=0 log_seen=0
game_cpu=$(cpu_ticks "$game" self) web_cpu=$(cpu_ticks "$game" children)
for minute in $(seq "$duration"); do
    sleep "$sample"
    kill -0 "$game" 2>/dev/null || { echo "the game ended at minute $minute" >&2; exit 1; }
    out_size=$(bytes "$work/out") err_size=$(bytes "$work/err") log_size=$(bytes "$server_log")
    rounds=$(grep -cE '^round [0-9]+:' "$work/out" || true)
    ticks=$(count_since "$work/out" "$out_seen" "$out_size" '^[0-9]+$')
    ads=$(count_since "$server_log" "$log_seen" "$log_size" '"path":"/ad"')
    pings=$(count_since "$server_log" "$log_seen" "$log_size" '"path":"/track/impression"')
    read -r p50 p99 < <(tail -c +$((err_seen + 1)) "$work/err" | head -c $((err_size - err_seen)) |
        grep -E '^round [0-9]+ tick periods' | cut -d: -f2 | tr ' ' '\n' | grep . | percentiles)
    now_game=$(cpu_ticks "$game" self) now_web=$(cpu_ticks "$game" children)
    printf "| %s | %s | %d | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n" "$(one_place "$minute * $sample / 60")" "$state" "$rounds" \
        "$(mb "$(pss_kb "$game" self)")" "$(mb "$(pss_kb "$game" children)")" \
        "$(share $((now_game - game_cpu)))" "$(share $((now_web - web_cpu)))" \
        "$(rate "$ads")" "$(rate "$pings")" "$(rate "$ticks")" "$p50" "$p99"
    out_seen=$out_size err_seen=$err_size log_seen=$log_size game_cpu=$now_game web_cpu=$now_web
done
echo "== $state: load average $(cut -d' ' -f1 /proc/loadavg) at the end"
[ -z "${beside:-}" ] || wait "$beside"
