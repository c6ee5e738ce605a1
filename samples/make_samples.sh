#!/bin/sh
# Makes the files of this folder with ffmpeg (Debian: ffmpeg libavcodec-extra). Pictures and sound come from ffmpeg's
# generators, so the files belong to the project. The result depends on the versions of the encoders: tests use the
# committed files.
set -eu
cd "$(dirname "$0")"
ff() { ffmpeg -nostdin -loglevel error -y -fflags +bitexact "$@"; }

# H.263 + AMR, the classic phone clip.
ff -f lavfi -i testsrc2=s=176x144:r=15:d=4 -f lavfi -i "sine=440:r=8000:d=4" \
   -c:v h263 -b:v 96k -g 30 -c:a libopencore_amrnb -b:a 12.2k -ac 1 h263-amr.3gp
# MPEG-4 visual + AMR-WB.
ff -f lavfi -i testsrc2=s=176x144:r=15:d=4 -f lavfi -i "sine=300:r=16000:d=4" \
   -c:v mpeg4 -b:v 96k -g 30 -c:a libvo_amrwbenc -b:a 23.85k -ac 1 mpeg4-amrwb.3gp
# AVC with B-frames, no audio.
ff -f lavfi -i testsrc2=s=320x180:r=25:d=4 -c:v libx264 -threads 1 -b:v 150k -bf 2 -g 50 -pix_fmt yuv420p avc-bframes.mp4
# AVC with B-frames and AAC.
ff -f lavfi -i testsrc2=s=320x180:r=25:d=4 -f lavfi -i "sine=500:r=44100:d=4" \
   -c:v libx264 -threads 1 -b:v 120k -bf 2 -g 50 -pix_fmt yuv420p -c:a aac -b:a 48k -ac 2 avc-aac.mp4
# AC-3 and E-AC-3, no video.
ff -f lavfi -i "sine=600:r=48000:d=3" -c:a ac3 -b:a 128k -ac 2 ac3.mp4
ff -f lavfi -i "sine=600:r=48000:d=3" -c:a eac3 -b:a 96k -ac 2 eac3.mp4
# Two video and two audio tracks; the first of each is played.
ff -f lavfi -i testsrc2=s=128x96:r=10:d=3 -f lavfi -i smptebars=s=128x96:r=10:d=3 \
   -f lavfi -i "sine=440:r=8000:d=3" -f lavfi -i "sine=880:r=8000:d=3" -map 0 -map 1 -map 2 -map 3 \
   -c:v mpeg4 -b:v 48k -g 10 -c:a libopencore_amrnb -b:a 7.95k -ac 1 two-tracks.3gp
# moov before mdat (after it in the others).
ff -f lavfi -i testsrc2=s=176x144:r=15:d=3 -f lavfi -i "sine=440:r=8000:d=3" \
   -c:v h263 -b:v 64k -g 15 -c:a libopencore_amrnb -b:a 5.9k -ac 1 -movflags +faststart moov-first.3gp

# AMR and AMR-WB speech files. The last frame of the first file would form a group of its own, which is never delivered.
ff -f lavfi -i "sine=440:r=8000:d=3" -c:a libopencore_amrnb -b:a 12.2k -ac 1 amr-nb.amr
ff -f lavfi -i "sine=300:r=16000:d=2.5" -c:a libvo_amrwbenc -b:a 12.65k -ac 1 -f amr amr-wb.awb

# AAC elementary streams. Tones, noise bursts and a common part of both channels make the encoder use long and short
# windows, TNS, M/S and intensity stereo and noise substitution.
aac_source="aevalsrc='0.3*sin(2*PI*(300+900*t)*t)+0.2*sin(2*PI*2500*t)+0.5*(random(0)-0.5)*lt(mod(t,0.3),0.02)\
|0.3*sin(2*PI*(300+900*t)*t)+0.2*sin(2*PI*700*t)+0.5*(random(1)-0.5)*lt(mod(t,0.2),0.02)'"
ff -f lavfi -i "$aac_source:s=44100:d=1.2" -c:a aac -b:a 128k aac-lc-44k-stereo.aac
ff -f lavfi -i "$aac_source:s=8000:d=2" -ac 1 -c:a aac -b:a 16k aac-lc-8k-mono.aac
ff -f lavfi -i "$aac_source:s=96000:d=0.4" -c:a aac -b:a 160k aac-lc-96k-stereo.aac
# Long term prediction, SBR and parametric stereo, which ffmpeg's encoder hardly uses: make_aac_streams.cpp adds them to its
# LC streams. Build it with "ninja -C BUILD make_aac_streams"; ZDR_BUILD names the folder (default: ../build/release).
maker=${ZDR_BUILD:-../build/release}/bin/make_aac_streams
core=$(mktemp --suffix=.aac)
add() { ff -f lavfi -i "$aac_source:s=$3:d=$4" -ac "$5" -af volume=0.4 -c:a aac -b:a "$6" "$core" && "$maker" "$1" "$core" "$2"; }
add ltp aac-ltp-44k-stereo.aac 44100 1.6 2 72k
add sbr he-aac-v1-stereo.aac 22050 1.8 2 32k
add sbr he-aac-v1-mono.aac 12000 2.5 1 12k
add ps he-aac-v2.aac 22050 2.2 1 20k
# SBR headers that leave their optional fields out.
add sbr-short he-aac-v1-mono-short-headers.aac 12000 1.5 1 12k
add ps-short he-aac-v2-short-headers.aac 22050 1.2 1 20k
rm "$core"
