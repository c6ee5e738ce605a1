#!/usr/bin/env python3
"""Reads the coordinates of pictures back and compares them with the sample tables, which are read here independently.

    check_plot.py PROGRAM SAMPLES DOCS

Draws every sample, whole and cut off, and checks: the picture is well-formed XML without scripts and references, is small,
and has a title and a description; each rectangle of the offsets spans exactly the samples that begin within its time, and
each sample is in one; the lanes of the byte map, the bit rates, the key frames and the sizes are those of the samples.
The pictures in DOCS/pictures must be what the program draws today.
"""
import collections
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

program, samples, docs = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
PICTURES = {"avc-aac": ("avc-aac.mp4", "--seek", "2"), "two-tracks": ("two-tracks.3gp",), "aac": ("aac-lc-44k-stereo.aac",)}
MOST_BYTES = 300_000
SVG = "{http://www.w3.org/2000/svg}"
Sample = collections.namedtuple("Sample", "offset size start is_sync")
faults, counts = [], collections.Counter()


def boxes(data, begin, end):
    """Yields the type and the body of each box."""
    while begin + 8 <= end:
        size = int.from_bytes(data[begin:begin + 4], "big")
        yield data[begin + 4:begin + 8], data[begin + 8:begin + size]
        begin += size


def find(body, *path):
    for step in path:
        body = next((inner for kind, inner in boxes(body, 0, len(body)) if kind == step), None)
        if body is None:
            return None
    return body


def table(body, entry):
    return list(struct.iter_unpack(entry, body[8:8 + struct.calcsize(entry) * int.from_bytes(body[4:8], "big")])) if body else []


def read_track(trak, movie_scale):
    """The samples of a track and the end of the last one."""
    stbl = find(trak, b"mdia", b"minf", b"stbl")
    scale, = struct.unpack(">I", find(trak, b"mdia", b"mdhd")[12:16])
    sizes = find(stbl, b"stsz")
    default, count = struct.unpack(">II", sizes[4:12])
    lengths = [default] * count if default else [size for size, in struct.iter_unpack(">I", sizes[12:12 + 4 * count])]
    chunks = [offset for offset, in table(find(stbl, b"stco"), ">I")]
    runs = table(find(stbl, b"stsc"), ">III") + [(len(chunks) + 1, 0, 0)]
    syncs = {number for number, in table(find(stbl, b"stss"), ">I")}
    durations = [delta for repeats, delta in table(find(stbl, b"stts"), ">II") for _ in range(repeats)]
    edits = table(find(trak, b"edts", b"elst") or b"", ">IiI")
    time = edits[0][0] * scale // movie_scale if edits and edits[0][1] == -1 else 0
    found, number = [], 0
    for (first, per_chunk, _), (after, _, _) in zip(runs, runs[1:]):
        for offset in chunks[first - 1:after - 1]:
            for _ in range(per_chunk):
                found.append(Sample(offset, lengths[number], time / scale, number + 1 in syncs))
                offset, time, number = offset + lengths[number], time + durations[number], number + 1
    return found


def read_tracks(path):
    data = path.read_bytes()
    moov = find(data, b"moov")
    scale, = struct.unpack(">I", find(moov, b"mvhd")[12:16])
    return [read_track(trak, scale) for kind, trak in boxes(moov, 0, len(moov)) if kind == b"trak"]


class Panel:
    """The paths of a panel, in values of its axes."""

    def __init__(self, picture, name):
        self.group = next((group for group in picture.iter(SVG + "g") if group.get("id") == name), None)
        self.x, self.y = ([float(value) for value in self.group.get(axis).split()] for axis in ("data-x", "data-y"))
        self.pixel = [abs((most - least) / (end - begin)) for begin, end, least, most in (self.x, self.y)]

    def value(self, axis, at):
        begin, end, least, most = axis
        return least + (at - begin) / (end - begin) * (most - least)

    def points(self, style):
        """Of each path of a class, its closed parts as lists of corners."""
        for path in self.group.iter(SVG + "path"):
            if style not in path.get("class").split():
                continue
            parts, x, y = [], 0, 0
            for command, numbers in re.findall(r"([MLHVz])([^MLHVz]*)", path.get("d")):
                values = [float(number) for number in numbers.split()]
                x = values[0] if command in "MLH" else x
                y = values[-1] if command in "MLV" else y
                if command == "M":
                    parts.append([])
                if command != "z":
                    parts[-1].append((self.value(self.x, x), self.value(self.y, y)))
            yield parts

    def levels(self, corners):
        """A line of steps as (begin, end, level)."""
        return [(a[0], b[0], a[1]) for a, b in zip(corners, corners[1:]) if abs(a[1] - b[1]) < 1e-9 and a[0] != b[0]]


