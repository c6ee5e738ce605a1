#!/usr/bin/env python3
"""losses_of_mutants.py [--count N] zdr [file...]

Damages the movie box of each sample in N ways (or cuts the file off), plays the mutant, and compares the bytes written with those
of the undamaged file. A run that lacks more than 2 % must not end with 0, unless the mutant is itself a valid, smaller file:
the tables of its tracks agree with each other and with their headers, and all that they describe was written.
`info` and `plot` read the mutant as well, and must end with an exit code, too.
AAC and AMR files are damaged anywhere, and a run that lacks a single frame must not end with 0, unless the file was cut between
two frames.
Prints a table of the mutants by exit code, and the runs at fault.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

import peer_media

LOSS = 0.02
CONTAINERS = {b'moov', b'trak', b'mdia', b'minf', b'stbl', b'edts', b'udta', b'dinf'}
MEDIA = peer_media.ISO | {'.aac', '.amr', '.awb'}
PLAYED = {b'soun', b'vide'}
CODES = {0, 1, 3, 4}
SPEECH_BYTES = ((13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1), (18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 6, 1, 1, 1, 1, 1))

Track = collections.namedtuple('Track', 'handler duration seconds sizes times chunked entry')


def boxes(data, start, end):
    while start + 8 <= end:
        size, kind = struct.unpack_from('>I4s', data, start)
        size = end - start if size == 0 else size
        if size < 8 or start + size > end:
            return
        yield kind, start + 8, start + size
        start += size


def find(data, start, end, *path):
    for kind, first, last in boxes(data, start, end):
        if kind == path[0]:
            if len(path) == 1:
                return first, last
            found = find(data, first, last, *path[1:])
            if found:
                return found
    return None



def describe(data, start, end):
    """What the tables of a track say. Raises when one is missing or too short."""
    stbl = find(data, start, end, b'mdia', b'minf', b'stbl')
    table = {kind: (first, last) for kind, first, last in boxes(data, *stbl)}
    mdhd = find(data, start, end, b'mdia', b'mdhd')[0]
    scale, duration = struct.unpack_from('>II', data, mdhd + 12)
    common, count = struct.unpack_from('>II', data, table[b'stsz'][0] + 4)
    sizes = [common] * count if common else list(struct.unpack_from(f'>{count}I', data, table[b'stsz'][0] + 12))
    stts = table[b'stts'][0]
    runs = struct.iter_unpack('>II', data[stts + 8:stts + 8 + 8 * struct.unpack_from('>I', data, stts + 4)[0]])
    runs = list(runs)
    stsc = table[b'stsc'][0]
    rows = list(struct.iter_unpack('>III', data[stsc + 8:stsc + 8 + 12 * struct.unpack_from('>I', data, stsc + 4)[0]]))
    chunks = struct.unpack_from('>I', data, table[b'stco'][0] + 4)[0]
    ends = [row[0] for row in rows[1:]] + [chunks + 1]
    handler = find(data, start, end, b'mdia', b'hdlr')[0]
    entry = table[b'stsd'][0]
    return Track(data[handler + 8:handler + 12], duration, duration / scale, sizes,
                 (sum(run[0] for run in runs), sum(run[0] * run[1] for run in runs)),
                 sum((end - row[0]) * row[1] for row, end in zip(rows, ends)), data[entry + 12:entry + 16])


def tracks(data):
    moov = find(data, 0, len(data), b'moov')
    return [describe(data, first, last) for kind, first, last in boxes(data, *moov) if kind == b'trak']


def is_sound(data, written, entries):
    """True if the mutant describes no more than was written, and nothing in it contradicts that."""
    try:
        described = [track for track in tracks(data) if track.handler in PLAYED]
    except (struct.error, KeyError, TypeError, ZeroDivisionError, MemoryError, OverflowError):
        return False
    total = 0
    for track in described:
        units, duration = track.times
        if not len(track.sizes) == units == track.chunked or abs(duration - track.duration) > track.duration // 50:
            return False
        if track.entry in entries:  # another codec is not supported, which is a note
            total += sum(track.sizes)
    return total <= written


def extent(file):
    """The size of an output; of decoded sound its time, because a damaged first frame may hide that the stream has twice the rate."""
    if file.suffix != '.wav':
        return file.stat().st_size
    head = file.read_bytes()[:44]
    return (file.stat().st_size - len(head)) / struct.unpack_from('<I', head, 28)[0]


def written_by(zdr, path):
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([zdr, 'play', path, '-o', folder, '-q'], capture_output=True, timeout=60)
        return done, sum(extent(file) for file in pathlib.Path(folder).iterdir())


def ends_between_frames(data, cut):
    """True if a stream of AAC or AMR frames is cut between two of them. The samples begin with a frame or with the line of AMR."""
    at = data.index(b'\n') + 1 if data.startswith(b'#!AMR') else 0
    sizes = SPEECH_BYTES[data.startswith(b'#!AMR-WB')]
    while at < cut:
        at += (data[at + 3] & 3) << 11 | data[at + 4] << 3 | data[at + 5] >> 5 if data[0] == 0xFF else sizes[data[at] >> 3 & 15]
    return at == cut


def mutate(data, moov, chance):
    """Returns a mutant of the file, and what was done to it."""
    first, last = moov or (0, len(data))
    place = chance.randrange(first, last - 4)
    changed = bytearray(data)
    kind = chance.choice(('byte', 'word', 'word', *(('type', 'size') if moov else ('byte',)), 'cut', 'zeros'))
    if kind == 'byte':
        changed[place] ^= chance.randrange(1, 256)
    elif kind == 'word':
        old = struct.unpack_from('>I', data, place)[0]
        new = chance.choice((0, 1, 0x7FFFFFFF, 0xFFFFFFFF, old + 1, old - 1, old * 2, old // 2)) & 0xFFFFFFFF
        struct.pack_into('>I', changed, place, new)
    elif kind == 'type':
        names = [at for at in range(first, last - 8) if data[at:at + 4].isalpha()]
        place = chance.choice(names)
        changed[place:place + 4] = b'skip'
    elif kind == 'size':  # so that a box swallows the header of the next one, or none of what is in it
        place = chance.choice([at for at in range(first, last - 8) if data[at:at + 4].isalpha()]) - 4
        struct.pack_into('>I', changed, place, chance.choice((8, struct.unpack_from('>I', data, place)[0] + 8)) & 0xFFFFFFFF)
    elif kind == 'cut':
        place = chance.randrange(len(data))
        del changed[place:]
    else:
        changed[place:place + 64] = bytes(len(changed[place:place + 64]))
    return bytes(changed), f'{kind} at {place}'


def check(zdr, path, number):
    """Returns what was done to a mutant, its exit code, the share that was lost, and the verdict on it ('' if none)."""
    data = path.read_bytes()
    moov = find(data, 0, len(data), b'moov') if path.suffix in peer_media.ISO else None
    chance = random.Random(f'{path.name} {number}')
    mutant, deed = mutate(data, moov, chance)
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder) / path.name
        copy.write_bytes(mutant)
        try:
            done, size = written_by(zdr, copy)
            others = [subprocess.run([zdr, *command, copy], capture_output=True, timeout=60).returncode
                      for command in (('info',), ('plot', '-o', f'{folder}/plot.svg'))]
        except subprocess.TimeoutExpired:
            return deed, None, 1, ''
    code = next((code for code in (done.returncode, *others) if code not in CODES), done.returncode)
    whole = sound_size(zdr, path)
    lost = 1 - size / whole
    verdict = ''
    if moov is None:
        is_cut = deed.startswith('cut ') and ends_between_frames(data, len(mutant))
        return deed, code, lost, '' if lost <= 0 or done.returncode else 'sound' if is_cut else 'at fault'
    if lost > LOSS and done.returncode == 0:
        entries = {track.entry for track in tracks(data)}
        is_smaller = not deed.startswith('size ') and is_sound(mutant, size, entries)
        verdict = 'sound' if is_smaller else 'at fault'
    return deed, code, lost, verdict


sizes = {}


def sound_size(zdr, path):
    if path not in sizes:
        sizes[path] = written_by(zdr, path)[1]
    return sizes[path]


def main():
    parser = argparse.ArgumentParser(usage=__doc__.replace("%", "%%"))
    parser.add_argument('--count', type=int, default=150)
    parser.add_argument('zdr')
    parser.add_argument('files', nargs='*', type=pathlib.Path)
    chosen = parser.parse_args()
    files = chosen.files or sorted(file for file in (peer_media.ROOT / 'samples').iterdir() if file.suffix in MEDIA)
    zdr = os.path.abspath(chosen.zdr)
    table, faults = collections.Counter(), []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = [(path, number) for path in files for number in range(chosen.count)]
        for (path, number), result in zip(jobs, pool.map(lambda job: check(zdr, *job), jobs)):
            deed, code, lost, verdict = result
            table[code, 'more than 2 %' if lost > LOSS else 'no'] += 1
            table['sound, smaller files'] += verdict == 'sound'
            if verdict == 'at fault' or code not in CODES:
                faults.append(f'{path.name} {number}: {deed}: exit code {code}, {lost:.0%} lost')
    for key, count in sorted(table.items(), key=str):
        print(f'{count:6} ' + (key if isinstance(key, str) else f'exit code {key[0]}, {key[1]} loss'))
    print(*faults, f'{len(faults)} at fault', sep='\n')
    return len(faults) > 0


if __name__ == '__main__':
    sys.exit(main())
