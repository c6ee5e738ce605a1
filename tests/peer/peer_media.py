"""Shared by the peer checks: finds the media files, and runs zdr, ffmpeg and ffprobe."""
import argparse
import concurrent.futures
import json
import os
import pathlib
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
ISO = {'.3gp', '.3gpp', '.3ga', '.3g2', '.mp4', '.k3g', '.skm', '.m4a', '.m4v', '.m4b', '.rec', '.mp4a', '.3gpa'}
ELEMENTARY = {'.amr', '.awb', '.aac'}


def media_files(suffixes):
    folders = [ROOT / 'samples']
    if os.environ.get('ZDR_EXTRA_MEDIA'):
        folders.append(pathlib.Path(os.environ['ZDR_EXTRA_MEDIA']))
    return [f for folder in folders for f in sorted(folder.iterdir()) if f.suffix.lower() in suffixes]


def options(doc):
    """Parses the arguments of a peer check: zdr, files, seconds."""
    parser = argparse.ArgumentParser(usage=doc)
    parser.add_argument('--seconds', type=float, default=float('inf'))
    parser.add_argument('zdr')
    parser.add_argument('files', nargs='*', type=pathlib.Path)
    return parser.parse_args()


def rows_of_each(check, chosen):
    """Yields the result of check(zdr, file) for each file, in order; None for files not reached in time."""
    end = time.monotonic() + chosen.seconds
    files = chosen.files or media_files(ISO)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        yield from pool.map(lambda path: check(chosen.zdr, path) if time.monotonic() < end else None, files)


def zdr(binary, *arguments):
    return subprocess.run([binary, *map(str, arguments)], capture_output=True, text=True, timeout=120)


def probe_streams(path):
    """ffprobe's streams in file order: index, codec_type, codec_name, time_base ..."""
    done = subprocess.run(['ffprobe', '-v', 'error', '-ignore_editlist', '1', '-show_streams', '-of', 'json', str(path)],
                          capture_output=True, text=True)
    if done.returncode != 0:  # ffprobe may have ended within its output
        return []
    return json.loads(done.stdout).get('streams', [])


def probe_packets(path, index):
    done = subprocess.run(['ffprobe', '-v', 'error', '-ignore_editlist', '1', '-select_streams', str(index),
                           '-show_entries', 'packet=dts,pts,size,flags,duration', '-of', 'json', str(path)],
                          capture_output=True, text=True)
    return json.loads(done.stdout or '{}').get('packets', [])


def decode(path, stream, extra=()):
    """MD5 of each decoded frame, as ffmpeg's framemd5 prints them."""
    done = subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', *extra, '-i', str(path), '-map', stream,
                           '-fps_mode', 'passthrough', '-bitexact', '-f', 'framemd5', '-'],
                          capture_output=True, text=True)
    return [line.split(',')[-1].strip() for line in done.stdout.splitlines() if line and line[0] != '#']


def decode_pcm(path, stream, extra=(), form=()):
    """The decoded sound as one block of bytes. `extra`: options of the input, `form`: of the output."""
    done = subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', *extra, '-i', str(path), '-map', stream, *form,
                           '-bitexact', '-f', 's16le', '-'], capture_output=True)
    return done.stdout


def copy_audio(path, target, container):
    """Copies the first audio stream into another container without decoding it."""
    whole = ['-ignore_editlist', '1'] if path.suffix.lower() in ISO else []  # an unknown option elsewhere
    subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', '-y', *whole, '-i', str(path), '-map', '0:a:0', '-c', 'copy',
                    '-f', container, str(target)], capture_output=True)
