#!/bin/sh
# tests/install/check_install.sh BUILD_FOLDER: installs a build into a temporary folder and uses the result: the program
# on a sample, its documents, each header alone, the examples built with CMake and with pkg-config, the Debian package.
set -eu
build=$(CDPATH='' cd -- "$1" && pwd)
root=$(CDPATH='' cd -- "$(dirname -- "$0")/../.." && pwd)
samples=$root/samples
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT
prefix=$temporary/moved
fail() {
  echo "install: $1" >&2
  exit 1
}
# Runs a command, and prints what it printed only if it fails.
quietly() {
  "$@" >"$temporary/log" 2>&1 || fail "$(cat "$temporary/log")"
}

quietly cmake --install "$build" --prefix "$temporary/prefix"
runs=$(grep -h execute_process "$build/cmake_install.cmake" | grep -v /strip) || true
[ -z "$runs" ] || fail "the installation runs a program, which may be for another machine: $runs"
# Move the installation, so that it cannot depend on the build folder or on its first path.
mv "$temporary/prefix" "$prefix"
module=$(find "$prefix" -name ZdrMp4Source.so)
libraries=$(dirname "$(dirname "$module")")
rpath=$(readelf -d "$prefix/bin/zdr" "$module" | grep -c "ORIGIN")
[ "$rpath" = 2 ] || fail "program or module looks for its libraries elsewhere"
! readelf -d "$build"/bin/* "$prefix/bin/zdr" "$module" 2>/dev/null | grep -E 'RUNPATH.*(\[:|::|:\])' ||
  fail "a RUNPATH has an empty entry, which is the working folder"

"$prefix/bin/zdr" play "$samples/two-tracks.3gp" -o "$temporary/out" -q >"$temporary/played"
[ "$(find "$temporary/out" -type f | wc -l)" = 2 ] || fail "the installed program does not play two streams"
export ZDR_REGISTRY="$temporary/registry.reg"
"$prefix/bin/zdr" register -q >/dev/null
grep -q "$module" "$ZDR_REGISTRY" || fail "the registered module is not the installed one"

# Documents: the program's own, and those of the tree with every page that they link to.
grep -q "^.B zdr play" "$prefix/share/man/man1/zdr.1" || fail "no man page"
for completion in bash-completion/completions/zdr zsh/site-functions/_zdr fish/vendor_completions.d/zdr.fish; do
  [ -s "$prefix/share/$completion" ] || fail "no $completion"
done
pages=$prefix/share/doc/ZdrMp4Source
[ -s "$pages/docs/schema/boxes.schema.json" ] || fail "no schemas"
for page in "$pages/README.md" "$pages/CHANGELOG.md" "$pages"/docs/*.md "$pages/examples/README.md"; do
  grep -o '](\([^):#]*\)' "$page" | cut -c3- | while read -r link; do
    [ -e "$(dirname "$page")/$link" ] || fail "$page links to $link, which is not installed"
  done
done

# The platform library exports what is declared in an installed header or used by the program.
headers=$prefix/include/zdr
names_of() { # --defined-only or --undefined-only, FILE
  nm -DC "$1" "$2" | sed 's/^[0-9a-f ]* [A-Za-z] //; s/(.*//; s/@.*//; s/\[abi:[a-z0-9]*]//' | sort -u
}
names_of --undefined-only "$prefix/bin/zdr" >"$temporary/used"
names_of --defined-only "$libraries/libzdrplatform.so" | comm -23 - "$temporary/used" | while read -r name; do
  grep -rqw -e "${name##*::}" "$headers" || fail "libzdrplatform exports $name"
done

# Each header compiles alone: as C++17, and as C11 if it is for C as well, and so cannot have #pragma once.
compile_alone() {
  cat >"$temporary/alone.sh" <<'END'
set -eu
include="-I $1 -I $1/platform/win32 -I $1/platform/com -I $1/platform/dshow"
strict="-pedantic-errors -Wall -Wextra -Werror -fsyntax-only"
echo "#include \"$2\"" | c++ -std=c++17 $strict $include -x c++ -
grep -q "^#pragma once" "$1/$2" || echo "#include \"$2\"" | cc -std=c11 $strict $include -x c -
END
  (cd "$headers" && find . -name '*.h' -print0) | xargs -0 -n 1 -P "$(nproc)" sh "$temporary/alone.sh" "$headers"
}
compile_alone || fail "a header does not compile alone"

