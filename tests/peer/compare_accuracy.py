#!/usr/bin/env python3
"""Encodes signals with ffmpeg as AAC, decodes them with zdr, and measures the distance to ffmpeg's floating-point
decode of the same packets. ffmpeg has no HE-AAC encoder, so streams of real encoders are judged for that.

    compare_accuracy.py [--seconds N] ZDR [FILE...]
        default: streams made here, and the HE-AAC files of samples/ and of the folder that ZDR_EXTRA_MEDIA names;
        else the AAC tracks of the files

Prints one row per stream: the accuracy level K, where the RMS of the difference is 2^-(K-1)/sqrt(12) of full scale
(16.00 is rounding to 16 bits only, 15 the minimum for AAC-LC in 3GPP TS 26.406), the level that windows of 15 bits allow
at the signal's own level, and the largest difference in 16-bit steps. For an HE-AAC file, the ratio of signal to difference
in dB, and that of rounding to 16 bits only. Exit status 1 if a stream made here or an HE-AAC file falls short, or if too
few of either were judged: each kind has half of the seconds. Streams from FILE arguments are reported but do not fail: each
decoder generates its own noise for noise substitution.
"""
import array
import math
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

import peer_media

RATES = (96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000)
VARIANTS = (('-aac_is', '0'), ('-aac_ms', '0'), ('-aac_tns', '0'), ('-aac_coder', 'fast'))
LARGEST_STEPS = 2.0
MARGIN = 0.05
# For HE-AAC: a ratio of 70 dB, or at most 4 dB below that of rounding where the signal is too quiet for 70.
ENOUGH_DB = 70
MARGIN_DB = 4
JUDGED_SAMPLES = 400_000
# Even on a busy machine. samples/ has no file of a real HE-AAC encoder.
LEAST_MADE = 8
LEAST_HE_AAC = 6
# Only blocks below this level, and not next to others, are judged: zdr clips the core signal to 16 bits before SBR.
LOUD, BLOCK = 0.75, 4096


def signal():
    """Two channels at 44.1 kHz: a sweep with noise, and a tone that switches on and off, with clicks."""
    rate, noise = 44100, random.Random(1)
    samples = array.array('h')
    for i in range(2 * rate):
        t = i / rate
        sweep = 0.3 * math.sin(2 * math.pi * (100 * t + 2500 * t * t)) + noise.gauss(0, 0.02)
        tone = 0.3 * math.sin(2 * math.pi * 440 * t) * (math.sin(6 * math.pi * t) > 0) + 0.6 * (i % 9000 == 0)
        samples.extend(int(32767 * max(-1.0, min(1.0, v))) for v in (sweep, tone))
    return samples.tobytes()


def made_streams():
    """(label, encoder arguments) of streams at all rates, mono and stereo, at low and high bit rates, and with tools
    switched off. None of them uses noise substitution."""
    cases = []
    for number, rate in enumerate(RATES):
        for channels in (1, 2):
            kbits = ((16, 64) if rate < 24000 else (64, 160) if rate != 44100 else (32, 320))[(number + channels) % 2]
            cases.append((f'{rate} Hz {channels} ch {kbits} kbit/s',
                          ['-ar', str(rate), '-ac', str(channels), '-b:a', f'{kbits}k']))
    return cases + [(' '.join(option), [*option, '-b:a', '96k']) for option in VARIANTS]


def encoded(options, folder):
    source = folder / 'signal.raw'
    if not source.exists():
        source.write_bytes(signal())
    path = folder / 'made.m4a'
    subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', '-y', '-f', 's16le', '-ar', '44100', '-ac', '2', '-i', source,
                    '-c:a', 'aac', '-aac_pns', '0', *options, path], check=True)
    return path


