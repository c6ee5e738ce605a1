#!/usr/bin/env python3
"""Compares every figure of `zdr info --full --exact --json` with ffprobe's, and those about the container with its boxes.

    compare_info.py [--seconds N] ZDR [FILE...]      default: samples/ and the folder that ZDR_EXTRA_MEDIA names

Sums, counts and peaks are computed from ffprobe's packets. A figure that differs must be explained by one of RULES, which
look at the file and not at its name. Prints for each figure how many are equal, how many each rule explains, and those that
differ for no known reason.
"""
import collections
import fractions
import itertools
import json
import re
import struct
import subprocess
import sys

import compare_times
import peer_media

CODECS = {'h264': 'AVC', 'hevc': 'HEVC', 'mpeg4': 'MPEG-4 visual', 'h263': 'H.263', 'aac': 'AAC', 'amr_nb': 'AMR',
          'amr_wb': 'AMR-WB', 'qcelp': 'QCELP', 'evrc': 'EVRC', 'ac3': 'AC-3', 'eac3': 'E-AC-3', 'opus': 'Opus',
          'mov_text': '3GPP text', 'mp3': 'MPEG-1 audio'}


def probe(path):
    """ffprobe's streams, its container, and by stream the packets: decoding time, size, whether it is a key frame; as a
    fourth result, size and offset of the key frames by stream."""
    whole = ['-ignore_editlist', '1'] if path.suffix.lower() in peer_media.ISO else []
    done = subprocess.run(['ffprobe', '-v', 'error', *whole, '-show_streams', '-show_format', '-show_entries',
                           'packet=stream_index,dts,size,flags,pos', '-of', 'json', str(path)], capture_output=True, text=True)
    found = json.loads(done.stdout) if done.returncode == 0 else {}  # else it may have ended within its output
    packets, places = collections.defaultdict(list), collections.defaultdict(list)
    for packet in found.get('packets', []):
        packets[packet['stream_index']].append((packet.get('dts'), int(packet['size']), 'K' in packet['flags']))
        if 'K' in packet['flags']:
            places[packet['stream_index']].append((int(packet['size']), int(packet.get('pos', -1))))
    return found.get('streams', []), found.get('format', {}), packets, places


def peak_of(packets, time_base):
    """The most bits in one second of decoding time."""
    seconds = collections.Counter()
    for dts, size, _ in packets:
        seconds[int((int(dts) - int(packets[0][0])) * time_base)] += 8 * size
    return max(seconds.values(), default=0)


def starts_of(path):
    """By stream, when its presentation begins, in its time base; with the edit list, unlike all other figures."""
    done = subprocess.run(['ffprobe', '-v', 'error', '-show_entries', 'stream=index,start_pts', '-of', 'json', str(path)],
                          capture_output=True, text=True)
    found = json.loads(done.stdout) if done.returncode == 0 else {}
    return {stream['index']: stream.get('start_pts') for stream in found.get('streams', [])}


def sequence_figures(path, index):
    """What ffmpeg reads in the first sequence parameter set of AVC."""
    done = subprocess.run(['ffmpeg', '-v', 'verbose', '-i', str(path), '-map', f'0:{index}', '-c', 'copy', '-bsf:v', 'trace_headers',
                           '-frames:v', '1', '-f', 'null', '-'], capture_output=True, text=True, errors='replace')
    found = {name: int(value) for name, value in reversed(re.findall(r'(max_num_ref_frames|frame_mbs_only_flag) .* = (\d+)', done.stderr))}
    return {'reference_frames': found.get('max_num_ref_frames'),
            'frames_only': bool(found['frame_mbs_only_flag']) if 'frame_mbs_only_flag' in found else None}


def format_figures(stream):
    """How the samples of the pictures are coded, by the name of the pixel format: yuv420p, yuvj444p10le, gray."""
    form = re.fullmatch(r'(?:yuvj?(\d)(\d)(\d)p|gray)(\d+)?(?:le|be)?', stream.get('pix_fmt', ''))
    if not form:
        return {'chroma': None, 'bit_depth': None}
    return {'chroma': ':'.join(form.groups()[:3]) if form[1] else 'monochrome', 'bit_depth': int(form[4] or 8),
            'colour_range': {'tv': 'limited', 'pc': 'full'}.get(stream.get('color_range')),
            'colour_primaries': stream.get('color_primaries'), 'transfer_characteristics': stream.get('color_transfer'),
            'matrix_coefficients': stream.get('color_space')}


