#!/bin/bash
# Runs the two commands of the README and the Debian package on a machine that has nothing: a bare Debian 12 in a
# temporary root, and a clone in a folder whose name has a blank and an umlaut.
#
#     bare_machine.sh           builds and plays; makes, installs, uses and removes the Debian package
#     bare_machine.sh --check   then runs ./check as well
#
# Needs root, debootstrap and a Debian mirror (DEBIAN_MIRROR; default http://deb.debian.org/debian).
set -euo pipefail
cd "$(dirname "$0")/../.."
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
command -v debootstrap >/dev/null ||
  { apt-get -qq update && apt-get -qq install -y --no-install-recommends debootstrap; }

root=$(mktemp -d)
cleanup() {
  umount "$root/proc" "$root/dev/pts" 2>/dev/null || true
  rm -rf --one-file-system "$root"
  rm -f "$root.log"
}
trap cleanup EXIT

debootstrap --variant=minbase bookworm "$root" "$mirror" >"$root.log" 2>&1 ||
  { tail -5 "$root.log"; exit 1; }
mount -t proc proc "$root/proc"
mount --bind /dev/pts "$root/dev/pts"  # tests of the terminal
source="/root/zdr source ü"
git clone -q . "$root$source"

# Runs a command in the clone with an empty environment, as after a first login.
on_bare_machine() {
  chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin /bin/sh -c "cd '$source' && $1"
}

# The commands as the README shows them, without their comments.
play=$(sed -n 's|^    \(\./zdr play [^#]*\)#.*|\1|p' README.md)
check=$(sed -n 's|^    \(\./check\) *#.*|\1|p' README.md)
on_bare_machine "$play"
for written in out/h263-amr.Audio0.amr out/h263-amr.Video0.h263; do
  [ -s "$root$source/$written" ] || { echo "bare machine: $written was not written"; exit 1; }
done

# The Debian package, with its dependencies, in the library folder of the distribution.
on_bare_machine "cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr && cmake --build --preset release &&
                 cpack -G DEB --config build/release/CPackConfig.cmake -B /root/package" >"$root.log" 2>&1 ||
  { tail -20 "$root.log"; exit 1; }
on_bare_machine "apt-get -qq install -y /root/package/zdr_*.deb >/dev/null 2>&1
                 cp samples/two-tracks.3gp /root && cd /root && zdr play two-tracks.3gp -o packaged"
for place in usr/bin/zdr usr/lib/*-linux-gnu/zdr/ZdrMp4Source.so usr/include/zdr usr/share/doc/ZdrMp4Source; do
  [ -e "$root/"$place ] || { echo "bare machine: the package has no $place"; exit 1; }
done
on_bare_machine "apt-get -qq purge -y zdr >/dev/null 2>&1"
left=$(find "$root/usr" -iname '*zdr*')
[ -z "$left" ] || { echo "bare machine: the package leaves $left"; exit 1; }

[ "${1:-}" != --check ] || on_bare_machine "$check"
echo "bare machine: the commands of the README work in '$source', and the package installs, plays and is removed"
