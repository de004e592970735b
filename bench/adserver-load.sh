#!/usr/bin/env bash
# Load test of velmora-adserver's ad request endpoint against nginx answering
# the same URL with `return 302` and the same headers from a static
# configuration (the physical limit for this answer). Both get the same wrk
# load one after the other: keep-alive, THREADS (2) threads, CONNECTIONS (64)
# connections, DURATION (30s), after a 3 s warm-up. Reports requests/s, the
# ratio, p99, errors and memory before and after. Right after /ad, the same
# request with every consent signal set (GDPR with the IAB encoder's full
# consent string from the tests' data, a GPP string, a US Privacy string,
# coppa, tfua, npa) and the personal parameters they allow, on the same
# server: what reading consent costs the request path. Then the same for an
# impression tracker (answered once its count is on disk) against nginx's
# `return 200`, and, when PostgreSQL is installed, /ad on one server whose
# counts are in PostgreSQL and on a fleet of FLEET (2) servers behind nginx
# (scripts/adserver-fleet). TRACKERS_ONLY=1 runs only the tracker beside
# nginx's `return 200`. HOSTILE=1 also runs bench/adserver-hostile.py
# against the freshly built server.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
duration=${DURATION:-30s}
trackers_only=${TRACKERS_ONLY:-0}
connections=${CONNECTIONS:-64}
threads=${THREADS:-2}

scripts/setup bench/debian-packages
[ -f "$build_dir/CMakeCache.txt" ] || cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --target velmora-adserver -j"${VELMORA_JOBS:-2}" >/dev/null

work=$(mktemp -d)
chmod 711 "$work"  # the fleet's database runs as the postgres user when this runs as root
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null; done
    [ -d "$work/fleet" ] && VELMORA_FLEET_DIR="$work/fleet" scripts/adserver-fleet stop
    rm -rf "$work"
}
trap cleanup EXIT

free_port() { python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
# Resident memory of a process and its children (nginx's workers), in kB.
rss() { ps -o rss= --pid "$1" --ppid "$1" | awk '{sum += $1} END {print sum}'; }
query="slotname=a1f3c29b07d5e64&js=tiskos-sdk-i-v4.0.2&net=wifi&platform=Desktop&hl=en&u_w=320&u_h=480&u_sd=1&u_audio=1&preqs=12&prl=183&ad_frame=%7B%22h%22%3A50%2C%22w%22%3A320%2C%22x%22%3A0%2C%22y%22%3A430%7D"
tc_string=$(python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))["cases"]["full"]["tcString"])' tests/data/consent/strings.json)
consent_query="$query&isu=3F2A9C41D07B4E5A8C6D1E2F3A4B5C6D&uloc=e1%2BQmFzZTY0&cust_gender=f&cust_age=19990101&gdpr=1&gdpr_consent=$tc_string&gpp=DBABMA~$tc_string&gpp_sid=2&us_privacy=1YNN&coppa=0&tfua=0&npa=0"

# run NAME PID URL: warm-up, then the measured run; leaves $work/NAME.wrk and .rss.
run() {
    wrk -t"$threads" -c"$connections" -d3s "$3" >/dev/null
    local before load
    before=$(rss "$2")
    load=$(cut -d' ' -f1 /proc/loadavg)
    wrk -t"$threads" -c"$connections" -d"$duration" --latency "$3" >"$work/$1.wrk"
    echo "$before $(rss "$2") $load" >"$work/$1.rss"
    echo "== $1 (load average before: $load)"
    cat "$work/$1.wrk"
}

# (a) velmora-adserver, one thread per core, its request log and counts on disk.
"$build_dir/adserver/velmora-adserver" --port 0 --log "$work/requests.jsonl" >"$work/server.out" 2>&1 &
pids+=($!)
server_pid=$!
for _ in $(seq 100); do grep -q "listening on" "$work/server.out" && break; sleep 0.1; done
base=$(grep -o 'http://[0-9.:]*' "$work/server.out" | head -1)
[ -n "$base" ] || { cat "$work/server.out" >&2; exit 1; }
sample=$(curl -si "$base/ad?$query")
location=$(sed -n 's/^Location: \(.*\)\r$/\1/p' <<<"$sample")
trackers=$(sed -n 's/^X-Tiskos-Tracking-Urls: \(.*\)\r$/\1/p' <<<"$sample")
orientation=$(sed -n 's/^X-Tiskos-Orientation: \(.*\)\r$/\1/p' <<<"$sample")
if [ "$trackers_only" != 1 ]; then
    run adserver "$server_pid" "$base/ad?$query"
    run adserver-consent "$server_pid" "$base/ad?$consent_query"