def reference(path):
    """ffmpeg's samples, and whether it reported damage."""
    done = subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', '-ignore_editlist', '1', '-flags2', '+skip_manual', '-i',
                           path, '-map', '0:a:0', '-c:a', 'pcm_f32le', '-f', 'f32le', '-'], capture_output=True)
    return array.array('f', done.stdout[:len(done.stdout) // 4 * 4]), bool(done.stderr)


def decoded(zdr, path, folder):
    out = folder / 'out'
    out.mkdir(exist_ok=True)
    for old in out.iterdir():
        old.unlink()
    peer_media.zdr(zdr, 'play', '--decode', '-o', out, path)
    samples = array.array('h')
    for wav in sorted(out.glob('*.wav'))[:1]:
        data = wav.read_bytes()
        samples.frombytes(data[data.index(b'data') + 8:][:(len(data) - 44) // 2 * 2])
    return samples


def level(root_mean_square):
    return 1 - math.log2(max(root_mean_square, 1e-9) / 32768 * math.sqrt(12))


def measure(want, got):
    """Returns the accuracy level, the level that the windows allow and the largest difference; None if either side has no
    sound or the lengths differ by more than 8192 samples."""
    count = min(len(want), len(got))
    if count == 0 or abs(len(want) - len(got)) > 8192:
        return None
    squares = signal_squares = largest = 0.0
    for a, b in zip(want, got):
        a = max(-32767.0, min(32767.0, a * 32768))
        squares += (a - b) * (a - b)
        signal_squares += a * a
        largest = max(largest, abs(a - b))
    allowed = math.hypot(0.2887, 1.28e-5 * math.sqrt(signal_squares / count))
    return level(math.sqrt(squares / count)), level(allowed), largest


def he_aac_files():
    """The sound HE-AAC files. Our own writer of samples fills the spectrum with random bits, which no level bounds."""
    for path in peer_media.media_files(peer_media.ISO | {'.aac'}):
        streams = [s for s in peer_media.probe_streams(path) if s['codec_type'] == 'audio'][:1]
        if streams and streams[0].get('profile', '').startswith('HE-AAC') and path.parent != peer_media.ROOT / 'samples':
            yield path


def judge_he_aac(zdr, path, folder):
    """Returns the ratio of signal to difference and that of rounding alone, in dB; None if there is nothing to compare, or
    damage, which each decoder conceals in its own way."""
    if path.suffix == '.aac':  # the reader of .aac files delivers the core channels only
        wrapped = folder / 'wrapped.m4a'
        peer_media.copy_audio(path, wrapped, 'ipod')
        path = wrapped
    (want, damaged), got = reference(path), decoded(zdr, path, folder)
    if damaged or not want or not got:
        return None
    if len(want) > 1.5 * len(got):  # mono that might have had parametric stereo: twice the same channel
        want = want[::2]
    squares = signal_squares = 0.0
    count = 0
    for at in range(0, min(len(want), len(got), JUDGED_SAMPLES), BLOCK):
        if max(map(abs, want[max(at - BLOCK, 0):at + 2 * BLOCK])) > LOUD:
            continue
        for a, b in zip(want[at:at + BLOCK], got[at:at + BLOCK]):
            a *= 32768
            squares += (a - b) * (a - b)
            signal_squares += a * a
            count += 1
    if count == 0:
        return None
    return [10 * math.log10(max(signal_squares, 1) / noise) for noise in (max(squares, 1e-9), count / 12)]


def judge_he_aac_files(zdr, folder, end):
    """Prints a row per file. Returns how many fall short, were judged and were not reached."""
    failed = done = left = 0
    for path in he_aac_files():
        if time.monotonic() > end:
            left += 1
            continue
        judged = judge_he_aac(zdr, path, folder)
        if judged is None:
            print(f'{path.name:40} nothing to compare')
            continue
        ratio, limit = judged
        short = ratio < min(ENOUGH_DB, limit - MARGIN_DB)
        failed += short
        done += 1
        print(f'{path.name:40} {ratio:5.1f} dB of {limit:5.1f}{"   SHORT" if short else ""}')
    return failed, done, left


def judge_streams(chosen, folder, end):
    """The same for streams made here, or for the files of the command line, which cannot fall short."""
    failed = done = left = 0
    for label, stream in [(f.name, f) for f in chosen.files] or made_streams():
        if time.monotonic() > end:
            left += 1
            continue
        path = stream if chosen.files else encoded(stream, folder)
        measured = measure(reference(path)[0], decoded(chosen.zdr, path, folder))
        if measured is None:
            failed += not chosen.files
            print(f'{label:34} nothing to compare')
            continue
        k, allowed, largest = measured
        short = not chosen.files and (k < allowed - MARGIN or largest > LARGEST_STEPS)
        failed += short
        done += 1
        print(f'{label:34} K {k:6.2f} of {allowed:5.2f}   largest {largest:8.2f}{"   SHORT" if short else ""}')
    return failed, done, left


def main():
    chosen = peer_media.options(__doc__)
    with tempfile.TemporaryDirectory(prefix='zdr-accuracy-') as name:
        folder = pathlib.Path(name)
        if chosen.files:
            judge_streams(chosen, folder, time.monotonic() + chosen.seconds)
            return
        kinds = []
        for kind, judge, least in (
                ('HE-AAC files', lambda end: judge_he_aac_files(chosen.zdr, folder, end),
                 LEAST_HE_AAC if os.environ.get('ZDR_EXTRA_MEDIA') else 0),
                ('made streams', lambda end: judge_streams(chosen, folder, end), LEAST_MADE)):
            failed, done, left = judge(time.monotonic() + chosen.seconds / 2)
            print(f'{kind}: {done} judged, {failed} short, {left} not reached'
                  + (f'; at least {least} must be judged' if done < least else ''))
            kinds.append(failed == 0 and done >= least)
    sys.exit(0 if all(kinds) else 1)


if __name__ == '__main__':
    main()
