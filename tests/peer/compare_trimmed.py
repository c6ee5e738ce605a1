#!/usr/bin/env python3
"""Compares `zdr play --decode --trim` with what ffmpeg's default decoding leaves of each AAC track.

    compare_trimmed.py [--seconds N] ZDR [FILE...]      default: samples/ and the folder that ZDR_EXTRA_MEDIA names

Both programs also decode everything, so that what each of them cuts is known to the sample. Prints one row per track, and
exits with 1 if the cuts differ without a reason that is known of ffmpeg, or if what remains sounds different.
"""
import collections
import json
import pathlib
import subprocess
import sys
import tempfile
import warnings
import wave

import peer_media

with warnings.catch_warnings():
    warnings.simplefilter('ignore')  # Python 3.13 no longer has it
    import audioop

SAMPLE_BYTES = 2
CORE_FRAME = 1024


class Sound:
    def __init__(self, pcm, channels):
        self.pcm, self.channels = pcm, channels
        self.frames = len(pcm) // (SAMPLE_BYTES * channels)

    def part(self, begin, end):
        unit = SAMPLE_BYTES * self.channels
        return self.pcm[begin * unit:end * unit]

    def cuts_to(self, other, fronts=()):
        """What has to be cut in front and at the end of this sound for the other one. Silence is found in many places: those
        of `fronts`, and the first."""
        found = self.pcm.find(other.pcm)
        places = [front for front in fronts if self.part(front, front + other.frames) == other.pcm]
        places += [found // (SAMPLE_BYTES * self.channels)] if found >= 0 else []
        return [(place, self.frames - place - other.frames) for place in places]


def distance(a, b):
    """The root mean square of the difference."""
    size = min(len(a), len(b))
    return audioop.rms(audioop.add(a[:size], audioop.mul(b[:size], SAMPLE_BYTES, -1), SAMPLE_BYTES), SAMPLE_BYTES) if size else 0


def decode_with_zdr(binary, path, folder, *extra):
    """The sound of the audio track and its rate; None if it is not decoded as a whole."""
    done = peer_media.zdr(binary, 'play', path, '-o', folder, '--only', 'audio', '--decode', '--force', *extra)
    written = sorted(pathlib.Path(folder).glob('*.wav'))
    if done.returncode != 0 or not written:
        return None, 0
    with wave.open(str(written[0])) as sound:
        return Sound(sound.readframes(sound.getnframes()), sound.getnchannels()), sound.getframerate()


def skipped_by_container(path):
    """The samples that ffmpeg's demuxer tells its decoder to skip."""
    done = subprocess.run(['ffprobe', '-v', 'error', '-select_streams', 'a:0', '-read_intervals', '%+#1', '-show_packets', '-of',
                           'json', str(path)], capture_output=True, text=True)
    packets = json.loads(done.stdout or '{}').get('packets', [])
    return sum(side.get('skip_samples', 0) for packet in packets for side in packet.get('side_data_list', []))


def reasons_for(ours, peer, missing, has_sbr, has_tag, skipped):
    """Why the (front, tail) that each program cuts differ, in what is known of ffmpeg; None if that is not enough."""
    reasons = []
    if peer[0] != ours[0]:
        if ours[0] and has_sbr and peer[0] == 2 * ours[0]:
            reasons.append('ffmpeg counts priming in samples of the core')
        elif not ours[0] and has_tag:
            reasons.append('ffmpeg trims by a tag, without an edit list')
        elif not ours[0] and peer[0] == CORE_FRAME and not skipped:
            reasons.append('ffmpeg drops the first frame unasked')
        else:
            return None
    if peer[1] != ours[1]:
        if peer[1] or ours[1] >= CORE_FRAME * (2 if has_sbr else 1):
            return None
        reasons.append('ffmpeg keeps the last access unit whole')
    if missing:
        reasons.append(f'ffmpeg decodes {missing} samples fewer of the whole')
    return reasons


def check(binary, path):
    with tempfile.TemporaryDirectory() as folder:
        whole, rate = decode_with_zdr(binary, path, folder)
        trimmed, _ = decode_with_zdr(binary, path, folder, '--trim')
    if whole is None or trimmed is None:
        return []
    form = ['-ar', str(rate), '-ac', str(whole.channels)]
    peer = Sound(peer_media.decode_pcm(path, '0:a:0', [], form), whole.channels)
    peer_whole = Sound(peer_media.decode_pcm(path, '0:a:0', ['-ignore_editlist', '1', '-flags2', '+skip_manual'], form),
                       whole.channels)
    pairs = [(cut, peer_cut) for cut in whole.cuts_to(trimmed, [CORE_FRAME])
             for peer_cut in peer_whole.cuts_to(peer, [cut[0], 2 * cut[0], CORE_FRAME])]
    if not pairs:
        return [(path.name, trimmed.frames, peer.frames, None, 'no part of the whole')]
    streams = [s for s in peer_media.probe_streams(path) if s.get('codec_type') == 'audio']
    facts = ('HE' in streams[0].get('profile', ''), b'iTunSMPB' in path.read_bytes(), skipped_by_container(path))
    explained = [(reasons_for(*pair, whole.frames - peer_whole.frames, *facts), pair) for pair in pairs]
    reasons, (ours, theirs) = next((each for each in explained if each[0] is not None), explained[0])
    # The same media time of both: ffmpeg may lack access units at the front.
    lead = whole.frames - peer_whole.frames
    begin = max(ours[0], theirs[0] + lead)
    end = whole.frames - max(ours[1], theirs[1])
    away = distance(trimmed.part(begin - ours[0], end - ours[0]), peer.part(begin - lead - theirs[0], end - lead - theirs[0]))
    away_whole = distance(whole.part(lead, whole.frames), peer_whole.pcm)
    if away > away_whole + 2:
        reasons = None
    return [(path.name, trimmed.frames, peer.frames, reasons, f'{ours} against {theirs}; distance {away}, whole {away_whole}')]


def main():
    counts = collections.Counter()
    print('| file | frames | ffmpeg | reason | cut |\n|---|---|---|---|---|')
    for rows in peer_media.rows_of_each(check, peer_media.options(__doc__)):
        for name, frames, peer_frames, reasons, detail in rows or []:
            what = 'unexplained' if reasons is None else 'explained' if reasons else 'equal'
            counts[what] += 1
            print(f'| {name} | {frames} | {peer_frames} | {"; ".join(reasons or []) if reasons is not None else "**unexplained**"} | {detail} |', flush=True)
    print('\n' + ', '.join(f'{count} {what}' for what, count in sorted(counts.items())))
    return 1 if counts['unexplained'] or not counts else 0


if __name__ == '__main__':
    sys.exit(main())
