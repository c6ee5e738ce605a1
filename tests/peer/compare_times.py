#!/usr/bin/env python3
"""Compares the rows of `zdr samples` with times computed from ffprobe's packets.

    compare_times.py [--seconds N] ZDR [FILE...]      default: samples/ and the folder that ZDR_EXTRA_MEDIA names

The rules computed here: decoding times in whole milliseconds (truncated); ten access units per sample for AAC, AMR,
AMR-WB, AC-3 and E-AC-3, one for everything else; a stop time one unit after the start for sound, and for pictures the
truncated difference to the next decoding time, at the end the truncated frame interval over the longer stream; no
sample that starts after the end of the stream.
"""
import json
import struct
import sys

import peer_media

PACKED = {'aac', 'amr_nb', 'amr_wb', 'ac3', 'eac3'}
MS = 10_000  # 100 ns units


def boxes(data, at, end):
    while at + 8 <= end:
        size, kind = struct.unpack_from('>I4s', data, at)
        head = 8
        if size == 1:
            size, head = struct.unpack_from('>Q', data, at + 8)[0], 16
        if size == 0:
            size = end - at
        if size < head:
            return
        yield kind, at + head, min(at + size, end)
        at += size


def find(data, span, path):
    for kind in path:
        span = next(((s, e) for k, s, e in boxes(data, *span) if k == kind), None)
        if span is None:
            return None
    return span


def track_headers(path):
    """For each audio and video track in order: handler, time scale, duration as the parser reports it, edit shift and
    the constant sample size (0 when sizes differ)."""
    data = path.read_bytes()
    moov = find(data, (0, len(data)), [b'moov'])
    tracks = []
    for kind, start, end in boxes(data, *moov) if moov else ():
        if kind != b'trak':
            continue
        span = (start, end)
        handler = find(data, span, [b'mdia', b'hdlr'])
        mdhd = find(data, span, [b'mdia', b'mdhd'])
        tkhd = find(data, span, [b'tkhd'])
        if not handler or not mdhd or not tkhd:
            continue
        # The parser reports the high word of a 64-bit duration.
        scale_at, duration_at = (20, 24) if data[mdhd[0]] else (12, 16)
        scale, = struct.unpack_from('>I', data, mdhd[0] + scale_at)
        duration, = struct.unpack_from('>I', data, mdhd[0] + duration_at)
        track_duration, = struct.unpack_from('>I', data, tkhd[0] + (28 if data[tkhd[0]] else 20))
        shift = 0
        elst = find(data, span, [b'edts', b'elst'])
        if elst:
            count, = struct.unpack_from('>I', data, elst[0] + 4)
            entries = [struct.unpack_from('>II', data, elst[0] + 8 + 12 * i) for i in range(count)
                       if elst[0] + 20 + 12 * i <= elst[1]]
            empty = [length for length, time in entries if time == 0xFFFFFFFF]
            shift = empty[0] if count >= 2 and empty else 0
        stsz = find(data, span, [b'mdia', b'minf', b'stbl', b'stsz'])
        size = struct.unpack_from('>I', data, stsz[0] + 4)[0] if stsz else 0
        tracks.append((data[handler[0] + 8:handler[0] + 12], scale, duration or track_duration, shift, size))
    return tracks


def samples_of(path, stream, constant_size):
    """(decoding time, size) of each sample. If all samples have one size ffprobe reports a chunk as one packet."""
    samples = []
    for packet in peer_media.probe_packets(path, stream['index']):
        time, size = int(packet['dts']), int(packet['size'])
        parts = size // constant_size if constant_size and size % constant_size == 0 else 1
        step = int(packet.get('duration', 0)) / parts
        samples += [(time + round(step * i), size // parts) for i in range(parts)]
    return samples


def expected_rows(path, kind, stream, header, frame_rate):
    _, scale, duration, shift, constant_size = header
    samples = samples_of(path, stream, constant_size)
    ms = [(time - samples[0][0] + shift) * 1000.0 / scale for time, _ in samples]
    sizes = [size for _, size in samples]
    stop_position = int(duration * 1000.0 / scale) * MS
    group = 10 if kind == 'audio' and stream['codec_name'] in PACKED else 1
    table = 20 if stream['codec_name'] == 'aac' and kind == 'audio' else 0
    rows = []
    for at in range(0, len(samples), group):
        start = int(ms[at]) * MS
        if start > stop_position:
            break
        stop = start + 1
        if kind == 'video':
            if at + 1 < len(ms):
                stop = start + int(ms[at + 1] - ms[at]) * MS
            elif frame_rate:
                stop = start + int(1000.0 / frame_rate) * MS
        rows.append((start, stop, sum(sizes[at:at + group]) + table))
    return rows


def frame_rate_of(tracks, streams, counts):
    """Video samples per second of the longer stream, whose duration is in whole milliseconds."""
    if 'video' not in streams:
        return 0
    longest = max(int(tracks[k][2] * 1000.0 / tracks[k][1]) for k in streams if tracks.get(k) and tracks[k][1])
    return counts / (longest / 1000.0) if longest and counts else 0


def actual_rows(text):
    rows = {}
    for line in text.splitlines()[1:]:
        pin, _, start, stop, size, *_ = line.split(',')
        rows.setdefault(pin, []).append((int(start), int(stop), int(size)))
    return rows


def check(binary, path):
    done = peer_media.zdr(binary, 'samples', path, '-q', '--allow-overlap')
    rows = actual_rows(done.stdout)
    if not rows:
        return [(path.name, '-', done.returncode, (done.stderr.strip().splitlines() or [''])[0])]
    handlers = {'audio': b'soun', 'video': b'vide'}
    tracks, streams = {}, {}
    headers = track_headers(path)
    for kind, handler in handlers.items():
        tracks[kind] = next((t for t in headers if t[0] == handler), None)
        streams[kind] = next((s for s in peer_media.probe_streams(path) if s.get('codec_type') == kind), None)
    # The frame rate depends on every pin, even one that offers no media type and so delivers nothing.
    pins = [pin['name'] for pin in json.loads(peer_media.zdr(binary, 'info', path, '--json').stdout)['pins']]
    kept = [k for k in handlers if streams[k] and tracks[k] and any(k.capitalize() in pin for pin in pins)]
    count = len(peer_media.probe_packets(path, streams['video']['index'])) if 'video' in kept else 0
    rate = frame_rate_of(tracks, kept, count)
    result = []
    for pin, got in rows.items():
        kind = 'video' if 'Video' in pin else 'audio'
        want = expected_rows(path, kind, streams[kind], tracks[kind], rate)
        wrong = next((i for i, (a, b) in enumerate(zip(want, got)) if a != b), None)
        if wrong is not None:
            verdict = f'row {wrong}: expected {want[wrong]}, got {got[wrong]}'
        else:
            verdict = 'equal' if len(want) == len(got) else f'{len(got)} rows, expected {len(want)}'
        result.append((path.name, pin, len(got), verdict))
    return result


def main():
    bad = equal = late = 0
    print('| file | pin | rows | times |\n|---|---|---|---|')
    for rows in peer_media.rows_of_each(check, peer_media.options(__doc__)):
        late += rows is None
        for row in rows or []:
            equal += row[3] == 'equal'
            bad += row[1] != '-' and row[3] != 'equal'
            print('| ' + ' | '.join(map(str, row)) + ' |', flush=True)
    print(f'\n{equal} streams equal, {bad} differ, {late} files not reached in time')
    return 1 if bad or not equal else 0


if __name__ == '__main__':
    sys.exit(main())
