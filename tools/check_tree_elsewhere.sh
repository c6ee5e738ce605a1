#!/usr/bin/env bash
# tools/check_tree_elsewhere.sh [PROCESSOR ...]: the whole tree on other processors.
#
#     i686    builds everything as a 32-bit program and runs its tests
#     s390x   builds `zdr` where words begin with the high byte, and compares what it writes and prints for samples/ with what
#             the program for this machine does
#
# Without arguments: both. s390x runs under an emulator. The libraries of the processors are unpacked from Debian's packages
# (DEBIAN_MIRROR; default http://deb.debian.org/debian) into folders of ZDR_ROOTS (default: build/roots), and kept there.
# Installs what is missing, which needs root and a network.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/elsewhere.sh
[ $# -gt 0 ] || set -- i686 s390x

needs=(mmdebstrap:mmdebstrap)
for processor; do
  needs+=("$processor-linux-gnu-g++:g++-$processor-linux-gnu")
  case $processor in
    i686) needs+=(/usr/src/googletest:googletest) ;;
    s390x) needs+=(qemu-s390x-static:qemu-user-static) ;;
    *) echo "$processor: no such build"; exit 2 ;;
  esac
done
install_missing "${needs[@]}"

roots=${ZDR_ROOTS:-$PWD/build/roots}

# Unpacks the libraries of a processor, which has this name in Debian.
make_root() {
  [ ! -d "$roots/$1" ] || return 0
  rm -rf "$roots/$1.part"
  mkdir -p "$roots"
  quietly mmdebstrap --variant=extract --architectures="$1" \
    --include=libc6-dev,libstdc++-12-dev,libgcc-s1,libcli11-dev,nettle-dev,zlib1g-dev \
    bookworm "$roots/$1.part" "${DEBIAN_MIRROR:-http://deb.debian.org/debian}"
  mv "$roots/$1.part" "$roots/$1"
}

# configure PROCESSOR ROOT OPTION ...
configure() {
  quietly cmake --preset release -B "build/tree-$1" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/cross/$1.cmake" \
    -DZDR_ROOT="$2" "${@:3}"
}

check_i686() {
  make_root i386
  SECONDS=0
  # Its program runs here, so it writes its man page itself.
  configure i686 "$roots/i386" -DZDR_TESTS=ON -DZDR_NATIVE_PROGRAM="$PWD/build/tree-i686/bin/zdr"
  quietly cmake --build build/tree-i686
  local built=$SECONDS
  quietly ctest --test-dir build/tree-i686 -j "$(nproc)" --output-on-failure
  echo "whole tree, i686: $(tests_passed); $built s to build, $((SECONDS - built)) s to test"
}

# on_samples FOLDER PROGRAM ...: leaves in FOLDER what the program writes and prints for the samples, and how it registers
# the module through which it plays them.
on_samples() {
  local folder=$1 run=("${@:2}") media
  local -x ZDR_REGISTRY=$PWD/$folder/registry.reg
  rm -rf "$folder"
  mkdir -p "$folder"
  prints() { "${run[@]}" "$@" >>"$folder/printed" 2>&1 || { echo "zdr $*: exit code $?"; tail -3 "$folder/printed"; exit 1; }; }
  prints register --quiet
  for media in samples/*.{3gp,mp4,aac,amr,awb}; do
    prints play "$media" -o "$folder/played"
    prints play --decode "$media" -o "$folder/decoded"
    prints play --decode --trim "$media" -o "$folder/trimmed"
    prints samples "$media"
    prints info "$media"  # without --full, which shows records in the byte order of the machine
  done
  for media in samples/*.{3gp,mp4}; do prints boxes --entries stsz "$media"; done
  prints verify --hash sha256 samples
  prints verify --hash sha256 --decode samples
  sed -i -e "s|$folder/||g" -e "s|$PWD/build/[^/]*/||" "$folder/printed" "$ZDR_REGISTRY"
}

check_s390x() {
  make_root s390x
  SECONDS=0
  quietly tools/build.sh host release
  configure s390x "$roots/s390x" -DZDR_TESTS=OFF
  quietly cmake --build build/tree-s390x --target zdr ZdrMp4Source
  local built=$SECONDS
  on_samples build/samples-here build/release/bin/zdr
  on_samples build/samples-s390x qemu-s390x-static -L "$roots/s390x" build/tree-s390x/bin/zdr
  quietly diff -r build/samples-here build/samples-s390x
  echo "samples, s390x: $(find build/samples-here -type f | wc -l) files equal; $built s to build, $((SECONDS - built)) s to play"
}

for processor; do "check_$processor"; done
