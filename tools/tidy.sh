#!/bin/sh
# tools/tidy.sh [FOLDER...]: clang-tidy over the sources of these folders; without any, over all but the tests. Checks
# all of them, then fails if it has found anything.
set -eu
root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
cd "$root"
[ $# -gt 0 ] || set -- platform os fmgr id3p aacdec p3gpp esparse filters host
# Configures for clang, because clang-tidy does not accept all options of gcc.
cmake --preset release -B build/tidy -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang -DZDR_TESTS=OFF \
  -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
git ls-files "$@" | grep '\.cpp$' | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/tidy
