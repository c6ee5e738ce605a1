#!/usr/bin/env python3
"""Makes single allocations of `zdr` fail, once and lastingly, and checks how each run ends.

    memory_sweep.py [--step N] [--offset N] [--only TEXT] PROGRAM FAILING_MALLOC.so SAMPLES

Runs every command over a file of each family. A run is at fault if it ends in another way than with a documented exit
code, runs too long, fails without a message, prints JSON that cannot be parsed, leaves a file of a name that the
undisturbed run does not write (except NAME.part), has other bytes under a final name, or exits with 0 though something
that the undisturbed run prints or writes is missing. Every allocation fails in turn with the default step of 1, which
takes minutes; with a larger one, a sample of them. Prints a table of the exit codes, then the runs at fault.
"""
import argparse
import collections
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from preload import preload

DOCUMENTED = {0, 1, 3, 4, 5}
FILES = ["avc-aac.mp4", "h263-amr.3gp", "mpeg4-amrwb.3gp", "ac3.mp4", "amr-nb.amr", "he-aac-v2.aac"]
MOVIES = FILES[:3]
TAGGED = "tagged.aac"  # made here
COMMANDS = [
    (["info", "--full", "--exact"], [*FILES, TAGGED]), (["info", "--json"], [*FILES, TAGGED]),
    (["play"], FILES), (["play", "--json"], FILES),
    (["play", "--decode"], FILES[:1]),
    (["play", "--start", "1"], FILES[:2]),
    (["samples"], FILES), (["samples", "--json"], FILES[:1]),
    (["boxes"], MOVIES), (["boxes", "--json"], MOVIES),
    (["keyframe", "1"], MOVIES), (["keyframes", "--json"], MOVIES[:1]), (["keyframe", "--all", "-o", "."], MOVIES[:1]), (["keyframe", "1", "--json"], MOVIES[:1]),
    (["verify", "--json", "--hash", "md5"], FILES),
    (["register"], [None]), (["registry"], [None]),
]
MEMORY_DISK = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # syncs take no time there
SECONDS = 10  # a run takes a fraction of one; a hang would be given up by the program after 30


def write_tagged(path, stream):
    """Writes an AAC file with an ID3 tag in front: a title and a picture."""
    frames = [(b"TIT2", b"\0Song"), (b"APIC", b"\0image/png\0\3\0\x89PNG\r\n\x1a\n" + bytes(9))]
    body = b"".join(kind + len(content).to_bytes(4, "big") + bytes(2) + content for kind, content in frames)
    path.write_bytes(b"ID3\3\0\0" + bytes((len(body) >> shift) & 127 for shift in (21, 14, 7, 0)) + body + stream)


def content(folder):
    """The files of a run: those that it printed, and those that it wrote."""
    return {path.name: path.read_bytes() for path in folder.iterdir() if path.is_file()}


def is_json(text, status):
    """True if each line, or the whole, is an object that states no other exit code."""
    try:
        parts = [json.loads(part) for part in (text.splitlines() if text.startswith(b'{"') else [text])]
        return all(part.get("exit_code", status) == status for part in parts)
    except ValueError:
        return not text


def faults(status, found, whole, command):
    """What is wrong with a run that left the files `found`; `whole` are those of the undisturbed run."""
    if status < 0:
        yield "does not end" if status == -9 else f"ended by signal {-status}"
        return
    if status not in DOCUMENTED:
        yield f"exit code {status}"
    if status != 0 and not found["err"]:
        yield "fails without a message"
    if "--json" in command and not is_json(found["out"], status):
        yield "broken JSON"
    for name in sorted(found.keys() | whole.keys()):
        if name in ("out", "err") or name.startswith("registry.reg"):
            continue
        if name not in whole and name.removesuffix(".part") not in whole:
            yield f"a file {name}"
        elif name in found and name in whole and found[name] != whole[name]:
            yield f"other bytes in {name}"
        elif name not in found and status == 0:
            yield f"exit code 0 without {name}"
    if status == 0 and found["out"] != whole["out"]:
        yield "exit code 0, but prints something else"


def sweep(arguments, command, mode):
    """Runs one command with failing allocations. Returns the statuses and the faults by allocation."""
    folder = pathlib.Path(tempfile.mkdtemp(dir=MEMORY_DISK))
    environment = {**os.environ, **preload(arguments.failing_malloc), "LC_ALL": "C"}
    statuses, problems, whole, first = collections.Counter(), [], {}, 0
    try:
        while True:
            plan = f"{first} {arguments.step if first else 1} {first + 99 * arguments.step if first else 0}"
            environment["FAILING_MALLOC"] = f"{plan} {mode} {SECONDS}"
            runs = subprocess.run([arguments.program.resolve(), *command], cwd=folder, env=environment, check=True,
                                  capture_output=True, text=True).stdout.split("\n")[:-1]
            reached = True
            for number, status, count, _ in (map(int, line.split()) for line in runs):
                found = content(folder / str(number))
                if number == 0:
                    whole = found
                    assert status == 0, found["err"]
                    continue
                reached = number <= count
                if not reached:
                    break
                statuses[status] += 1
                for problem in faults(status, found, whole, command):
                    problems.append((number, problem, found.get("err", b"").decode(errors="replace").strip()))
                shutil.rmtree(folder / str(number))
            if not reached:
                return statuses, problems
            first = number + arguments.step if number else 1 + arguments.offset % arguments.step
    finally:
        shutil.rmtree(folder)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--step", type=int, default=1)
    parser.add_argument("--offset", type=int, default=0)
    parser.add_argument("--only", default="")
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("failing_malloc", type=pathlib.Path)
    parser.add_argument("samples", type=pathlib.Path)
    arguments = parser.parse_args()
    at_fault = 0
    made = pathlib.Path(tempfile.mkdtemp(dir=MEMORY_DISK))
    write_tagged(made / TAGGED, (arguments.samples / "he-aac-v2.aac").read_bytes())
    for command, files in COMMANDS:
        for file in files:
            name = " ".join([*command, file or ""]).strip()
            if arguments.only not in name:
                continue
            folder = made if file == TAGGED else arguments.samples.resolve()
            words = [command[0], str(folder / file), *command[1:]] if file else command
            for mode in ("once", "lasting"):
                statuses, problems = sweep(arguments, words, mode)
                table = ", ".join(f"{status}: {count}" for status, count in sorted(statuses.items()))
                print(f"{name:32} {mode:8} {sum(statuses.values()):6} runs  {table}  at fault: {len(problems)}", flush=True)
                seen = collections.Counter((problem, message[-120:]) for _, problem, message in problems)
                for number, problem, message in problems:
                    if times := seen.pop((problem, message[-120:]), 0):
                        print(f"    allocation {number}: {problem} ({times} times) {message[-120:]!r}", flush=True)
                at_fault += len(problems)
    shutil.rmtree(made)
    print(f"{at_fault} runs at fault")
    return 1 if at_fault else 0


if __name__ == "__main__":
    sys.exit(main())
