#!/usr/bin/env bash
# The game as a player meets it (bench/game.cpp does the in-process parts):
#  1. cold start to the menu painted and to its banner shown, median of RUNS
#     (10), against a bare Qt widget window of the same size;
#  2. the top round's tick period with 0, 10, 50 and 100 rounds stacked
#     under it (JITTER_SECONDS, 60, per height);
#  3. `velmora --autoplay` with rounds of ROUND_LIMIT (3) seconds: after 10,
#     50 and 100 rounds, the PSS of the game and every process it started
#     (web engine processes included), their CPU share over the next
#     WINDOW (10) seconds, and the requests per second reaching the house ad
#     server.
# The game talks to a house ad server of its own (bench/house-server.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
runs=${RUNS:-10}
jitter_seconds=${JITTER_SECONDS:-60}
round_limit=${ROUND_LIMIT:-3}
window=${WINDOW:-10}

[ -f "$build_dir/CMakeCache.txt" ] || cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --target game velmora velmora-adserver -j"${VELMORA_JOBS:-2}" >/dev/null
source scripts/headless-env
source bench/house-server.sh
start_house_server "$build_dir"
requests() { wc -l <"$server_log"; }

median() { sort -n | awk '{v[NR]=$1} END {print (NR % 2) ? v[(NR+1)/2] : (v[NR/2] + v[NR/2+1]) / 2}'; }

startup_ms() {
    local start stamp
    start=${EPOCHREALTIME/./}
    stamp=$("$build_dir/bench/game" --startup "$@" 2>&1 >/dev/null | tail -1)
    echo "scale=1; ($stamp - $start) / 1000" | bc
}

echo "== load average $(cut -d' ' -f1 /proc/loadavg) on $(nproc) cores, house ad server on $host"
echo "== cold start to the first screen painted (banner: to the menu's banner shown), median of $runs"
for kind in game banner bare; do
    flag=; [ "$kind" != game ] && flag=--$kind
    for _ in $(seq "$runs"); do startup_ms $flag; done | median | xargs printf "%-6s %s ms\n" "$kind"
done

echo "== tick period of the top round, ${jitter_seconds} s per stack height"
"$build_dir/bench/game" --jitter 0,10,50,100 --seconds "$jitter_seconds" 2>&1 >/dev/null | grep '^stacked'


echo "== autoplay, rounds of at most ${round_limit} s; CPU over the ${window} s after the round"
# Rounds enough to outlast the last measuring window.
"$build_dir/app/velmora" --autoplay $((101 + window)) --round-limit "$round_limit" >"$work/out" 2>/dev/null &
game=$!
pids+=("$game")
hz=$(getconf CLK_TCK)
last_pss=0 last_n=0
for n in 10 50 100; do
    until grep -q "^round $n:" "$work/out"; do
        kill -0 "$game" 2>/dev/null || { echo "the game ended before round $n" >&2; exit 1; }
        sleep 0.2
    done
    pss=$(pss_kb "$game")
    ticks=$(cpu_ticks "$game")
    reqs=$(requests)
    sleep "$window"
    cpu=$(echo "scale=1; ($(cpu_ticks "$game") - $ticks) * 100 / $hz / $window" | bc)
    rate=$(echo "scale=1; ($(requests) - $reqs) / $window" | bc)
    per_round=$(echo "scale=2; ($pss - $last_pss) / 1024 / ($n - $last_n)" | bc)
    printf "after %3d rounds: PSS %6.1f MB (%s MB a round since round %d), CPU %5s%% of one core, %s requests/s to the ad server\n" \
        "$n" "$(echo "scale=1; $pss / 1024" | bc)" "$per_round" "$last_n" "$cpu" "$rate"
    last_pss=$pss last_n=$n
done
