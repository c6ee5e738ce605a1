#!/usr/bin/env python3
"""Makes single reads of a media file, and single steps of writing an output, fail, and checks how `zdr` ends.

    io_sweep.py [--step N] PROGRAM FAILING_FILES.so SAMPLES

Every read fails in turn, once and lastingly, and the file is shortened before it, to nothing and to half. Every write,
fsync and rename of an output fails likewise, and the disk is full after each number of bytes near the ends of an output.
A run is at fault if it does not end, ends with a code that is not documented, exits with 0 without all that the
undisturbed run prints and writes, fails without a message, leaves other bytes under a final name, or leaves a partial
.wav whose header has other sizes than the file (or, if all later writes fail, none). Prints a table of the exit codes, then the runs at fault.
"""
import argparse
import collections
import concurrent.futures
import errno
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from preload import preload

MOVIES, FILES = ["avc-aac.mp4", "moov-first.3gp"], ["amr-nb.amr", "aac-lc-8k-mono.aac"]
READS = [(["info"], MOVIES + FILES), (["play"], MOVIES + FILES), (["play", "--decode"], MOVIES[:1]),
         (["play", "--start", "1"], MOVIES + FILES), (["samples"], MOVIES + FILES), (["boxes"], MOVIES),
         (["keyframe", "1"], MOVIES), (["keyframes"], MOVIES),
         (["verify", "--json", "--hash", "md5"], MOVIES + FILES)]
WRITES = [(["play"], MOVIES[1:] + FILES), (["play", "--decode"], MOVIES[:1]), (["keyframe", "1"], MOVIES[1:])]
FULL = [(["play"], FILES), (["keyframe", "1"], MOVIES[1:])]
CODES = {0, 1, 3, 4, 5}
SECONDS = 20

Run = collections.namedtuple("Run", "code out err files calls")


def run(command, name, plan=None, limit=None):
    """Runs a command on a copy of a sample in a folder of its own."""
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(options.samples / name, folder)
        calls = pathlib.Path(folder) / "calls"
        environment = dict(os.environ, ZDR_REGISTRY=folder + "/registry.reg", LC_ALL="C",
                           ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0")
        if plan:
            environment |= {**preload(options.library), "FAILING_FILES": plan, "FAILING_FILES_LOG": str(calls)}
        line = [options.program, command[0], name, *command[1:]]
        if limit:
            line = ["prlimit", f"--fsize={limit}", *line]
        try:
            done = subprocess.run(line, cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                                  timeout=SECONDS)
        except subprocess.TimeoutExpired:
            return Run(None, b"", b"", {}, 0)
        count = int(calls.read_text() or 0) if calls.exists() else 0
        files = {path.name: path.read_bytes() for path in pathlib.Path(folder).iterdir()
                 if path.name not in (name, "calls")}
        return Run(done.returncode, done.stdout, done.stderr, files, count)


def faults(result, whole, is_lasting):
    if result.code is None:
        yield "does not end"
        return
    if result.code not in CODES:
        yield f"exit code {result.code}"
    if result.code == 0 and (result.out, result.files) != (whole.out, whole.files):
        yield "0, although something is missing"
    if result.code != 0 and not result.err:
        yield "fails without a message"
    for name, content in result.files.items():
        if not name.endswith(".part") and content != whole.files.get(name):
            yield f"{name} has other bytes"
        if name.endswith(".wav.part") and len(content) >= 44:
            size = int.from_bytes(content[40:44], "little")
            if size != len(content) - 44 and not (is_lasting and size == 0xFFFFFFFF):
                yield f"{name} has {len(content)} bytes and a header for {size}"


def count_calls(command, name, what):
    """How many of these calls a run makes. None means that the library is not loaded."""
    count = run(command, name, f"{what} 0 1 0").calls
    if count == 0:
        sys.exit(f"no call of '{what}' was seen in {' '.join(command)} {name}: is {options.library} loaded?")
    return count


def cases():
    """Yields (row of the table, command, file, plan, limit)."""
    for command, names in READS:
        for name in names:
            count = count_calls(command, name, f"read {name}")
            half = (options.samples / name).stat().st_size // 2
            for number in range(1, count + 1, options.step):
                for mode, rest in (("once", f"1 {errno.EIO}"), ("lasting", f"0 {errno.EIO}"),
                                   ("emptied", "1 shorten 0"), ("halved", f"1 shorten {half}")):
                    yield f"read {mode}", command, name, f"read {name} {number} {rest}", None
    for command, names in WRITES:
        for name in names:
            for call, error in (("write", errno.ENOSPC), ("sync", errno.EIO), ("rename", errno.EACCES)):
                count = count_calls(command, name, f"{call} .part")
                for number in range(1, count + 1):
                    yield f"{call} once", command, name, f"{call} .part {number} 1 {error}", None
                    yield f"{call} lasting", command, name, f"{call} .part {number} 0 {error}", None
    for command, names in FULL:
        for name in names:
            size = max(len(content) for content in run(command, name).files.values())
            for limit in sorted({*range(1, 64), *range(64, size, 64 * options.step), *range(size - 64, size)}):
                yield "disk full", command, name, None, limit


def main():
    table, found = collections.defaultdict(collections.Counter), []
    whole = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        todo = list(cases())
        for command, name in {(tuple(command), name) for _, command, name, _, _ in todo}:
            whole[command, name] = run(command, name)
            if whole[command, name].code != 0:
                found.append(f"{' '.join(command)} {name}: undisturbed, it ends with {whole[command, name].code}")
        results = pool.map(lambda case: run(*case[1:]), todo)
        for (row, command, name, plan, limit), result in zip(todo, results):
            table[row, " ".join(command), name][result.code] += 1
            for fault in faults(result, whole[tuple(command), name], "lasting" in row):
                found.append(f"{' '.join(command)} {name}: {plan or limit}: {fault}")
    for (row, command, name), codes in table.items():
        counts = "  ".join(f"{code}: {count}" for code, count in sorted(codes.items(), key=str))
        print(f"{row:15} {command:16} {name:20} {sum(codes.values()):4} runs   {counts}")
    print("\n".join(found) or f"{sum(sum(codes.values()) for codes in table.values())} runs, none at fault")
    return 1 if found else 0


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--step", type=int, default=1)
    parser.add_argument("program", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("library", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("samples", type=lambda text: pathlib.Path(text).resolve())
    options = parser.parse_args()
    sys.exit(main())
