# shellcheck shell=bash
# Sourced by the game's benchmarks: a throw-away home and a house ad server of
# their own on a free port (its 30 s refresh), whatever else runs on the
# machine, and what a process and everything it started cost.
# After start_house_server BUILD_DIR: $work, $host, $server_log, and $pids,
# which are killed at exit.

start_house_server() {
    work=$(mktemp -d)
    # A home of its own: the player's settings and caches stay out of it, and it out of them.
    export HOME=$work XDG_CACHE_HOME=$work/cache XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data
    pids=()
    trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"' EXIT
    server_log=$work/requests.jsonl
    "$1/adserver/velmora-adserver" --port 0 --log "$server_log" >"$work/server.out" 2>&1 &
    pids+=("$!")
    for _ in $(seq 100); do grep -qs listening "$work/server.out" && break; sleep 0.1; done
    host=$(grep -o '127\.0\.0\.1:[0-9]*' "$work/server.out" | head -1)
    export VELMORA_STATIC_HOST=$host VELMORA_AD_HOST=$host
}

# The process and everything it started, however deep.
tree() {
    local pid=$1 child
    echo "$pid"
    for child in $(cat /proc/"$pid"/task/*/children 2>/dev/null); do tree "$child"; done
}
# PID's processes: all (the default), self, or children (all but PID).
processes() {
    case ${2:-all} in
    self) echo "$1" ;;
    children) tree "$1" | tail -n +2 ;;
    *) tree "$1" ;;
    esac
}
pss_kb() { for p in $(processes "$@"); do awk '/^Pss:/ {print $2}' /proc/"$p"/smaps_rollup 2>/dev/null; done | awk '{s+=$1} END {print s+0}'; }
cpu_ticks() { for p in $(processes "$@"); do cut -d' ' -f14,15 /proc/"$p"/stat 2>/dev/null; done | awk '{s+=$1+$2} END {print s+0}'; }