fi
tracker="/track/impression?unit=a1f3c29b07d5e64&creative=club&rid=1"
run adserver-tracker "$server_pid" "$base$tracker"
lines=$(wc -l <"$work/requests.jsonl")

# (b) nginx: the same answer from its configuration, one worker per core, no access log.
port=$(free_port)
mkdir -p "$work/nginx"
cat >"$work/nginx/nginx.conf" <<EOF
worker_processes $(nproc);
pid $work/nginx/nginx.pid;
error_log $work/nginx/error.log;
events { worker_connections 1024; }
http {
    access_log off;
    client_body_temp_path $work/nginx; proxy_temp_path $work/nginx; fastcgi_temp_path $work/nginx;
    uwsgi_temp_path $work/nginx; scgi_temp_path $work/nginx;
    server {
        listen 127.0.0.1:$port;
        location = /ad {
            add_header X-Tiskos-Tracking-Urls "$trackers" always;
            add_header X-Tiskos-Orientation "$orientation" always;
            return 302 "$location";
        }
        location = /track/impression {
            add_header Cache-Control no-store always;
            return 200 "";
        }
    }
}
EOF
nginx -c "$work/nginx/nginx.conf" -p "$work/nginx" -g 'daemon off;' &
pids+=($!)
nginx_pid=$!
for _ in $(seq 50); do curl -s -o /dev/null "http://127.0.0.1:$port/ad" && break; sleep 0.1; done
[ "$trackers_only" = 1 ] || run nginx "$nginx_pid" "http://127.0.0.1:$port/ad?$query"
run nginx-tracker "$nginx_pid" "http://127.0.0.1:$port$tracker"
names="adserver adserver-consent nginx adserver-tracker nginx-tracker"
[ "$trackers_only" = 1 ] && names="adserver-tracker nginx-tracker"

if [ "$trackers_only" != 1 ] && command -v pg_config >/dev/null; then
    kill "$server_pid" && wait "$server_pid" 2>/dev/null || true
    fleet_out=$(VELMORA_FLEET_DIR="$work/fleet" scripts/adserver-fleet start "${FLEET:-2}")
    front=$(tail -1 <<<"$fleet_out")
    instance=$(sed -n 's/^instance: \([^ ]*\).*/\1/p' <<<"$fleet_out" | head -1)
    instance_pid=$(cat "$work/fleet/server1/pid")
    run postgresql-instance "$instance_pid" "$instance/ad?$query"
    run postgresql-tracker "$instance_pid" "$instance$tracker"
    run fleet "$(cat "$work/fleet/nginx/nginx.pid")" "$front/ad?$query"
    run nginx-again "$nginx_pid" "http://127.0.0.1:$port/ad?$query"
    names+=" postgresql-instance postgresql-tracker fleet nginx-again"
fi

rate() { awk '/Requests\/sec/ {print int($2)}' "$work/$1.wrk"; }
p50() { awk '$1 == "50%" {print $2}' "$work/$1.wrk"; }
p99() { awk '$1 == "99%" {print $2}' "$work/$1.wrk"; }
errors() { grep -E "Socket errors|Non-2xx" "$work/$1.wrk" | grep -v "Non-2xx or 3xx responses: 0" | tr -s ' ' | paste -sd';' || true; }
memory() { awk '{printf "%d -> %d kB", $1, $2}' "$work/$1.rss"; }
echo
load() { awk '{print $3}' "$work/$1.rss"; }
echo "| server | requests/s | p50 | p99 | errors | RSS after warm-up -> after | load average |"
echo "|---|---|---|---|---|---|---|"
for name in $names; do
    echo "| $name | $(rate $name) | $(p50 $name) | $(p99 $name) | $(errors $name | sed 's/^$/none/') | $(memory $name) | $(load $name) |"
done
ratio() { awk -v a="$(rate "$1")" -v b="$(rate "$2")" -v what="$3" 'BEGIN {printf "%s: %.2f\n", what, a / b}'; }
if [ "$trackers_only" != 1 ]; then
    ratio adserver nginx "velmora-adserver / nginx (target >= 0.5, p99 < 10 ms)"
    ratio adserver-consent adserver "every consent signal set / today's /ad"
    ratio adserver-consent nginx "every consent signal set / nginx"
fi
ratio adserver-tracker nginx-tracker "durable tracker / nginx 200 (target >= 0.35)"
if [[ " $names " == *" fleet "* ]]; then
    ratio postgresql-instance nginx "one server on PostgreSQL / nginx"
    ratio fleet nginx-again "fleet behind nginx / nginx"
fi
echo "request log written by velmora-adserver: $lines lines"

if [ "${HOSTILE:-0}" = 1 ]; then
    echo
    python3 bench/adserver-hostile.py "$build_dir/adserver/velmora-adserver" "$build_dir/adserver/www"
fi