# The examples. Their rows equal those of the program, which uses the same module.
rows_of() {
  "$prefix/bin/zdr" samples -q "$samples/$1" | tail -n +2
}
use_examples() { # FOLDER of the programs, MODULE
  "$1/list_samples" "$samples/h263-amr.3gp" >"$temporary/listed" || fail "list_samples fails"
  "$1/aac_to_wav" "$samples/he-aac-v1-stereo.aac" "$temporary/decoded.wav" || fail "aac_to_wav fails"
  "$1/pull_samples" "$2" "$samples/avc-aac.mp4" | sort >"$temporary/pulled" || fail "pull_samples fails"
  # The parser and the filter report the same size and key flag for each picture.
  rows_of h263-amr.3gp | grep ^Video0 | cut -d, -f5,6 >"$temporary/expected"
  grep "^$(tail -n 1 "$temporary/listed" | cut -d, -f1)," "$temporary/listed" | cut -d, -f4,5 |
    cmp -s - "$temporary/expected" || fail "list_samples lists other pictures"
  rows_of avc-aac.mp4 | sed 's/^Audio0/0/; s/^Video0/1/' | cut -d, -f1,3,4,5 | sort |
    cmp -s - "$temporary/pulled" || fail "pull_samples gets other samples"
  # The reader leaves out the last frames of a file; what it delivers is what the decoder alone yields.
  "$prefix/bin/zdr" play "$samples/he-aac-v1-stereo.aac" -o "$temporary/out" -q --force >/dev/null
  played=$temporary/out/he-aac-v1-stereo.Audio1.wav
  bytes=$(($(stat -c %s "$played") - 44))
  [ "$bytes" -gt 100000 ] && cmp -s -i 44 -n "$bytes" "$played" "$temporary/decoded.wav" || fail "aac_to_wav differs"
  # Damage changes neither the length nor what precedes it, and the header states the size.
  cp "$samples/he-aac-v1-stereo.aac" "$temporary/damaged.aac"
  dd if=/dev/zero of="$temporary/damaged.aac" bs=1 seek=5000 count=40 conv=notrunc 2>/dev/null
  "$1/aac_to_wav" "$temporary/damaged.aac" "$temporary/damaged.wav" || fail "aac_to_wav stops at damage"
  cmp -s -n 60000 "$temporary/damaged.wav" "$temporary/decoded.wav" || fail "aac_to_wav loses frames before damage"
  [ "$(stat -c %s "$temporary/damaged.wav")" = "$(stat -c %s "$temporary/decoded.wav")" ] || fail "damage shifts"
}
examples=$pages/examples
for example in "$examples"/*.c "$examples"/*.cpp; do
  [ "$(wc -l <"$example")" -lt 60 ] || fail "$example is too long for an example"
done
quietly cmake -S "$examples" -B "$temporary/examples" -DCMAKE_PREFIX_PATH="$prefix" -DCLIP="$samples/amr-nb.amr"
quietly cmake --build "$temporary/examples" -j "$(nproc)"
use_examples "$temporary/examples" "$module"
quietly cmake --build "$temporary/examples" --target play

if command -v pkg-config >/dev/null; then
  export PKG_CONFIG_PATH="$libraries/pkgconfig"
  mkdir "$temporary/by-pkg-config"
  # The command lines of the README, in its folder.
  grep -E '^ +(cc|c\+\+) ' "$examples/README.md" | sed "s| -o | -o '$temporary/by-pkg-config'/|" >"$temporary/build.sh"
  [ "$(wc -l <"$temporary/build.sh")" = 3 ] || fail "examples/README.md does not build three programs with pkg-config"
  (cd "$examples" && quietly sh -eu "$temporary/build.sh")
  LD_LIBRARY_PATH=$libraries use_examples "$temporary/by-pkg-config" "$(pkg-config --variable=module zdr-dshow)"
fi

# The package: installed into an empty root, used there, and removed without a trace.
if command -v dpkg >/dev/null; then
  quietly cpack -G DEB --config "$build/CPackConfig.cmake" -B "$temporary/package"
  unpacked=$temporary/root
  mkdir -p "$unpacked/var/lib/dpkg/info" "$unpacked/var/lib/dpkg/updates" "$unpacked/var/lib/dpkg/triggers"
  touch "$unpacked/var/lib/dpkg/status"
  # The root has no shell and no dependencies, and the libraries of this machine are not its own.
  mkdir "$temporary/bin" && ln -s "$(command -v true)" "$temporary/bin/ldconfig"
  in_root="env PATH=$temporary/bin:$PATH dpkg --root=$unpacked --log=$temporary/dpkg.log --force-depends
           --force-not-root --force-bad-path --force-script-chrootless"
  quietly $in_root --install "$temporary"/package/*.deb
  "$unpacked/usr/bin/zdr" play "$samples/h263-amr.3gp" -o "$temporary/packaged" -q >"$temporary/played"
  [ "$(find "$temporary/packaged" -type f -size +0 | wc -l)" = 2 ] || fail "the packaged program does not play two streams"
  quietly $in_root --purge zdr
  left=$(find "$unpacked" -path "$unpacked/var" -prune -o ! -path "$unpacked" -print)
  [ -z "$left" ] || fail "the package leaves $left"
fi
echo "install: program, module, documents, headers, libraries, examples and package work from where they were put"
