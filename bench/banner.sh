#!/usr/bin/env bash
# What a banner costs against the bare web engine (see bench/banner.cpp).
# BANNER_FLAGS passes web engine switches, e.g. "--process-per-site"; REFRESH
# is the server's reload period (1 s; the cpu phase wants the game's 30).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
scripts/setup
[ -f "$build_dir/CMakeCache.txt" ] || cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --target banner velmora-adserver -j"${VELMORA_JOBS:-2}" >/dev/null
source scripts/headless-env
export QTWEBENGINE_CHROMIUM_FLAGS="$QTWEBENGINE_CHROMIUM_FLAGS ${BANNER_FLAGS:-}"

work=$(mktemp -d)
trap 'kill $server 2>/dev/null; rm -rf "$work"' EXIT
"$build_dir/adserver/velmora-adserver" --port 0 --refresh "${REFRESH:-1}" --log "$work/requests.jsonl" >"$work/server.out" 2>&1 &
server=$!
for _ in $(seq 100); do grep -q listening "$work/server.out" && break; sleep 0.1; done
host=$(grep -o '127\.0\.0\.1:[0-9]*' "$work/server.out" | head -1)
echo "== banner bench against velmora-adserver on $host, engine flags: ${QTWEBENGINE_CHROMIUM_FLAGS}"
HOME="$work" XDG_CACHE_HOME="$work/cache" XDG_CONFIG_HOME="$work/config" "$build_dir/bench/banner" --host "$host" "$@"
