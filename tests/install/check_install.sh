#!/bin/sh
# tests/install/check_install.sh BUILD_FOLDER: installs a build into a temporary folder and uses the result: the program
# on a sample, its man page and completions, the libraries through CMake and through pkg-config, the module from another
# host.
set -eu
build=$1
here=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd)
sample=$here/../../samples/two-tracks.3gp
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT
prefix=$temporary/prefix
fail() {
  echo "install: $1" >&2
  exit 1
}

cmake --install "$build" --prefix "$prefix" >"$temporary/log" || fail "$(cat "$temporary/log")"
# Move the installation, so that it cannot depend on the build folder or on its first path.
mv "$prefix" "$temporary/moved"
prefix=$temporary/moved
rpath=$(readelf -d "$prefix/bin/zdr" "$prefix/lib/zdr/ZdrMp4Source.so" | grep -c "ORIGIN")
[ "$rpath" = 2 ] || fail "program or module looks for its libraries elsewhere"

"$prefix/bin/zdr" play "$sample" -o "$temporary/out" -q >"$temporary/played"
[ "$(find "$temporary/out" -type f | wc -l)" = 2 ] || fail "the installed program plays no two streams"
grep -q "^.B zdr play" "$prefix/share/man/man1/zdr.1" || fail "no man page"
for completion in bash-completion/completions/zdr zsh/site-functions/_zdr fish/vendor_completions.d/zdr.fish; do
  [ -s "$prefix/share/$completion" ] || fail "no $completion"
done

cmake -S "$here" -B "$temporary/consumer" -DCMAKE_PREFIX_PATH="$prefix" >"$temporary/log" 2>&1 &&
  cmake --build "$temporary/consumer" >>"$temporary/log" 2>&1 || fail "$(cat "$temporary/log")"
[ "$("$temporary/consumer/consumer" "$sample")" = "2 audio, 2 video" ] || fail "the consumer reads the sample wrongly"

if command -v pkg-config >/dev/null; then
  export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
  # shellcheck disable=SC2046
  cc -std=c11 "$here/consumer.c" -o "$temporary/by-pkg-config" $(pkg-config --cflags --libs zdr-p3gpp)
  tracks=$(LD_LIBRARY_PATH=$prefix/lib "$temporary/by-pkg-config" "$sample")
  [ "$tracks" = "2 audio, 2 video" ] || fail "the consumer built with pkg-config reads the sample wrongly"
  # shellcheck disable=SC2046
  c++ -std=c++20 "$here/host.cpp" -o "$temporary/host" $(pkg-config --cflags --libs zdrplatform)
  export ZDR_REGISTRY="$temporary/registry.reg"
  "$prefix/bin/zdr" register >/dev/null
  LD_LIBRARY_PATH=$prefix/lib "$temporary/host" "$sample" || fail "a host cannot load the sample"
fi
echo "install: program, module, documents and libraries work from where they were put"
