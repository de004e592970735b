#!/usr/bin/env bash
# CPU and memory of one running round of the game: builds bench/round-cpu and
# runs a round for SECONDS (30) under the offscreen platform, first as a
# player meets it, then with every pick-up timer firing each millisecond.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
seconds=${SECONDS_PLAYED:-30}

scripts/setup
[ -f "$build_dir/CMakeCache.txt" ] || cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --target round-cpu -j"${VELMORA_JOBS:-2}" >/dev/null
source scripts/headless-env

ticks=$(mktemp)
trap 'rm -f "$ticks"' EXIT
for mode in "" --eager-pickups; do
    echo "== round${mode:+ $mode}, ${seconds} s, load average $(cut -d' ' -f1 /proc/loadavg) on $(nproc) cores"
    "$build_dir/bench/round-cpu" --seconds "$seconds" $mode >"$ticks"
    echo "tick lines printed: $(wc -l <"$ticks") (20 a second expected)"
done