def picture_figures(stream):
    sides = [side['rotation'] for side in stream.get('side_data_list', []) if 'rotation' in side]
    aspect = stream.get('sample_aspect_ratio', '0:1')
    want = {'width': stream['width'], 'height': stream['height'], 'rotation_degrees': -sides[0] % 360 if sides else 0,
            'pixel_aspect': '1:1' if aspect == '0:1' else aspect} | format_figures(stream)
    if stream.get('level', -99) >= 0 and 'profile' in stream and stream['codec_name'] in ('h264', 'mpeg4'):
        level = stream['level']
        is_avc = stream['codec_name'] == 'h264'
        want['profile'] = stream['profile'].removesuffix(' Profile')
        want['level'] = str(level) if not is_avc else '1b' if level == 9 else f'{level / 10:g}'
    return want


def sound_figures(stream):
    want = {'channels': stream['channels'] or None, 'sample_rate': int(stream['sample_rate']) or None}
    if stream.get('codec_name') == 'aac' and 'profile' in stream:
        want['profile'] = stream['profile'].replace('HE-AACv2', 'HE-AAC v2')
    return want


def expected_track(stream, packets):
    """Figures of ffprobe under the names of zdr; None where it has none."""
    base = fractions.Fraction(stream['time_base'])
    tag = stream.get('codec_tag_string', '')
    want = {'type': None if tag.startswith('[') else tag, 'codec': CODECS.get(stream.get('codec_name')),
            'time_scale': int(1 / base), 'duration': stream.get('duration_ts'), 'samples': int(stream.get('nb_frames', 0)),
            'key_frames': sum(key for _, _, key in packets), 'media_bytes': sum(size for _, size, _ in packets),
            'language': stream.get('tags', {}).get('language', 'und')}
    if stream.get('codec_type') == 'audio':
        want['channel_layout'] = stream.get('channel_layout')
    if want['duration']:
        want['bit_rate'] = int(8 * want['media_bytes'] / (want['duration'] * base))
    if packets and all(dts is not None for dts, _, _ in packets):
        want['peak_bit_rate'] = peak_of(packets, base)
    kinds = {'video': picture_figures, 'audio': sound_figures}
    return want | kinds.get(stream.get('codec_type'), lambda _: {})(stream)


