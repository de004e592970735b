#!/usr/bin/env bash
# Installs the ad library into a scratch prefix and uses it as a publisher
# would: its headers must stand on their own, and examples/banner-demo, built
# with nothing but find_package, must show an ad from the house server.
#   check-installed-library.sh <build dir> <source dir> <velmora-adserver> <version>
set -euo pipefail
build=$1 source=$2 adserver=$3 version=$4
scratch=$(mktemp -d)
server_pid=
cleanup() {
    [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null
    rm -rf "$scratch"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

prefix=$scratch/prefix
cmake --install "$build" --prefix "$prefix" --component devel
headers=$prefix/include/VelmoraAds
[ -f "$prefix/lib/cmake/VelmoraAds/VelmoraAdsConfig.cmake" ] || fail "no package configuration installed"

# A public header may include Qt, the standard library and other public
# headers, nothing else; a publisher never sees a private one.
for header in "$headers"/*.h; do
    case $header in *Private.h) fail "private header installed: $header" ;; esac
    while read -r included; do
        case $included in
            \"*\") [ -f "$headers/${included//\"/}" ] || fail "$(basename "$header") includes $included, which is not installed" ;;
            \<VelmoraAds/*\>) name=${included#<VelmoraAds/}; [ -f "$headers/${name%>}" ] || fail "$(basename "$header") includes $included, which is not installed" ;;
            \<Q*\>|\<[a-z_]*\>) ;;
            *) fail "$(basename "$header") includes $included" ;;
        esac
    done < <(sed -n 's/^#include \(.*\)$/\1/p' "$header")
done

launcher=()
command -v ccache > /dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$source/examples/banner-demo" -B "$scratch/demo" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "${launcher[@]}" > "$scratch/configure.log" \
    || { cat "$scratch/configure.log"; fail "the example does not configure against the package"; }
grep -q "Using the Velmora ad library $version\$" "$scratch/configure.log" || fail "the package does not say it is version $version"
cmake --build "$scratch/demo" -j2 || fail "the example does not build against the package"

"$adserver" --port 0 > "$scratch/server.out" 2>&1 &
server_pid=$!
for _ in $(seq 100); do
    port=$(sed -n 's|.*listening on http://127\.0\.0\.1:\([0-9]*\).*|\1|p' "$scratch/server.out")
    [ -n "$port" ] && break
    sleep 0.2
done
[ -n "$port" ] || { cat "$scratch/server.out"; fail "the house ad server did not start"; }

# Its own home, so the demo's statistics and caches stay in the scratch folder.
HOME=$scratch/home XDG_CACHE_HOME=$scratch/home/.cache XDG_CONFIG_HOME=$scratch/home/.config \
VELMORA_AD_HOST=127.0.0.1:$port VELMORA_STATIC_HOST=127.0.0.1:$port \
    timeout 60 "$scratch/demo/banner-demo" > "$scratch/demo.out" 2> "$scratch/demo.err" &
demo_pid=$!
for _ in $(seq 600); do
    grep -q '^adViewDidReceiveAd' "$scratch/demo.out" && break
    kill -0 "$demo_pid" 2>/dev/null || break
    sleep 0.1
done
kill "$demo_pid" 2>/dev/null || true
wait "$demo_pid" 2>/dev/null || true
cat "$scratch/demo.out"
grep -q '^adViewDidReceiveAd' "$scratch/demo.out" || { cat "$scratch/demo.err"; fail "the example showed no ad"; }
echo "the installed library shows an ad in a program of its own"
