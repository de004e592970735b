#!/usr/bin/env bash
# A request with every consent signal set (bench/privacy.cpp), run in turns
# with the same benchmark built against the library at REF, by default the
# last commit before the privacy rules, against one house ad server. Prints
# each run and the medians with their ratio, this tree over REF.
#   bench/privacy.sh [REF] [ROUNDS]
set -euo pipefail
cd "$(dirname "$0")/.."
ref=${1:-621f82b}
rounds=${2:-5}
build_dir=${VELMORA_BUILD_DIR:-build}
scripts/setup
cmake --build "$build_dir" --target privacy velmora-adserver -j"${VELMORA_JOBS:-2}" >/dev/null

# REF's tree with this benchmark added, built beside ours.
before=build-privacy-before/$(git rev-parse --short "$ref")
if [ ! -f "$before/tree/bench/privacy" ]; then
    rm -rf "$before" && mkdir -p "$before/src"
    git archive "$ref" | tar -x -C "$before/src"
    cp bench/privacy.cpp "$before/src/bench/"
    # Before the file's early return for the optional benchmarks.
    grep -q 'privacy.cpp' "$before/src/bench/CMakeLists.txt" ||
        sed -i '1i add_executable(privacy privacy.cpp)\ntarget_link_libraries(privacy PRIVATE Ads)' \
            "$before/src/bench/CMakeLists.txt"
    cmake -S "$before/src" -B "$before/tree" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build "$before/tree" --target privacy -j"${VELMORA_JOBS:-2}" >/dev/null
fi

source scripts/headless-env
work=$(mktemp -d)
trap 'kill $server 2>/dev/null; rm -rf "$work"' EXIT
"$build_dir/adserver/velmora-adserver" --port 0 --log "$work/requests.jsonl" >"$work/server.out" 2>&1 &
server=$!
for _ in $(seq 100); do grep -q listening "$work/server.out" && break; sleep 0.1; done
host=$(grep -o '127\.0\.0\.1:[0-9]*' "$work/server.out" | head -1)

run() {  # name binary
    local home="$work/home-$1-$round"
    mkdir -p "$home"
    HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_CACHE_HOME="$home/cache" VELMORA_VENDOR_ID=4242 \
        "$2" --host "$host" --consent tests/data/consent/strings.json 2>/dev/null |
        sed -n "s/^parameters: \([0-9.]*\) us.*/$1 parameters \1/p; s/^request: \([0-9.]*\) ms.*/$1 request \1/p"
}
echo "== privacy bench: this tree against $ref ($(git rev-parse --short "$ref")), load average $(cut -d' ' -f1-3 /proc/loadavg)"
# In turns, each going first every other round.
for round in $(seq "$rounds"); do
    if [ $((round % 2)) = 1 ]; then
        run before "$before/tree/bench/privacy"
        run after "$build_dir/bench/privacy"
    else
        run after "$build_dir/bench/privacy"
        run before "$before/tree/bench/privacy"
    fi
done | tee "$work/figures"
awk '
    { key = $1 " " $2; value[key, ++count[key]] = $3 }
    function median(key,   n, i, j, t, a) {
        n = count[key]; for (i = 1; i <= n; ++i) a[i] = value[key, i]
        for (i = 1; i <= n; ++i) for (j = i + 1; j <= n; ++j) if (a[j] < a[i]) { t = a[i]; a[i] = a[j]; a[j] = t }
        return a[int((n + 1) / 2)]
    }
    END {
        b = median("before parameters"); a = median("after parameters")
        printf "parameters: %.2f us before, %.2f us with every signal, ratio %.2f\n", b, a, a / b
        b = median("before request"); a = median("after request")
        printf "request:    %.1f ms before, %.1f ms with every signal, ratio %.2f\n", b, a, a / b
    }' "$work/figures"
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