def expected_container(path, container, media_bytes):
    """Figures of the boxes, and ffprobe's of brand and date."""
    tags = container.get('tags', {})
    data = path.read_bytes()
    begin, boxes = 0, []
    for kind, _, end in compare_times.boxes(data, 0, len(data)):
        boxes.append((kind, begin, end))
        begin = end
    kinds = [kind for kind, *_ in boxes]
    _, begin, end = boxes[kinds.index(b'moov')]
    want = {'writing_application': tags.get('encoder'), 'major_brand': tags.get('major_brand', '').strip() or None, 'size': len(data), 'moov_offset': begin,
            'moov_size': end - begin, 'moov_first': b'mdat' not in kinds[:kinds.index(b'moov')],
            'creation_time_utc': (tags.get('creation_time') or '')[:19] + 'Z' if 'creation_time' in tags else None,
            'overhead_bytes': len(data) - media_bytes}
    mvhd = compare_times.find(data, (0, len(data)), [b'moov', b'mvhd'])
    scale, duration = header_times(data, mvhd)
    return want | ({'bit_rate': len(data) * 8 * scale // duration} if duration else {})


def header_times(data, span):
    """(time scale, duration) of mvhd or mdhd."""
    at, size = (span[0] + 20, 8) if data[span[0]] == 1 else (span[0] + 12, 4)
    return int.from_bytes(data[at:at + 4], 'big'), int.from_bytes(data[at + 4:at + 4 + size], 'big')


def headers_of(path):
    """For each track the times of mdhd and the edits (duration, media time); None for a track without mdhd."""
    data = path.read_bytes()
    for kind, start, end in compare_times.boxes(data, *compare_times.find(data, (0, len(data)), [b'moov'])):
        if kind != b'trak':
            continue
        mdhd = compare_times.find(data, (start, end), [b'mdia', b'mdhd'])
        elst = compare_times.find(data, (start, end), [b'edts', b'elst'])
        layout, edits = '>Ii4x', []
        if elst and data[elst[0]] == 1:
            layout = '>Qq4x'
        if elst:
            count = min(int.from_bytes(data[elst[0] + 4:elst[0] + 8], 'big'), (elst[1] - elst[0] - 8) // struct.calcsize(layout))
            edits = [struct.unpack_from(layout, data, elst[0] + 8 + i * struct.calcsize(layout)) for i in range(count)]
        yield (header_times(data, mdhd), edits) if mdhd else None


def expected_edits(edits):
    shown = [time for _, time in edits if time >= 0]
    lead = itertools.takewhile(lambda edit: edit[1] < 0, edits)
    want = {'parts': len(shown), 'delay': sum(duration for duration, _ in lead)}
    return want | ({'media_time': shown[0]} if shown else {})


def figures_of(track):
    got = dict(track)
    if 'width' in got:
        across, down = got.get('pixel_aspect', [1, 1])
        aspect = fractions.Fraction(across, down) if across and down else fractions.Fraction(1)
        got['pixel_aspect'] = f'{aspect.numerator}:{aspect.denominator}'
        got.setdefault('rotation_degrees', 0)
    if 'start_100ns' in got:
        got['start'] = round(fractions.Fraction(got['start_100ns'] * got['time_scale'], 10 ** 7))
    return got


class Case:
    """A figure that differs, with what the rules look at."""
    def __init__(self, name, want, got, track, file):
        self.name, self.want, self.got, self.track = name, want, got, track
        self.expected, self.has_fragments, self.header, self.packets = file

    def is_media(self):
        return self.track.get('kind') in ('audio', 'video')

    def is_of_header(self):
        """The duration is that of mdhd, which is read here by other code."""
        return self.header is not None and self.header[0] == (self.track.get('time_scale'), self.got)


def rate_follows(case):
    duration = case.track.get('duration')
    return duration and case.got == case.expected['media_bytes'] * 8 * case.track['time_scale'] // duration


RULES = [
    ('samples in movie fragments, which are not read', lambda c: c.has_fragments),
    ('the parser cannot read the tables of a track that is not played, and so not sum its sizes',
     lambda c: c.name in ('media_bytes', 'bit_rate', 'peak_bit_rate', 'overhead_bytes', 'start') and c.got is None and 'not_played' in c.track),
    ('the number of a QuickTime language in place of a code', lambda c: c.name == 'language' and c.got is None),
    ('the duration of the header; ffprobe adds up the time table', lambda c: c.name == 'duration' and c.is_of_header()),
    ('follows from the duration of the header', lambda c: c.name == 'bit_rate' and rate_follows(c)),
    ('without a table of sync samples all are; ffprobe reports a chunk of equal sizes as one packet',
     lambda c: c.name == 'key_frames' and c.got == c.track['samples'] > len(c.packets)),
    ('ffprobe splits a hint sample into RTP packets, and takes those of data tracks for key frames, or drops them',
     lambda c: not c.is_media() and c.name in ('key_frames', 'media_bytes', 'bit_rate', 'peak_bit_rate', 'overhead_bytes')),
    ('no pixel aspect in the boxes; ffprobe reads it from the pictures of H.263',
     lambda c: c.name == 'pixel_aspect' and c.track.get('codec') == 'H.263' and 'pixel_aspect' not in c.track),
    ('ffprobe assumes stereo from parametric stereo for mono AAC with SBR',
     lambda c: c.name in ('channels', 'channel_layout', 'profile') and 'core_rate' in c.track and c.track['channels'] == 1
     and c.expected['channels'] == 2),
    ('a tag states the priming, which ffprobe leaves out', lambda c: c.name == 'start' and c.got == 0 and c.track['has_gapless_tag']),
    ('the configuration of MP3 and Opus, which are not played or read from the frames, has no layout that is read',
     lambda c: c.name == 'channel_layout' and c.got is None and c.track.get('codec') in ('MPEG-1 audio', 'MP3', 'Opus')),
    ('ffprobe does not know ADIF, and looks for ADTS frames in it', lambda c: c.track.get('is_adif')),
    ('ffprobe has a packet for an ADTS frame with several AAC frames',
     lambda c: c.name == 'frames' and c.got == c.track['blocks'] > c.want),
    ('the file ends inside a frame, of which ffprobe has a part',
     lambda c: (c.name == 'frames' and c.want - c.got == 1 or c.name == 'bytes' and c.want > c.got) and not c.track['whole']),
]


def key_frames(binary, path):
    lines = map(json.loads, peer_media.zdr(binary, 'keyframes', path, '--json').stdout.splitlines())
    return {'places of key frames': [(line['size'], line['offset']) for line in lines if 'number' in line]}


def track_rows(want, got, track, file):
    for name, value in want.items():
        if value is None and name not in got:
            continue
        if value is None and name in ('codec', 'duration', 'type', 'chroma', 'bit_depth', 'start', 'reference_frames', 'frames_only'):
            continue  # ffprobe has no figure
        if got.get(name) == value:
            yield name, 'equal', ''
            continue
        case = Case(name, value, got.get(name), track, file)
        rule = next((text for text, explains in RULES if explains(case)), None)
        yield name, rule, f'track {track.get("number", "-")}: ffprobe {value}, zdr {got.get(name)}'


def adts_blocks(data):
    """AAC frames of an ADTS file whose frames may have several of them."""
    at = blocks = 0
    while at + 7 <= len(data) and data[at] == 0xFF and data[at + 1] & 0xF6 == 0xF0:
        blocks += (data[at + 6] & 3) + 1
        at += max(7, (data[at + 3] & 3) << 11 | data[at + 4] << 3 | data[at + 5] >> 5)
    return blocks


def check_frames(binary, path):
    """A file without tables: its frames are counted."""
    done = peer_media.zdr(binary, 'info', path, '--exact', '--json')
    found = json.loads(done.stdout)
    streams, _, packets, _ = probe(path)
    streams = [stream for stream in streams if stream.get('codec_type') == 'audio']
    if 'exact' not in found or not streams:
        return [(path.name, 'file', 'not opened by ' + ('zdr' if streams else 'ffprobe'), '')]
    frames = packets[streams[0]['index']]
    got, want = found['exact'], {'frames': len(frames), 'bytes': sum(size for _, size, _ in frames)}
    if 'stream' in found:
        got = got | found['stream'] | {'sample_rate': found['stream']['output_rate']}
        got['profile'] = {'SBR': 'HE-AAC', 'SBR+PS': 'HE-AAC v2'}.get(got['extension'], got['profile'])
        got |= {'core_rate': got['core_rate']} if got['extension'] != 'none' else {}
        want |= sound_figures(streams[0])
    data = path.read_bytes()
    got |= {'is_adif': data.startswith(b'ADIF'), 'blocks': adts_blocks(data)}
    return [(path.name, *row) for row in track_rows(want, got, got, (want, False, None, frames))]


def check(binary, path):
    if path.suffix.lower() in peer_media.ELEMENTARY:
        return check_frames(binary, path)
    done = peer_media.zdr(binary, 'info', path, '--full', '--json')
    found = json.loads(done.stdout)
    streams, container, packets, places = probe(path)
    if 'container' not in found or not streams:
        return [(path.name, 'file', 'not opened by ' + ('zdr' if streams else 'ffprobe'), '')]
    starts, has_gapless_tag = starts_of(path), b'iTunSMPB' in path.read_bytes()
    headers = dict(enumerate(headers_of(path), 1))
    fragments = any('fragments' in message['text'] for message in found['errors'])
    tracks = list(found['tracks'])
    got = dict(found['container'], major_brand=found['container'].get('major_brand', '').strip() or None)
    got_all = {'not_played': ''} if any('media_bytes' not in track for track in tracks) else {}
    got_all['kind'] = 'audio' if all(track['kind'] in ('audio', 'video') for track in tracks) else ''
    covers = {stream['index'] for stream in streams if stream.get('disposition', {}).get('attached_pic')}
    media_bytes = sum(size for index, rows in packets.items() if index not in covers for _, size, _ in rows)
    rows = list(track_rows(expected_container(path, container, media_bytes), got, got_all, (None, fragments, None, [])))
    for stream in streams:
        if stream['index'] in covers:
            continue
        track = next((t for t in tracks if t.get('id') == int(stream.get('id', '0'), 16)), None)
        if track is None:
            rows.append(('id', None, f'zdr has no track {stream.get("id")}'))
            continue
        tracks.remove(track)
        rows.append(('id', 'equal', ''))
        want = expected_track(stream, packets[stream['index']]) | {'start': starts.get(stream['index'])}
        if stream.get('codec_name') == 'h264':
            want |= sequence_figures(path, stream['index'])
        file = (want, fragments, headers.get(track['number']), packets[stream['index']])
        track['has_gapless_tag'] = has_gapless_tag
        rows += track_rows(want, figures_of(track), track, file)
        if track.get('pin') and track['kind'] == 'video':
            rows += track_rows({'places of key frames': places[stream['index']]}, key_frames(binary, path), track, file)
        if file[2] and file[2][1]:
            rows += track_rows(expected_edits(file[2][1]), track.get('edits', {'parts': 0, 'delay': 0}), track, file)
    rows += [('id', None, f'ffprobe has no track {track["number"]}') for track in tracks]
    return [(path.name, *row) for row in rows]


def main():
    table, faults, late = collections.defaultdict(collections.Counter), [], 0
    chosen = peer_media.options(__doc__)
    chosen.files = chosen.files or peer_media.media_files(peer_media.ISO | peer_media.ELEMENTARY)
    for rows in peer_media.rows_of_each(check, chosen):
        late += rows is None
        for file, name, verdict, text in rows or []:
            table[name][verdict or 'DIFFERS'] += 1
            faults += [f'{file}: {name}: {text}'] if verdict is None else []
    print('| figure | equal | otherwise |\n|---|---|---|')
    for name, verdicts in table.items():
        others = '; '.join(f'{count}: {text}' for text, count in verdicts.items() if text != 'equal')
        print(f'| {name} | {verdicts["equal"]} | {others} |')
    print('\n'.join(faults))
    equal = sum(verdicts['equal'] for verdicts in table.values())
    print(f'{equal} figures equal, {len(faults)} differ, {late} files not reached in time')
    return 1 if faults or not equal else 0


if __name__ == '__main__':
    sys.exit(main())
