#!/usr/bin/env bash
# bench/compare_aac_decoders.sh BIN [FILE.aac ...]: seconds of audio that each decoder produces per second of processor
# time: ours (BIN contains aac_decode_bench), the two of ffmpeg, and faad where it is installed. The files are ADTS. Without
# files, it uses two minutes of LC at 44.1 kHz stereo, 128 kbit/s, encoded with ffmpeg.
set -eu
bin=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ $# -eq 0 ]; then
  ffmpeg -nostdin -loglevel error -y -f lavfi -i "aevalsrc='0.2*sin(2*PI*(300+90*sin(t))*t)+0.1*sin(2*PI*2500*t)+\
0.3*(random(0)-0.5)*lt(mod(t,0.3),0.02)+0.05*(random(2)-0.5)|0.2*sin(2*PI*(300+90*sin(t))*t)+0.1*sin(2*PI*700*t)+\
0.3*(random(1)-0.5)*lt(mod(t,0.2),0.02)+0.05*(random(3)-0.5)':s=44100:d=120" -c:a aac -b:a 128k "$work/lc.aac"
  set -- "$work/lc.aac"
fi

# Prints the duration of a file in seconds.
length() {
  ffmpeg -nostdin -i "$1" -f null - 2>&1 | tr '\r' '\n' | sed -n 's/.*time=\([0-9:.]*\).*/\1/p' | tail -1 |
    awk -F: '{print 3600 * $1 + 60 * $2 + $3}'
}
# Prints the user time of a command.
seconds() {
  { bash -c 'TIMEFORMAT=%U; time "$@" >/dev/null 2>&1' - "$@"; } 2>&1
}
# keep_best NAME VALUE: the smallest value of a name.
declare -A best
keep_best() {
  if [ -z "${best[$1]:-}" ] || awk "BEGIN {exit !($2 < ${best[$1]})}"; then best[$1]=$2; fi
}
# run_peer NAME COMMAND ...: times a command that decodes the file FILE, over one copy of the sound and over twelve. The
# start of a program, 0.1 s for ffmpeg, would be a tenth of the time or more; it is not in the difference. Reading the file
# is; ours decodes frames that are in memory.
run_peer() {
  local name=$1
  shift
  keep_best "$name once" "$(seconds "${@/FILE/"$file"}")"
  keep_best "$name long" "$(seconds "${@/FILE/"$work/long.aac"}")"
}
# run_ours LEVEL: the seconds that one copy takes.
run_ours() {
  ZDR_BENCH_AAC=$file "$bin/aac_decode_bench" --benchmark_filter="decode_file/lc/level:$1\$" --benchmark_format=console \
    --benchmark_min_time=0.3 2>/dev/null |
    sed -n 's/.*x_real_time=\([0-9.]*\)\(k*\).*/\1 \2/p' |
    awk -v sound="$sound" '{print sound / ($1 * ($2 == "k" ? 1000 : 1))}'
}
report() {
  awk -v name="$1" -v sound="$sound" -v seconds="$2" 'BEGIN {printf "  %-22s %7.0f x real time\n", name, sound / seconds}'
}

peers=("ffmpeg aac" "ffmpeg aac_fixed")
if command -v faad >/dev/null; then peers+=(faad); fi
for file; do
  sound=$(length "$file")
  echo "$(basename "$file"), $sound s"
  for _ in {1..12}; do cat "$file"; done >"$work/long.aac"
  best=()
  # All decoders in turn, five times, the best of each: other work on the machine then slows down none of them alone. Ours
  # runs at every level that the processor has.
  for _ in {1..5}; do
    for level in 2:AVX2 1:SSE4.1 0:base; do
      took=$(run_ours "${level%:*}")
      [ -z "$took" ] || keep_best "ours, ${level#*:}" "$took"
    done
    for peer in "${peers[@]}"; do
      case $peer in
        faad) run_peer faad faad -q -o /dev/null FILE ;;
        *) run_peer "$peer" ffmpeg -nostdin -threads 1 -c:a "${peer#ffmpeg }" -i FILE -f null - ;;
      esac
    done
  done
  for level in AVX2 SSE4.1 base; do
    [ -z "${best[ours, $level]:-}" ] || report "ours, $level" "${best[ours, $level]}"
  done
  for peer in "${peers[@]}"; do
    report "$peer" "$(awk "BEGIN {print (${best[$peer long]} - ${best[$peer once]}) / 11}")"
  done
done
