# shellcheck shell=bash
# What the scripts share that build for other processors. They source it in the root of the tree.

# Flags and compilers that suit the processor here, such as its linker, do not suit the others.
unset CC CXX CFLAGS CXXFLAGS CPPFLAGS LDFLAGS

# Each argument is PROBE:PACKAGE. The package is installed unless the probe, a command or an absolute file name, exists.
install_missing() {
  local need packages=
  for need; do
    case $need in
      /*) [ -e "${need%:*}" ] || packages+=" ${need##*:}" ;;
      *) command -v "${need%:*}" >/dev/null || packages+=" ${need##*:}" ;;
    esac
  done
  # shellcheck disable=SC2086
  [ -z "$packages" ] || { apt-get -qq update && apt-get -qq install -y --no-install-recommends $packages >/dev/null; } ||
    { echo "to install$packages takes root and a network"; exit 1; }
}

# Runs a command, whose output is shown only if it fails.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
quietly() { "$@" >"$log" 2>&1 || { cat "$log"; exit 1; }; }

# "N tests passed of M", after ctest.
tests_passed() { sed -n 's/tests passed.* out of/tests passed of/p' "$log"; }
