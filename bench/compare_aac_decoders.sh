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
# Prints the user time of a command, the best of three.
seconds() {
  for _ in 1 2 3; do
    { bash -c 'TIMEFORMAT=%U; time "$@" >/dev/null 2>&1' - "$@"; } 2>&1
  done | sort -n | head -1
}
# report NAME COMMAND ...: prints the speed of a command that decodes the file FILE. The start of a program, 0.1 s for ffmpeg,
# would be a fifth of the time or more; it is not in the difference between runs over one copy of the sound and over eleven.
# Reading the file is; ours decodes frames that are in memory.
report() {
  local name=$1 once eleven_times
  shift
  once=$(seconds "${@/FILE/"$file"}")
  eleven_times=$(seconds "${@/FILE/"$work/long.aac"}")
  awk -v name="$name" -v sound="$sound" -v seconds="$eleven_times $once" '
    BEGIN {split(seconds, time, " "); printf "  %-22s %7.0f x real time\n", name, 10 * sound / (time[1] - time[2])}'
}

for file; do
  sound=$(length "$file")
  echo "$(basename "$file"), $sound s"
  for _ in {1..11}; do cat "$file"; done >"$work/long.aac"
  # Decodes at every level that the processor has, the highest first; the best of three as well.
  for level in 2:AVX2 1:SSE4.1 0:base; do
    ZDR_BENCH_AAC=$file "$bin/aac_decode_bench" --benchmark_filter="decode_file/lc/level:${level%:*}\$" \
      --benchmark_format=console --benchmark_min_time=0.4 --benchmark_repetitions=3 2>/dev/null |
      grep -v '_\(mean\|median\|stddev\|cv\)' | sed -n 's/.*x_real_time=\([0-9.]*\)\(k*\).*/\1 \2/p' |
      awk -v level="${level#*:}" '
        {speed = $1 * ($2 == "k" ? 1000 : 1); if (speed > best) best = speed}
        END {if (NR > 0) printf "  %-22s %7.0f x real time\n", "ours, " level, best}'
  done
  for decoder in aac aac_fixed; do
    report "ffmpeg $decoder" ffmpeg -nostdin -threads 1 -c:a $decoder -i FILE -f null -
  done
  if command -v faad >/dev/null; then report faad faad -q -o /dev/null FILE; fi
done
