#!/usr/bin/env bash
# Installs the ad library into a scratch prefix and uses it as a publisher
# would: its headers must stand on their own, and examples/banner-demo, built
# with nothing but find_package, must show an ad from the house server.
# `shared` installs libVelmoraAds.so.1 from the build tree and checks what it
# exports and that the program runs with it from the prefix; `static` builds
# the static library in <build dir>/static-flavour (kept, so later runs only
# rebuild what changed) and checks the program carries it.
#   check-installed-library.sh shared|static <build dir> <source dir> <velmora-adserver> <version>
set -euo pipefail
flavour=$1 build=$2 source=$3 adserver=$4 version=$5
scratch=$(mktemp -d)
server_pid=
cleanup() {
    [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null
    rm -rf "$scratch"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

launcher=()
command -v ccache > /dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
prefix=$scratch/prefix
case $flavour in
    shared)
        cmake --install "$build" --prefix "$prefix" --component library
        cmake --install "$build" --prefix "$prefix" --component devel
        ;;
    static)
        tree=$build/static-flavour
        [ -f "$tree/CMakeCache.txt" ] ||
            cmake -S "$source" -B "$tree" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_SHARED_LIBS=OFF > /dev/null
        cmake --build "$tree" -j2 --target VelmoraAds > "$scratch/static-build.log" ||
            { cat "$scratch/static-build.log"; fail "the static library does not build"; }
        cmake --install "$tree" --prefix "$prefix" --component devel
        ;;
    *) fail "flavour is shared or static, not $flavour" ;;
esac
headers=$prefix/include/VelmoraAds
[ -f "$prefix/lib/cmake/VelmoraAds/VelmoraAdsConfig.cmake" ] || fail "no package configuration installed"
shared_libraries=$(find "$prefix" -name 'libVelmoraAds.so*' | wc -l)
if [ "$flavour" = shared ]; then
    [ "$shared_libraries" -eq 3 ] || fail "expected libVelmoraAds.so, .so.1 and .so.$version in the prefix"
    # Only the library's own classes: a standard library or Qt symbol exported
    # here would bind programs to this build of it.
    strays=$(nm -D --defined-only -C "$prefix/lib/libVelmoraAds.so.1" | cut -d' ' -f3- |
        grep -Ev '^((typeinfo( name)?|vtable|non-virtual thunk|guard variable) (for|to) )?(TSK|Velmora::)' || true)
    [ -z "$strays" ] || fail "the library exports more than its classes:"$'\n'"$strays"
else
    [ "$shared_libraries" -eq 0 ] || fail "a static install holds a shared library"
fi

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

cmake -S "$source/examples/banner-demo" -B "$scratch/demo" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "${launcher[@]}" > "$scratch/configure.log" \
    || { cat "$scratch/configure.log"; fail "the example does not configure against the package"; }
grep -q "Using the Velmora ad library $version\$" "$scratch/configure.log" || fail "the package does not say it is version $version"
cmake --build "$scratch/demo" -j2 || fail "the example does not build against the package"
demo=$scratch/demo/banner-demo
echo "ldd banner-demo:"
ldd "$demo"
linked=$(ldd "$demo" | sed -n 's/^\s*libVelmoraAds\.so\.1 => \(\S*\).*/\1/p')
if [ "$flavour" = shared ]; then
    [ "$linked" = "$prefix/lib/libVelmoraAds.so.1" ] || fail "the program does not run with the installed library (found: ${linked:-none})"
    # The web engine and OpenSSL are the library's business, not the program's.
    needed=$(readelf -d "$demo" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    grep -Eq '^lib(Qt6WebEngine|crypto)' <<< "$needed" && fail "the program links what the library should hide:"$'\n'"$needed"
else
    [ -z "$linked" ] || fail "a program built against the static library needs $linked"
fi

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
    timeout 60 "$demo" > "$scratch/demo.out" 2> "$scratch/demo.err" &
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
