#!/usr/bin/env python3
"""Measures the memory that `zdr` takes for files made to cost much of it.

    memory_bound.py [--size KIB] [--worst] [--only TEXT] PROGRAM FAILING_MALLOC.so

For each file of this size (default: 64) and each command, prints the peak above that of `zdr --version` in KiB, with the
exit code. Fails if a file of 64 KiB takes more than 8 MiB, a larger one more than 64 MiB and four times its size, or if a
run ends without a documented exit code. A run that the limit of the program ended is marked "r"; it must say so. With
--worst, runs only the files that take most for their size, each with the command that takes most for it.
"""
import argparse
import os
import pathlib
import struct
import subprocess
import sys
import tempfile

from preload import preload


def box(kind, *parts):
    content = b"".join(parts)
    return struct.pack(">I4s", len(content) + 8, kind) + content


def full_box(kind, *parts):
    return box(kind, bytes(4), *parts)


def filled(size, item, *around):
    """As many copies of `item` as fit beside what is around them."""
    return item * ((size - sum(map(len, around))) // len(item))


def nest(kinds, content):
    for kind in reversed(kinds):
        content = box(kind, content)
    return content


def nested(kind, depth):
    return b"".join(struct.pack(">I4s", 8 * level, kind) for level in range(depth, 0, -1))


def table(kind, size, entry):
    count = size // len(entry)
    return full_box(kind, struct.pack(">I", count), entry * count)


FTYP = box(b"ftyp", b"isom", bytes(4))
MVHD = full_box(b"mvhd", bytes(8), struct.pack(">II", 1000, 1000), bytes(80))
MDHD = full_box(b"mdhd", bytes(8), struct.pack(">II", 1000, 160), bytes(4))
TKHD = full_box(b"tkhd", bytes(8), struct.pack(">II", 1, 0), struct.pack(">I", 1000), bytes(60))
STBL = [b"moov", b"trak", b"mdia", b"minf", b"stbl"]


def handler(kind):
    return full_box(b"hdlr", bytes(4), kind, bytes(13))


def movie(size, stbl, more=b""):
    """A movie with one AMR track whose sample tables are `stbl` and then `more`, filled up to the size with media."""
    entry = box(b"samr", bytes(6), b"\0\1", bytes(8), b"\0\2\0\20", bytes(4), struct.pack(">I", 8000 << 16),
                box(b"damr", b"ZDRX", bytes(1), b"\x81\xff", b"\0\1"))
    tables = full_box(b"stsd", struct.pack(">I", 1), entry) + stbl
    dinf = box(b"dinf", full_box(b"dref", struct.pack(">I", 1), full_box(b"url ")))
    media = box(b"mdia", MDHD, handler(b"soun"), box(b"minf", full_box(b"smhd", bytes(4)), dinf, box(b"stbl", tables)))
    front = FTYP + box(b"moov", MVHD, box(b"trak", TKHD, media), more)
    return front + box(b"mdat", bytes(max(0, size - len(front) - 8)))


def samples_of_one_byte(size):
    count = size // 9
    stsc = full_box(b"stsc", struct.pack(">IIII", 1, 1, 1, 1))
    return movie(size, table(b"stts", 8, struct.pack(">II", count, 160)) + stsc +
                 full_box(b"stsz", struct.pack(">II", 0, count), b"\0\0\0\1" * count) +
                 full_box(b"stco", struct.pack(">I", count), b"\0\0\0\1" * count))


def one_large_sample(size):
    stsc = full_box(b"stsc", struct.pack(">IIII", 1, 1, 10, 1))
    return movie(size, full_box(b"stts", struct.pack(">III", 1, 10, 160)) + stsc +
                 full_box(b"stsz", struct.pack(">II", size - 1, 10)) + full_box(b"stco", struct.pack(">II", 1, 0)))


def large_configuration(size):
    """A video track whose AVC configuration has most of the bytes; its first sample has the others."""
    return video(b"avc1", box(b"avcC", b"\1\x42\0\x1f\xff\0\0", bytes(size // 2)), size)


def large_first_frame(size):
    """A video track with a single frame, which its media type repeats."""
    return video(b"s263", box(b"d263", b"ZDRX", bytes(3)), size)


def video(kind, configuration, size):
    entry = box(kind, bytes(6), b"\0\1", bytes(16), struct.pack(">HH", 176, 144), bytes(50), configuration)
    tables = full_box(b"stsd", struct.pack(">I", 1), entry) + full_box(b"stts", struct.pack(">III", 1, 1, 160))
    tables += full_box(b"stsc", struct.pack(">IIII", 1, 1, 1, 1))
    rest = max(8, size - len(tables) - 600)
    tables += full_box(b"stsz", struct.pack(">II", rest, 1))
    dinf = box(b"dinf", full_box(b"dref", struct.pack(">I", 1), full_box(b"url ")))

    def moov(offset):
        stbl = box(b"stbl", tables, full_box(b"stco", struct.pack(">II", 1, offset)))
        media = box(b"mdia", MDHD, handler(b"vide"), box(b"minf", full_box(b"vmhd", bytes(8)), dinf, stbl))
        return FTYP + box(b"moov", MVHD, box(b"trak", TKHD, media))
    return moov(len(moov(0)) + 8) + box(b"mdat", bytes(rest))


def movie_with(size, *path):
    """A movie that can be played, with as many copies of a box as fit at its place in moov."""
    *kinds, item = path
    stsc = full_box(b"stsc", struct.pack(">IIII", 1, 1, 1, 1))
    stbl = full_box(b"stts", struct.pack(">III", 1, 1, 160)) + stsc + full_box(b"stsz", struct.pack(">II", 1, 1))
    return movie(0, stbl + full_box(b"stco", struct.pack(">II", 1, 0)), nest(kinds, filled(size - 800, item)))


def id3_tag(body):
    return b"ID3\3\0\0" + bytes((len(body) >> shift) & 127 for shift in (21, 14, 7, 0)) + body


def id3_frame(kind, content):
    return kind + struct.pack(">IH", len(content), 0) + content


def id3(size, kind, content):
    """An AAC file whose tag has as many of these frames as fit."""
    return id3_tag(filled(size - 2000, id3_frame(kind, content))) + ADTS * 150


ADTS = bytes([0xFF, 0xF1, 0x50, 0x40, 0x01, 0x7F, 0xFC, 0, 0, 0, 7])  # a silent frame
TEXT = full_box(b"data", bytes(4), b"x")

FILES = {
    "empty-boxes.mp4": lambda size: FTYP + filled(size, box(b"free"), FTYP),
    "empty-in-movie.mp4": lambda size: movie_with(size, box(b"free")),
    "empty-containers.mp4": lambda size: movie_with(size, b"udta", box(b"meta")),
    "empty-movies.mp4": lambda size: FTYP + filled(size, box(b"moov"), FTYP),
    "nested.mp4": lambda size: FTYP + nested(b"moov", size // 8 - 2),
    "nested-traks.mp4": lambda size: FTYP + box(b"moov", nested(b"trak", size // 8 - 3)),
    "traks.mp4": lambda size: movie_with(size, box(b"trak")),
    "traks-with-headers.mp4": lambda size: movie_with(size, box(b"trak", TKHD)),
    "traks-with-handlers.mp4": lambda size: movie_with(size, box(b"trak", box(b"mdia", handler(b"vide")))),
    "traks-of-kinds.mp4": lambda size: movie_with(size, b"".join(
        box(b"trak", box(b"mdia", handler(struct.pack(">I", i)))) for i in range((size - 800) // 60))),
    "brands.mp4": lambda size: box(b"ftyp", b"isom", bytes(4), filled(size - 16, b"abcd")),
    "edits.mp4": lambda size: movie_with(size, b"trak", b"edts", table(b"elst", size - 1000, bytes(12))),
    "entries.mp4": lambda size: FTYP + nest(STBL, table(b"stsd", size - 300, box(b"mp4a"))),
    "references.mp4": lambda size: FTYP + nest([*STBL[:4], b"dinf"], table(b"dref", size - 300, full_box(b"url "))),
    "times.mp4": lambda size: FTYP + nest(STBL, table(b"stts", size - 300, struct.pack(">II", 1, 1))),
    "items.mp4": lambda size: movie_with(size, b"udta", full_box(b"meta", box(b"ilst", filled(
        size - 1000, box(b"\xa9nam", TEXT))))),
    "titles.mp4": lambda size: movie_with(size, b"udta", full_box(b"titl", b"\x15\xc7x\0")),
    "keywords.mp4": lambda size: movie_with(size, b"udta", full_box(b"kywd", b"\x15\xc7\xff", b"\1x" * 255)),
    "headers.mp4": lambda size: movie_with(size, b"trak", TKHD),
    "locations.mp4": lambda size: movie_with(size, b"udta", full_box(b"loci", b"\x15\xc7ab\0", bytes(15))),
    "cover.mp4": lambda size: movie_with(size, b"udta", full_box(b"meta", box(b"ilst", box(b"covr", full_box(
        b"data", bytes(4), b"\xff\xd8\xff", bytes(size - 1000)))))),
    "location.mp4": lambda size: movie_with(size, b"udta", full_box(b"loci", b"\x15\xc7", b"\xff" * (size - 1000))),
    "control-text.mp4": lambda size: movie_with(size, b"udta", full_box(b"titl", b"\x15\xc7", b"\1" * (size - 1000))),
    "wide-text.mp4": lambda size: movie_with(size, b"udta", full_box(
        b"titl", b"\x15\xc7\xfe\xff", b"\x20\xac" * (size // 2 - 500))),
    "texts.mp4": lambda size: movie_with(size, b"udta", b"".join(full_box(
        kind, b"\x15\xc7", b"\xff" * (size // 6 - 200)) for kind in (b"titl", b"dscp", b"cprt", b"perf", b"auth", b"gnre"))),
    "id3-text.mp4": lambda size: movie_with(size, full_box(b"meta", full_box(b"ID32", b"\x15\xc7", id3_tag(
        id3_frame(b"TIT2", b"\0" + b"x" * (size - 1200)))))),
    "sdp.mp4": lambda size: movie_with(size, b"trak", b"udta", b"hnti", box(b"sdp ", b"x" * (size - 1000))),
    "references-of-track.mp4": lambda size: movie_with(size, b"trak", box(b"tref", bytes(size - 1000))),
    "object-descriptor.mp4": lambda size: movie_with(size, full_box(b"iods", bytes(size - 1000))),
    "configuration.mp4": large_configuration,
    "first-frame.mp4": large_first_frame,
    "invalid-text.mp4": lambda size: movie_with(size, b"udta", full_box(b"titl", b"\x15\xc7", b"\xff" * (size - 1000))),
    "short-invalid-texts.mp4": lambda size: movie_with(size, b"udta", full_box(b"titl", b"\x15\xc7", b"\xff" * 4096)),
    "samples-of-one-byte.mp4": samples_of_one_byte,
    "one-large-sample.mp4": one_large_sample,
    "frames.aac": lambda size: filled(size, ADTS),
    "tag.aac": lambda size: id3(size, b"TIT2", b"\0ab"),
    "text.aac": lambda size: id3(size, b"TIT2", b"\0" + b"\xe9" * (size - 2020)),
    "wide-text.aac": lambda size: id3(size, b"TIT2", b"\1\xff\xfe" + b"\x20\xac" * (size // 2 - 1010)),
    "comment.aac": lambda size: id3(size, b"COMM", b"\0eng\0" + b"x" * (size - 2020)),
    "texts.aac": lambda size: id3_tag(b"".join(id3_frame(kind, b"\0" + b"x" * (size // 4 - 1010)) for kind in (
        b"TIT2", b"TPE1", b"TALB", b"TYER"))) + ADTS * 150,
    "picture.aac": lambda size: id3(size, b"APIC", b"\0image/jpeg\0\3\0\xff\xd8\xff" + bytes(size - 2030)),
    "noise.aac": lambda size: ADTS * 2 + bytes(i * i >> 3 & 255 for i in range(4096)) * (size // 4096 - 1),
    "frames.amr": lambda size: b"#!AMR\n" + b"\x7c" * (size - 6),
    "frames.awb": lambda size: b"#!AMR-WB\n" + b"\x7c" * (size - 9),
    "zeros.mp4": lambda size: bytes(size),
}
COMMANDS = [["info", "--json"], ["info"], ["boxes", "--json"], ["boxes"], ["samples"], ["play", "--decode"],
            ["keyframe", "1"]]


# Files with the command that takes most for them.
WORST = {"edits.mp4": COMMANDS[2], "headers.mp4": COMMANDS[3], "locations.mp4": COMMANDS[2], "texts.mp4": COMMANDS[0],
         "location.mp4": COMMANDS[1], "cover.mp4": COMMANDS[0], "invalid-text.mp4": COMMANDS[1], "first-frame.mp4": COMMANDS[4],
         "one-large-sample.mp4": COMMANDS[5], "text.aac": COMMANDS[1], "picture.aac": COMMANDS[0]}
# Of those, the files that the program may refuse. The others are shown or played.
REFUSED = {"first-frame.mp4", "one-large-sample.mp4", "text.aac"}
DOCUMENTED = {0, 1, 2, 3, 4, 5}


def peak_kib(arguments, command):
    """The exit code, the peak, and whether the limit of the program ended the run."""
    environment = {**os.environ, **preload(arguments.failing_malloc), "FAILING_MALLOC": "0 1 0 once 600"}
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run([arguments.program.resolve(), *command], cwd=folder, env=environment, check=True, capture_output=True)
        messages = pathlib.Path(folder, "0", "err").read_text(errors="replace")
    _, status, _, peak = map(int, run.stdout.split())
    return status, peak, "out of memory (limit: " in messages


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--size", type=int, default=64)
    parser.add_argument("--worst", action="store_true")
    parser.add_argument("--only", default="")
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("failing_malloc", type=pathlib.Path)
    arguments = parser.parse_args()
    limit = 8 * 1024 if arguments.size <= 64 else max(64 * 1024, 4 * arguments.size)
    empty = peak_kib(arguments, ["--version"])[1]
    at_fault = 0
    print(f"{'KiB above ' + str(empty):24} " + " ".join(f"{' '.join(command):>14}" for command in COMMANDS))
    with tempfile.TemporaryDirectory() as folder:
        for name, make in FILES.items():
            if arguments.only not in name or (arguments.worst and name not in WORST):
                continue
            path = pathlib.Path(folder, name)
            path.write_bytes(make(arguments.size * 1024))
            cells = []
            for command in COMMANDS:
                if arguments.worst and command != WORST[name]:
                    cells.append("")
                    continue
                status, peak, is_refused = peak_kib(arguments, [command[0], str(path), *command[1:]])
                is_fault = peak - empty > limit or status not in DOCUMENTED or (is_refused and status not in (1, 3))
                is_fault = is_fault or (arguments.worst and status != 0 and not (is_refused and name in REFUSED))
                at_fault += is_fault
                cells.append(f"{peak - empty}{'!' if is_fault else 'r' if is_refused else ' '}({status})")
            print(f"{name:24} " + " ".join(f"{cell:>14}" for cell in cells), flush=True)
            path.unlink()
    print(f"{at_fault} at fault, limit {limit} KiB")
    return 1 if at_fault else 0


if __name__ == "__main__":
    sys.exit(main())
