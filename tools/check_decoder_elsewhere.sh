#!/usr/bin/env bash
# tools/check_decoder_elsewhere.sh [PROCESSOR ...]: builds the AAC decoder for other processors and runs its tests, which
# compare every sample with the same checksums as here. aarch64, s390x (whose words begin with the high byte) and i686
# (32 bits); without arguments, all of them. Programs for the first two run under an emulator.
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- aarch64 s390x i686
for processor; do
  compiler=$processor-linux-gnu-g++
  command -v "$compiler" >/dev/null || packages+=" g++-$processor-linux-gnu"
done
command -v qemu-s390x-static >/dev/null || packages+=" qemu-user-static"
[ -d /usr/src/googletest ] || packages+=" googletest"
[ -z "${packages-}" ] || { apt-get -qq update && apt-get -qq install -y --no-install-recommends $packages; }
for processor; do
  echo "decoder on $processor"
  cmake --preset release -B "build/$processor" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/cross/$processor.cmake" \
    -DZDR_DECODER_ONLY=ON >/dev/null
  cmake --build "build/$processor" >/dev/null
  ctest --test-dir "build/$processor" -j "$(nproc)" --output-on-failure
done
