#!/usr/bin/env python3
"""Compares the digests of `zdr verify --hash md5` with those of the packets that ffmpeg's demuxer finds.

    compare_digests.py [--seconds N] ZDR [FILE...]      default: samples/ and the folder that ZDR_EXTRA_MEDIA names

The MD5 of a stream must equal `ffmpeg -c copy -f streamhash -hash md5`. A stream that zdr delivers only in part must be
the beginning of ffmpeg's packets, and zdr must report what is missing. Prints one row per stream. After N seconds no further
file is started. Exit status 1 for any other difference.
"""
import collections
import hashlib
import json
import subprocess
import sys

import peer_media

SPEECH = {'.amr', '.awb'}
# What zdr says if a stream is not the whole track.
PARTIAL = {'cut-off', 'units-missing', 'units-after-end', 'file-damaged', 'read-failed'}


def peer(path, selector, *output):
    whole = [] if path.suffix.lower() in SPEECH else ['-ignore_editlist', '1']
    return subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', *whole, '-i', str(path), '-map', selector, '-c', 'copy',
                           *output, '-'], capture_output=True).stdout


def compare(path, stream, messages):
    selector = '0:v:0' if 'Video' in stream['pin'] else '0:a:0'
    hashed = peer(path, selector, '-f', 'streamhash', '-hash', 'md5').decode().strip()
    if hashed.endswith('=' + stream['digest']):
        return 'equal'
    packets, size = peer(path, selector, '-f', 'data'), stream['payload_bytes']
    part = f'{size} bytes, {len(packets)} of the peer'
    said = [message['text'] for message in messages if message.get('pin') == stream['pin'] and message['code'] in PARTIAL]
    if said and hashlib.md5(packets[:size]).hexdigest() == stream['digest']:
        return f'explained: the first {part}: {said[0]}'
    return f'**differs**: {part}'


def check(binary, path):
    done = peer_media.zdr(binary, 'verify', path, '--hash', 'md5', '--json', '--allow-overlap')
    found = json.loads(done.stdout)
    messages = found['errors'] + found['warnings']
    rows = [(path.name, stream['pin'], stream.get('digest', ''), compare(path, stream, messages))
            for stream in found['streams'] if stream.get('digest') and stream['samples']]
    reason = messages[0]['text'] if messages else 'no stream'
    return rows or [(path.name, '-', '', reason if reason.startswith(found['verdict']) else f"{found['verdict']}: {reason}")]


def main():
    counts = collections.Counter()
    chosen = peer_media.options(__doc__)
    chosen.files = chosen.files or peer_media.media_files(peer_media.ISO | SPEECH)
    print('| file | pin | MD5 | packets of the peer |\n|---|---|---|---|')
    for rows in peer_media.rows_of_each(check, chosen):
        counts['files checked' if rows else 'files not reached in time'] += 1
        for row in rows or []:
            counts['streams ' + row[3].split(':')[0].strip('*') if row[1] != '-' else 'files without a stream'] += 1
            print('| ' + ' | '.join(row) + ' |', flush=True)
    print('\n' + ', '.join(f'{count} {what}' for what, count in sorted(counts.items())))
    return 1 if counts['streams differs'] or not counts['streams equal'] else 0


if __name__ == '__main__':
    sys.exit(main())
