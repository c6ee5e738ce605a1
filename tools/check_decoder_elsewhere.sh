#!/usr/bin/env bash
# tools/check_decoder_elsewhere.sh [BUILD ...]: builds the AAC decoder for other processors and runs its tests, which
# compare every sample with the same checksums as here, in every form of the kernels that the processor has.
#
# A BUILD is a processor, for gcc, or one with -clang behind it: aarch64, s390x (whose words begin with the high byte) and
# i686 (32 bits). Without arguments: the three by clang, in a quarter of an hour; .ci/run builds them with gcc. The first two
# processors run under an emulator. Installs what is missing, which needs root and a network.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/elsewhere.sh
[ $# -gt 0 ] || set -- aarch64-clang s390x-clang i686-clang

needs=(/usr/src/googletest:googletest)
for build; do
  processor=${build%-clang}
  [ -e "cmake/cross/$processor.cmake" ] || { echo "$build: no such build"; exit 2; }
  needs+=("$processor-linux-gnu-g++:g++-$processor-linux-gnu")
  [ "$build" = "$processor" ] || needs+=(clang++:clang)
  [ "$processor" = i686 ] || needs+=("qemu-$processor-static:qemu-user-static")
done
install_missing "${needs[@]}"

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
  echo "decoder, $build: $(tests_passed); $built s to build, $((SECONDS - built)) s to test"
done
