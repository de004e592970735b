#!/usr/bin/env bash
# A Qt Quick banner beside a Widgets banner (bench/quick-banner.cpp), each
# surface run RUNS (3) times in turn against one house ad server; medians.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELMORA_BUILD_DIR:-build}
runs=${RUNS:-3}
cmake --build "$build_dir" --target quick-banner velmora-adserver VelmoraAdsQml -j"${VELMORA_JOBS:-2}" >/dev/null
source scripts/headless-env
source bench/house-server.sh
start_house_server "$build_dir"
export QML_IMPORT_PATH=$PWD/$build_dir/qml

median() { sort -n | awk '{v[NR]=$1} END {print (NR % 2) ? v[(NR+1)/2] : (v[NR/2] + v[NR/2+1]) / 2}'; }

echo "== load average $(cut -d' ' -f1 /proc/loadavg) on $(nproc) cores, house ad server on $host, $runs runs each"
results=$work/results
for _ in $(seq "$runs"); do
    for surface in widgets quick; do
        "$build_dir/bench/quick-banner" --surface "$surface" "$@" 2>/dev/null >>"$results"
    done
done
printf '%-8s %10s %10s %14s %10s %13s\n' surface 'first ms' 'warm ms' 'PSS MB/banner' 'CPU seen' 'CPU dormant'
for surface in widgets quick; do
    row=()
    for field in first_ms warm_ms pss_mb_per_banner cpu_seen_pct cpu_dormant_pct; do
        row+=("$(grep "^$surface " "$results" | sed -n "s/.* $field \([0-9.]*\).*/\1/p" | median)")
    done
    printf '%-8s %10s %10s %14s %9s%% %12s%%\n' "$surface" "${row[@]}"
done
echo "== load average $(cut -d' ' -f1 /proc/loadavg) at the end"
