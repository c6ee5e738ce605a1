#!/usr/bin/env bash
# tools/check_decoder_elsewhere.sh [BUILD ...]: builds the AAC decoder for other processors and runs its tests, which
# compare every sample with the same checksums as here, in every form of the kernels that the processor has.
#
# A BUILD is a processor, for gcc, or one with -clang behind it: aarch64, s390x (whose words begin with the high byte) and
# i686 (32 bits). Without arguments: those, aarch64-clang and i686-clang. The first two processors run under an emulator.
# Installs what is missing, which needs root and a network.
set -euo pipefail
cd "$(dirname "$0")/.."
# Flags and compilers that suit the processor here, such as its linker, do not suit the others.
unset CC CXX CFLAGS CXXFLAGS CPPFLAGS LDFLAGS
[ $# -gt 0 ] || set -- aarch64 s390x i686 aarch64-clang i686-clang

packages=
for build; do
  processor=${build%-clang}
  [ -e "cmake/cross/$processor.cmake" ] || { echo "$build: no such build"; exit 2; }
  command -v "$processor-linux-gnu-g++" >/dev/null || packages+=" g++-$processor-linux-gnu"
  [ "$build" = "$processor" ] || command -v clang++ >/dev/null || packages+=" clang"
  [ "$processor" = i686 ] || command -v "qemu-$processor-static" >/dev/null || packages+=" qemu-user-static"
done
[ -d /usr/src/googletest ] || packages+=" googletest"
# shellcheck disable=SC2086
[ -z "$packages" ] || { apt-get -qq update && apt-get -qq install -y --no-install-recommends $packages >/dev/null; } ||
  { echo "to install$packages takes root and a network"; exit 1; }

# Runs a command, whose output is shown only if it fails.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
quietly() { "$@" >"$log" 2>&1 || { cat "$log"; exit 1; }; }

for build; do
  processor=${build%-clang}
  clang=OFF
  [ "$build" = "$processor" ] || clang=ON
  # The emulator of s390x needs three times as long as that of aarch64. Left out there: long streams that change state in
  # the middle, whose kernels the other tests run too.
  left_out='^$'
  [ "$processor" != s390x ] || left_out='HeaderChanges|InTurn|ConfiguringRestarts|KeptDamagedBlockIsSilent'
  SECONDS=0
  quietly cmake --preset release -B "build/$build" -DZDR_DECODER_ONLY=ON -DZDR_CLANG=$clang \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/cross/$processor.cmake"
  quietly cmake --build "build/$build"
  built=$SECONDS
  quietly ctest --test-dir "build/$build" -j "$(nproc)" -E "$left_out" --output-on-failure
  echo "decoder, $build: $(sed -n 's/tests passed.* out of/tests passed of/p' "$log"); $built s to build, $((SECONDS - built)) s to test"
done
