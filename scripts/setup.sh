#!/bin/sh
# Installs the Debian packages a build needs, and only those that are missing.
#
#   scripts/setup.sh GROUP...     groups: demo test bench fuzz windows all
#
#   demo     the library and the kvdata tool
#   test     + GoogleTest
#   bench    + Google Benchmark and SQLite (the peer the benchmarks compare with)
#   fuzz     + clang and libFuzzer
#   windows  + mingw-w64 and Wine (the Windows DLLs and their test suite)
#   all      every group
#
# Nothing missing: prints nothing and exits 0. Otherwise it runs apt-get
# (after apt-get update) as root, or through sudo when sudo works without a
# password prompt; failing both it prints the exact command to run and exits 1.
# The Makefile calls it before every build; KVDATA_SETUP=0 skips it (for a
# machine whose packages come from elsewhere).
set -eu

[ "${KVDATA_SETUP:-1}" = 0 ] && exit 0

demo="cmake make g++ pkg-config libcli11-dev nlohmann-json3-dev"
test="libgtest-dev"
bench="libbenchmark-dev libsqlite3-dev"
fuzz="clang libfuzzer-14-dev"
windows="libgtest-dev g++-mingw-w64-i686 g++-mingw-w64-x86-64 wine wine64"

[ $# -gt 0 ] || set -- test
wanted=""
for group in "$@"; do
  case "$group" in
    demo) wanted="$wanted $demo" ;;
    test) wanted="$wanted $demo $test" ;;
    bench) wanted="$wanted $demo $bench" ;;
    fuzz) wanted="$wanted $demo $fuzz" ;;
    windows) wanted="$wanted $demo $windows" ;;
    all) wanted="$wanted $demo $test $bench $fuzz $windows" ;;
    *) echo "setup.sh: unknown group '$group' (demo, test, bench, fuzz, windows, all)" >&2; exit 2 ;;
  esac
done

if ! command -v dpkg-query >/dev/null 2>&1; then
  echo "setup.sh: no dpkg here; install these packages by hand:$wanted" >&2
  exit 0
fi

missing=""
for p in $wanted; do
  case " $missing " in *" $p "*) continue ;; esac
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing="$missing $p"
done
[ -z "$missing" ] && exit 0

echo "setup.sh: installing the missing packages:$missing"
install="apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends$missing"
if [ "$(id -u)" = 0 ]; then
  sh -c "$install"
elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
  sudo -n sh -c "$install"
else
  echo "setup.sh: these packages are missing and I cannot install them without root:" >&2
  echo "  sudo sh -c '$install'" >&2
  exit 1
fi
