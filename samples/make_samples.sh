#!/bin/sh
# Makes the ISO media samples of this folder anew with ffmpeg (Debian: ffmpeg libavcodec-extra). Pictures and sound
# are ffmpeg's own generators, so the files are the project's own. Run it here; the result depends on the
# encoders' versions, so the committed files are what the tests use.
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
# Two tracks of a kind: two video and two audio tracks; the first of each is played.
ff -f lavfi -i testsrc2=s=128x96:r=10:d=3 -f lavfi -i smptebars=s=128x96:r=10:d=3 \
   -f lavfi -i "sine=440:r=8000:d=3" -f lavfi -i "sine=880:r=8000:d=3" -map 0 -map 1 -map 2 -map 3 \
   -c:v mpeg4 -b:v 48k -g 10 -c:a libopencore_amrnb -b:a 7.95k -ac 1 two-tracks.3gp
# moov in front of mdat (the others have it behind).
ff -f lavfi -i testsrc2=s=176x144:r=15:d=3 -f lavfi -i "sine=440:r=8000:d=3" \
   -c:v h263 -b:v 64k -g 15 -c:a libopencore_amrnb -b:a 5.9k -ac 1 -movflags +faststart moov-first.3gp