def near(left, right, tolerance):
    return abs(left - right) <= tolerance


def check_offsets(panel, tracks, report):
    for number, (parts, track) in enumerate(zip(panel.points("chunk"), tracks)):
        seen, time_error, byte_error = 0, panel.pixel[0] * 0.02, panel.pixel[1] * 0.02 + 1e-6
        for part in parts:
            begin, end = part[0][0], part[1][0]
            inside = [s for s in track if begin - time_error <= s.start < end - time_error]
            low, high = min(p[1] for p in part), max(p[1] for p in part)
            if not inside or not near(min(s.offset for s in inside), low, byte_error) \
                    or not near(max(s.offset + s.size for s in inside), high, byte_error):
                report(f"track {number}: the rectangle of {begin:.3f} s is not where its samples are")
            seen += len(inside)
            counts["rectangles"] += 1
        if seen != len(track):
            report(f"track {number}: {len(track)} samples, {seen} in the rectangles")


def check_map(panel, tracks, size, report):
    columns = 1000 // max(1, (len(tracks) + 1) // 2)
    width, lane = size / columns, 16
    for number, track in enumerate(tracks):
        shares = [0.0] * columns
        for s in track:
            at = s.offset
            while at < s.offset + s.size:
                column = min(int(at / width), columns - 1)
                end = min(s.offset + s.size, max((column + 1) * width, at + 1e-6))
                shares[column] += end - at
                at = end
        heights = [0.0] * columns
        unit = panel.pixel[1]
        for part in next(iter(panel.points(f"f{number % 4}"))):
            bottom = part[0][1]
            for begin, end, level in panel.levels(part + [part[0]]):
                for column in range(round(begin / width), round(end / width)):
                    heights[column] = max(heights[column], abs(level - bottom) / unit)
        expected = [max(min(lane, share / width * lane), 1 if share else 0) for share in shares]
        wrong = [c for c in range(columns)  # the picture counts whole bytes
                 if not 0 < shares[c] <= 1 and not near(heights[c], expected[c], 0.35 + 2 / width * lane)]
        counts["byte columns"] += columns
        if wrong:
            report(f"lane {number}: column {wrong[0]} is {heights[wrong[0]]:.2f} high, {shares[wrong[0]]:.0f} bytes")


def check_rates(panel, track, width, report):
    for begin, end, level in panel.levels(next(iter(panel.points("line")))[0]):
        error = panel.pixel[0] * 0.02
        bits = sum(s.size for s in track if begin - error <= s.start < end - error) * 8
        counts["rates"] += 1
        if not near(bits / max(width / 2, end - begin), level, panel.pixel[1] * 0.05 + level * 0.01):  # a short rest makes no peak
            report(f"{level:.0f} bit/s at {begin:.3f} s, should be {bits / max(width / 2, end - begin):.0f}")


def check_keys(panel, track, columns, end, report):
    drawn = sorted(round(part[0][0] * columns / end) for part in next(iter(panel.points("key")), []))
    expected = sorted({min(int((s.start + 1e-7) * columns / end), columns - 1) for s in track if s.is_sync})
    counts["key frames"] += len(drawn)
    if drawn != expected:
        report(f"key frames in columns {drawn[:9]}, should be {expected[:9]}")


def check_sizes(panel, track, columns, end, report):
    band = next(iter(panel.points("band")))[0]
    by_column = collections.defaultdict(list)
    for s in track:
        by_column[min(int((s.start + 1e-7) * columns / end), columns - 1)].append(s.size)
    for begin, stop, level in panel.levels(band):
        sizes = by_column[round(min(begin, stop) * columns / end)]
        expected = (max if begin < stop else min)(sizes, default=-1)
        counts["sizes"] += 1
        if not near(level, expected, panel.pixel[1] * 0.02):
            report(f"a unit of {level:.1f} bytes at {min(begin, stop):.3f} s, should be {expected}")


