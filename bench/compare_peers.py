#!/usr/bin/env python3
"""compare_peers.py BIN: runs this project's programs and ffprobe or ffmpeg alternately on generated files, and compares them.

BIN is the folder of the benchmark programs (build/release/bin after configuring with -DZDR_BENCH=ON). Prints tables as in
docs/benchmarks.md. The generated files take 1.2 GB in the folder for temporary files while the program runs.
"""
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 5
COUNTS = (5_000, 1_500_000, 15_503_906)


def run(command):
    """Returns the seconds and the peak memory in KiB of a process."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    output = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.perf_counter() - begin
    if status != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}")
    # The peak that the system reports includes the parent process; our programs print their own.
    own = re.search(rb"VmHWM:\s*(\d+) kB", output)
    return seconds, int(own[1]) if own else usage.ru_maxrss


def compare(ours, theirs):
    """Returns the medians of both commands, run alternately."""
    pairs = [(run(ours), run(theirs)) for _ in range(ROUNDS)]
    return [[statistics.median(values) for values in zip(*column)] for column in zip(*pairs)]


def row(label, ours, theirs):
    (seconds, memory), (their_seconds, their_memory) = compare(ours, theirs)
    print(f"| {label} | {seconds * 1e3:.1f} ms | {their_seconds * 1e3:.1f} ms | {their_seconds / seconds:.1f} "
          f"| {memory / 1024:.1f} MiB | {their_memory / 1024:.1f} MiB |", flush=True)


def head(ours, theirs):
    print(f"\n| file | {ours} | {theirs} | ratio | peak memory | theirs |\n|---|---|---|---|---|---|")


def main():
    programs = pathlib.Path(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="zdr-bench-") as folder:
        files = {count: pathlib.Path(folder) / f"{count}.mp4" for count in (*COUNTS, 0)}
        for count, path in files.items():
            run([programs / "make_movie", str(count), path])
        head("list_tracks", "ffprobe -show_streams")
        for count in COUNTS:
            row(f"{count} samples", [programs / "list_tracks", files[count]],
                ["ffprobe", "-v", "error", "-show_streams", files[count]])
        head("play_to_nothing", "ffmpeg -c copy -f null")
        for count in (*COUNTS, 0):
            row(f"{count} samples" if count else "1 GB of pictures", [programs / "play_to_nothing", files[count]],
                ["ffmpeg", "-v", "error", "-i", files[count], "-c", "copy", "-f", "null", "-"])


if __name__ == "__main__":
    main()
