#!/usr/bin/env python3
"""Fails on an include that goes upward or sideways in the layering of the tree.

Each folder may include from itself and from the folders named here, and from the standard library. The platform's own
header names (<windows.h> ...) stand for the folder that provides them. Only platform/ may name POSIX headers.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

WIN32, COM, DSHOW = 'platform/win32', 'platform/com', 'platform/dshow'
PLATFORM = [WIN32, COM, DSHOW]
MAY_SEE = {
    WIN32: [],
    COM: [WIN32],
    DSHOW: [WIN32, COM],
    'os': [WIN32],
    'fmgr': ['os'],
    'id3p': ['os'],
    'aacdec': [],
    'p3gpp': ['fmgr'],
    'esparse/amr': ['os'],
    'esparse/aac': ['id3p', 'aacdec'],
    'filters/source/mp4': PLATFORM + ['os', 'fmgr', 'id3p', 'aacdec', 'p3gpp', 'esparse/amr', 'esparse/aac'],
    # The module's interfaces; the decoder for --decode; the parser for the box view; the parser and the AAC reader to
    # explain a failed open; the tag parser, as the filter keeps the tags of AAC files to itself.
    'host': PLATFORM + ['aacdec', 'p3gpp', 'fmgr', 'esparse/aac', 'id3p', 'os', 'filters/source/mp4/interfaces'],
}
PLATFORM_HEADERS = {
    'windows.h': WIN32, 'winerror.h': WIN32,
    'objbase.h': COM, 'dshow.h': DSHOW, 'streams.h': DSHOW,
}
POSIX = re.compile(r'^(unistd|fcntl|pthread|dlfcn|dirent|poll|semaphore|signal|sys/.*|linux/.*)\.h$')
# The host is a terminal program: it asks the terminal and catches Ctrl-C in this one file.
POSIX_ALLOWED = {'host/terminal.cpp'}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def folder_of(path):
    text = str(path)
    return max((f for f in MAY_SEE if text.startswith(f + '/')), key=len, default=None)


def target_of(source, quote, name):
    """The folder that an include names, or None for the standard library and third parties."""
    if quote == '<':
        return PLATFORM_HEADERS.get(name)
    beside = source.parent / name
    path = beside if (ROOT / beside).exists() else pathlib.Path(name)
    return folder_of(path)


def faults(source, home):
    allowed = [home] + MAY_SEE[home]
    for number, line in enumerate((ROOT / source).read_text(encoding='utf-8').splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        quote, name = match.groups()
        if POSIX.match(name) and home not in PLATFORM and str(source) not in POSIX_ALLOWED:
            yield f'{source}:{number}: {name} belongs below platform/'
        target = target_of(source, quote, name)
        if target and not any(target == a or name.startswith(a + '/') for a in allowed):
            yield f'{source}:{number}: {home} must not include {name} ({target})'


def main():
    found = []
    for home in MAY_SEE:
        for path in sorted((ROOT / home).rglob('*')):
            source = path.relative_to(ROOT)
            if path.suffix in ('.h', '.hpp', '.cpp', '.c', '.inc') and folder_of(source) == home:
                found += faults(source, home)
    print('\n'.join(found) if found else 'layers: no include goes upward')
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