def draw(path, *options):
    done = subprocess.run([program, "plot", path, "-o", "-", "-q", *options], capture_output=True, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout


def check_form(name, text, report):
    picture = ElementTree.fromstring(text)
    texts = text.decode()
    if len(text) > MOST_BYTES or "<script" in texts or re.search(r"href|@import|url\((?!#)|(?<!xmlns=\")https?:", texts):
        report(f"{len(text)} bytes, or a script or a reference")
    if picture.get("role") != "img" or not picture.find("{*}title").text or len(picture.find("{*}desc").text) < 40:
        report("has no role, title or description")
    width = float(picture.get("width"))
    for element in picture.iter(SVG + "text"):
        if not 0 <= float(element.get("x")) <= width or not 0 < float(element.get("y")) <= float(picture.get("height")):
            report(f"'{element.text}' is outside of the picture")
    counts["pictures"] += 1
    return picture


def check(path, tracks):
    def report(reason):
        faults.append(f"{path.name}: {reason}")

    code, text = draw(path)
    if not text:
        return report(f"is not drawn, exit code {code}")
    picture = check_form(path.name, text, report)
    size = path.stat().st_size
    kept = [[s for s in track if s.offset + s.size <= size] for track in tracks]
    if tracks and code != (0 if kept == tracks else 3):
        report(f"exit code {code}")
    if not any(kept):
        return
    offsets = Panel(picture, "zdr-offsets")
    columns, end = 400 // max(1, (len(tracks) + 1) // 2), offsets.x[3]
    check_offsets(offsets, kept, report)
    check_map(Panel(picture, "zdr-map"), kept, size, report)
    width, unit = re.search(rb"bit rate, .*columns of ([0-9.]+) (ms|s)", text).groups()
    width = float(width) / (1000 if unit == b"ms" else 1)
    for number, (track, all_samples) in enumerate(zip(kept, tracks)):
        check_rates(Panel(picture, f"zdr-rate{number}"), track, width, report)
        check_sizes(Panel(picture, f"zdr-size{number}"), track, columns, end, report)
        if any(s.is_sync for s in track):
            check_keys(Panel(picture, f"zdr-keys{number}"), track, columns, end, report)
        lost = [s.start for s in all_samples if s not in track]
        marks = [float(line.get("x1")) for line in Panel(picture, f"zdr-size{number}").group.iter(SVG + "line")
                 if line.get("class") == "badline"]
        if lost and not any(near(offsets.value(offsets.x, x), lost[0], offsets.pixel[0] * 0.02) for x in marks):
            report(f"track {number} is lost from {lost[0]:.3f} s on, which is not marked")


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    media = sorted(path for path in samples.iterdir() if path.suffix in (".mp4", ".3gp", ".amr", ".awb", ".aac"))
    for path in media:
        tracks = read_tracks(path) if path.suffix in (".mp4", ".3gp") else []
        check(path, tracks)
        part = pathlib.Path("cut-" + path.name)
        part.write_bytes(path.read_bytes()[:path.stat().st_size * 3 // 5])
        check(part, tracks if path.name == "moov-first.3gp" else [])
    # With its times divided by 50, a track has far more chunks than the picture has columns for it.
    dense = bytearray((samples / "avc-aac.mp4").read_bytes())
    at = dense.rindex(b"mdhd") + 16
    dense[at:at + 4] = struct.pack(">I", 50 * struct.unpack(">I", dense[at:at + 4])[0])
    pathlib.Path("dense.mp4").write_bytes(dense)
    check(pathlib.Path("dense.mp4"), read_tracks(pathlib.Path("dense.mp4")))
for name, (sample, *options) in PICTURES.items():
    if (docs / "pictures" / f"{name}.svg").read_bytes() != draw(samples / sample, *options)[1]:
        faults.append(f"docs/pictures/{name}.svg is not current: zdr plot samples/{sample} {' '.join(options)} -o docs/pictures/{name}.svg --force")

print(", ".join(f"{count} {name}" for name, count in sorted(counts.items())))
print("\n".join(faults[:30]))
sys.exit(1 if faults or not counts["rectangles"] else 0)
