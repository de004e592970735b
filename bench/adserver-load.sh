#!/usr/bin/env bash
# Load test of velmora-adserver's ad request endpoint: builds the server,
# starts it on a free port with a throw-away request log, warms it up, runs
# wrk with keep-alive for 30 s and reports throughput, latency, errors and the
# server's memory before and after. Environment: DURATION (30s), CONNECTIONS
# (32), THREADS (2).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
duration=${DURATION:-30s}
connections=${CONNECTIONS:-32}
threads=${THREADS:-2}

scripts/setup bench/debian-packages
[ -f "$build_dir/CMakeCache.txt" ] || cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --target velmora-adserver -j"${VELMORA_JOBS:-2}" >/dev/null

work=$(mktemp -d)
server_pid=
cleanup() {
    [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null && wait "$server_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

"$build_dir/adserver/velmora-adserver" --port 0 --log "$work/requests.jsonl" --recent 100 >"$work/out" 2>&1 &
server_pid=$!
for _ in $(seq 100); do
    grep -q "listening on" "$work/out" && break
    sleep 0.1
done
base=$(grep -o 'http://[0-9.:]*' "$work/out")
[ -n "$base" ] || { cat "$work/out" >&2; exit 1; }

# An ad request as the library sends it: the game's unit and the usual keys.
url="$base/ad?slotname=a1f3c29b07d5e64&js=tiskos-sdk-i-v4.0.2&net=wifi&platform=Desktop&hl=en&u_w=320&u_h=480&u_sd=1&u_audio=1&preqs=12&prl=183&ad_frame=%7B%22h%22%3A50%2C%22w%22%3A320%2C%22x%22%3A0%2C%22y%22%3A430%7D"

rss() { awk '/VmRSS/ {print $2 " kB"}' "/proc/$server_pid/status"; }
wrk -t"$threads" -c"$connections" -d3s "$url" >/dev/null   # warm-up
rss_before=$(rss)
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
wrk -t"$threads" -c"$connections" -d"$duration" --latency "$url" | tee "$work/wrk"
rss_after=$(rss)
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

echo
echo "server RSS after warm-up: $rss_before; after the run: $rss_after"
echo "load average before: $load_before; after: $load_after ($(nproc) cores)"
echo "request log written: $(wc -l <"$work/requests.jsonl") lines, $(du -h "$work/requests.jsonl" | cut -f1)"
rate=$(awk '/Requests\/sec/ {print int($2)}' "$work/wrk")
p99=$(awk '$1 == "99%" {print $2}' "$work/wrk")
errors=$(grep -E "Socket errors|Non-2xx" "$work/wrk" || true)
echo "target: >= 2000 requests/s, p99 < 20 ms, no errors -> got $rate requests/s, p99 $p99${errors:+, $errors}"
