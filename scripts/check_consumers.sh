#!/bin/sh
# Installs kvdata into a private prefix and builds and runs a small C program
# against it in each supported way:
#   1. CMake package, shared library   (find_package + kvdata::kvdata)
#   2. CMake package, static library   (find_package + kvdata::kvdata_static)
#   3. pkg-config, shared library      (cc ... $(pkg-config --cflags --libs kvdata))
#   4. pkg-config, static library      (pkg-config --static, archive named)
# The shared builds must need libkvdata.so.0, the static ones must not. A
# program built with pkg-config finds the shared library through an rpath
# here; the README shows the alternatives.
# usage: scripts/check_consumers.sh [WORKDIR]   (default build-consumers/)
set -eu
cd "$(dirname "$0")/.."
root=$(pwd)
work=${1:-$root/build-consumers}
jobs=${JOBS:-2}
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work/data"

echo "== install into $prefix"
cmake -S "$root" -B "$work/lib" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" \
  -DKVDATA_BUILD_TESTS=OFF -DKVDATA_BUILD_BENCH=OFF -DKVDATA_BUILD_TOOLS=OFF >/dev/null
cmake --build "$work/lib" -j "$jobs" >/dev/null
cmake --install "$work/lib" >/dev/null

libdir=
for d in "$prefix/lib" "$prefix/lib64" "$prefix"/lib/*-linux-gnu; do
  [ -f "$d/pkgconfig/kvdata.pc" ] && libdir=$d
done
[ -n "$libdir" ] || { echo "FAIL: no kvdata.pc below $prefix" >&2; exit 1; }
export PKG_CONFIG_PATH=$libdir/pkgconfig
cc=${CC:-cc}
src=$root/tests/consumer

run() {  # run NAME BINARY shared|static
  name=$1 bin=$2 kind=$3
  if readelf -d "$bin" | grep -q 'NEEDED.*libkvdata'; then linked=shared; else linked=static; fi
  if [ "$linked" != "$kind" ]; then
    echo "FAIL $name: linked $linked, expected $kind" >&2
    exit 1
  fi
  mkdir -p "$work/data/$name"
  "$bin" "$work/data/$name"
  echo "ok   $name"
}

for kind in shared static; do
  echo "== find_package, $kind"
  cmake -S "$src" -B "$work/cmake-$kind" -DCMAKE_PREFIX_PATH="$prefix" -DKVDATA_LINK=$kind >/dev/null
  cmake --build "$work/cmake-$kind" >/dev/null
  run "cmake-$kind" "$work/cmake-$kind/kvdata_consumer" $kind
done

echo "== pkg-config, shared"
# shellcheck disable=SC2046
$cc -o "$work/pc-shared" "$src/consumer.c" $(pkg-config --cflags --libs kvdata) \
  -Wl,-rpath,"$(pkg-config --variable=libdir kvdata)"
run pc-shared "$work/pc-shared" shared

echo "== pkg-config --static"
# The folder holds libkvdata.so as well, which the linker would prefer for
# -lkvdata; -l:libkvdata.a names the archive.
# shellcheck disable=SC2046
$cc -o "$work/pc-static" "$src/consumer.c" -DKVDATA_STATIC $(pkg-config --cflags kvdata) \
  $(pkg-config --static --libs kvdata | sed 's/-lkvdata\b/-l:libkvdata.a/')
run pc-static "$work/pc-static" static

echo "all four consumers built and ran"
