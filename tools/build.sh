#!/bin/sh
# tools/build.sh host|tests|fuzz PRESET: installs missing build packages, configures and builds. All output goes to
# stderr, so that stdout stays free for the caller.
set -eu
what=$1
preset=$2
root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
exec 1>&2

# Each entry is PROBE:PACKAGE. The package is installed unless the probe, a command or an absolute file name, exists.
needs="g++:g++ cmake:cmake ninja:ninja-build /usr/include/CLI/CLI.hpp:libcli11-dev
/usr/include/zlib.h:zlib1g-dev /usr/include/nettle/sha2.h:nettle-dev"
[ "$what" = tests ] && needs="$needs /usr/include/gtest/gtest.h:libgtest-dev /usr/include/gmock/gmock.h:libgmock-dev
python3:python3 script:bsdutils /usr/lib/python3/dist-packages/jsonschema:python3-jsonschema"
# The clang package only recommends the package with the runtime of the sanitizers.
[ "$preset" = fuzz ] && needs="$needs clang++:clang $(echo /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a |
  cut -d' ' -f1):libclang-rt-dev"

missing=
for need in $needs; do
  probe=${need%:*}
  case $probe in
    /*) [ -e "$probe" ] && continue ;;
    *) command -v "$probe" >/dev/null 2>&1 && continue ;;
  esac
  missing="$missing ${need##*:}"
done
if [ -n "$missing" ]; then
  echo "zdr: installing the missing build packages:$missing"
  sudo=
  [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo apt-get -qq update
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $sudo apt-get -qq install -y --no-install-recommends $missing >/dev/null
fi

tests=OFF
[ "$what" = tests ] && tests=ON
[ "$what" = host ] && grep -qs 'ZDR_TESTS:BOOL=ON' "$root/build/$preset/CMakeCache.txt" && tests=ON
target=all
[ "$what" = host ] && target="zdr ZdrMp4Source zdr_documents"
[ "$what" = fuzz ] && target=fuzzers
cd "$root"
cmake --preset "$preset" -DZDR_TESTS=$tests >"$root/build-configure.log" 2>&1 || {
  cat "$root/build-configure.log"
  exit 1
}
rm -f "$root/build-configure.log"
# shellcheck disable=SC2086
exec cmake --build --preset "$preset" --target $target
