#!/usr/bin/env python3
"""Plays media files with zdr and compares what ffmpeg decodes from the written streams with what it decodes from the
originals.

    compare_decoded.py [--seconds N] ZDR [FILE...]      default: samples/ and the folder that ZDR_EXTRA_MEDIA names

Prints one row per stream. After N seconds no further file is started, and the files not reached are counted. Exit status 1
if a stream differs in a way that its row does not explain.
"""
import collections
import pathlib
import re
import sys
import tempfile

import peer_media


def pins_of(out_folder):
    pins = {}
    for path in sorted(out_folder.iterdir()):
        match = re.search(r'\.((?:Audio|Video|AMR Audio)\d+)\.([a-z0-9]+)(\.part)?$', path.name)
        if match:
            pins[match.group(1)] = path
    return pins


def first_stream(path, kind):
    streams = [s for s in peer_media.probe_streams(path) if s.get('codec_type') == kind
               and not s.get('disposition', {}).get('attached_pic')]
    return streams[0] if streams else None


# Containers with the same framing as the written file. ffmpeg decodes only the first of several AMR frames in an MP4
# packet, and it decodes mono HE-AAC as stereo if the stream does not say which it is, which ADTS cannot.
REMUXED = {'.amr': 'amr', '.awb': 'amr', '.aac': 'adts'}


def sound_pair(original, written):
    """The sound that ffmpeg decodes from both files, as bytes, since its frames depend on the packets of the container. No
    priming is removed, since zdr does not trim."""
    untrimmed = ['-flags2', '+skip_manual']
    want = peer_media.decode_pcm(original, '0:a:0', ['-ignore_editlist', '1', *untrimmed])
    got = peer_media.decode_pcm(written, '0:a:0', untrimmed)
    if want != got and written.suffix in REMUXED:
        remuxed = written.with_suffix('.peer' + written.suffix)
        peer_media.copy_audio(original, remuxed, REMUXED[written.suffix])
        want = peer_media.decode_pcm(remuxed, '0:a:0', untrimmed)
    return want, got


def compare(original, written, kind):
    """Returns 'equal', 'first N of M', 'differs at N' or 'neither decodes', and the number of frames or bytes."""
    if kind == 'video':
        want = peer_media.decode(original, '0:v:0', ['-noautorotate', '-ignore_editlist', '1'])
        got = peer_media.decode(written, '0:v:0')
    else:
        want, got = sound_pair(original, written)
    if not want and not got:
        return 'neither decodes', 0
    if got == want:
        return 'equal', len(got)
    if got and want[:len(got)] == got:
        return f'first {len(got)} of {len(want)}', len(got)
    same = next((i for i, (a, b) in enumerate(zip(want, got)) if a != b), min(len(want), len(got)))
    return f'differs at {same} ({len(got)} against {len(want)})', len(got)


def check(binary, path):
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        done = peer_media.zdr(binary, 'play', path, '-o', folder)
        message = ' / '.join(line.split(path.name + ': ', 1)[-1] for line in done.stderr.splitlines())
        pins = pins_of(pathlib.Path(folder))
        if not pins:
            return [(path.name, '-', done.returncode, '-', message)]
        for pin, written in pins.items():
            kind = 'video' if 'Video' in pin else 'audio'
            verdict, _ = compare(path, written, kind)
            rows.append((path.name, pin + written.suffix, done.returncode, verdict, message))
    return rows


def explained(row):
    _, pin, code, verdict, message = row
    if code not in (0, 1, 3, 4):
        return False
    if pin == '-' or verdict in ('equal', 'neither decodes'):
        return True
    reasons = ('cut off', 'delivered only')
    return verdict.startswith('first') and any(reason in message for reason in reasons)


def print_row(row, counts):
    fine = explained(row)
    pin, verdict = row[1], row[3]
    what = 'unexplained' if not fine else 'equal' if verdict == 'equal' else 'explained'
    counts[('streams ' if pin != '-' else 'files without a stream ') + what] += 1
    print('| ' + ' | '.join(map(str, row)) + (' |' if fine else ' | **unexplained** |'), flush=True)


def main():
    counts = collections.Counter()
    print('| file | pin | exit | decoded | messages |\n|---|---|---|---|---|')
    for rows in peer_media.rows_of_each(check, peer_media.options(__doc__)):
        counts['files checked' if rows else 'files not reached in time'] += 1
        for row in rows or []:
            print_row(row, counts)
    print('\n' + ', '.join(f'{count} {what}' for what, count in sorted(counts.items())))
    return 1 if counts['streams unexplained'] or counts['files without a stream unexplained'] or not counts['streams equal'] else 0


if __name__ == '__main__':
    sys.exit(main())
