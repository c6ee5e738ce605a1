#!/bin/bash
# Runs the commands of a transcript in the current folder, and prints the transcript with what they print now.
#
#   run.sh TRANSCRIPT PROGRAM SAMPLES
#
# A command is a line that begins with "  $ ". After it come its standard output, its standard error and, unless it is 0,
# its exit code, indented by two spaces and without blank lines. The other lines are comments. All commands run in one
# shell, in which `zdr` is the program, and @NAME a file of the samples. After an intended change of the output, read what
# the failed test left as NAME.printed, and put it in the place of the transcript.
transcript=$1
bin=$(dirname "$2")
control=$(mktemp -d /tmp/XXXXXXXX) && trap 'rm -r "$control"' EXIT
# Names without blanks, wherever the program, the samples and TMPDIR are.
samples=$control/samples program=$control/zdr failing_files=$control/failing_files.so
ln -s "$3" "$samples" && ln -s "$2" "$program" && ln -s "$bin/libzdr_failing_files.so" "$failing_files"
zdr() { timeout 60 "$program" "$@"; }
umask 022
chmod go-w .
export LC_ALL=C ZDR_REGISTRY=$PWD/registry.reg
unset NO_COLOR ZDR_MODULE

# Escapes a path for use in a pattern of sed.
pattern() { printf '%s' "$1" | sed 's/[][\.*^$|]/\\&/g'; }

mapfile -t lines < "$transcript"
for line in "${lines[@]}"; do
  [[ $line != "  "* || $line == "  $ "* ]] && printf '%s\n' "$line"
  [[ $line == "  $ "* ]] || continue
  command=${line:4}
  eval "${command// @/ $samples/}" > "$control/out" 2> "$control/err" < /dev/null
  code=$?
  for stream in out err; do
    sed -e '/^$/d' -e "s|$samples/|@|g; s|$(pattern "$bin")/|bin/|g; s|$(pattern "$PWD")\([/ ]\)|.\1|g" -e 's/^/  /' \
      -e '$a\' "$control/$stream"
  done
  ((code == 0)) || echo "  exit code $code"
done
