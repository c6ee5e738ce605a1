#!/usr/bin/env python3
"""Fails on an include that the layout of the tree forbids.

Six rules:

1. A folder includes only from the folders that MAY_SEE names for it: downwards, never sideways.
2. Of another folder it includes only the headers that this folder's CMakeLists.txt declares with zdr_public_headers.
   Tests, benchmarks, fuzz targets and the media kit may look inside.
3. Within a folder the subfolders have an order (ORDER): each includes from itself and from those before it.
4. No two files include each other, directly or through others. A header and the source of its name are one file here,
   so that a part never includes its own caller; public headers alone are apart from the source that implements them.
5. Nothing outside of tests/ includes from tests/, and only platform/ names POSIX headers.
6. An include in quotes names its file from the root of the tree or from the includer's folder, so that the rules above
   see every file.

The platform's own header names (<windows.h> ...) stand for the file that provides them.
"""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ('.h', '.hpp', '.cpp', '.c', '.inc')

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
    # explain a failed open; the tag parser, because the filter does not publish the tags of AAC files.
    'host': PLATFORM + ['aacdec', 'p3gpp', 'fmgr', 'esparse/aac', 'id3p', 'os', 'filters/source/mp4'],
}
LOOK_INSIDE = ['mediakit', 'tests', 'bench', 'fuzz', 'samples']

# The platform's base classes are one flat folder, since the platform has no folders in its header names.
DSHOW_INTERFACES = ('amvideo', 'evcode', 'filter_interfaces', 'fourcc', 'graph_interfaces', 'media_records', 'mmreg',
                    'registration', 'sample_interfaces', 'uuids')
DSHOW_FOUNDATION = ('combase', 'mtype', 'nothrow_new', 'single_interface', 'wide_text', 'wxdebug', 'wxutil')
DSHOW_MODULE = ('amfilter', 'built_in_classes', 'dll_setup', 'dshow', 'filter_data', 'filter_mapper', 'filter_setup',
                'module_entry', 'streams')

# From the bottom up; subfolders on one line don't see each other. '.' is the folder itself. A file's name without its
# ending counts as a subfolder of its own, and a tuple of such names as one.
ORDER = {
    'aacdec': [['tables'], ['fixed'], ['syntax'], ['core', 'sbr'], ['.']],
    WIN32: [['.'], ['runtime']],
    'platform/win32/runtime': [['.'], ['text'], ['files', 'named'], ['waits'], ['registry']],
    DSHOW: [[DSHOW_INTERFACES], [DSHOW_FOUNDATION], ['.'], [DSHOW_MODULE]],
    'p3gpp': [['.'], ['parse'], ['metadata'], ['boxes'], ['samples'], ['api']],
    'filters/source/mp4': [['interfaces'], ['core'], ['readers'], ['media_types', 'sync'], ['sources', 'clips'], ['filter'],
                           ['.']],
    'host': [['.'], ['writers', 'inspect'], ['graph'], ['commands'], ['documents'], ['command_table'], ['command_line'],
             ['main']],
}
# Headers that any subfolder of their folder may include: the folder's own public face.
FACES = {'aacdec/zd_aac_dec.h'}

POSIX = re.compile(r'^(unistd|fcntl|pthread|dlfcn|dirent|poll|semaphore|signal|sys/.*|linux/.*)\.h$')
# The host is a terminal program: this one file queries the terminal and catches Ctrl-C.
POSIX_ALLOWED = {'host/terminal.cpp'}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
DECLARATION = re.compile(r'^zdr_public_headers\(([^)]*)\)', re.M)


def longest_prefix(path, folders):
    return max((f for f in folders if path.startswith(f + '/')), key=len, default=None)


def public_headers():
    """Folder -> the headers that it declares, as paths from the root of the tree."""
    declared = {}
    for folder in MAY_SEE:
        text = (ROOT / folder / 'CMakeLists.txt').read_text(encoding='utf-8')
        names = ' '.join(DECLARATION.findall(text)).split()
        declared[folder] = {f'{folder}/{name}' for name in names if name not in ('INSTALLED', 'TREE')}
    return declared


def file_of(source, quote, name):
    """The file of the tree that an include names, or None for the standard library and third parties."""
    candidates = [f'{folder}/{name}' for folder in PLATFORM] if quote == '<' else [
        (pathlib.PurePosixPath(source).parent / name).as_posix(), name]
    return next((c for c in candidates if (ROOT / c).is_file()), None)


def includes_of(source):
    """Yields (line number, quote, name as written, file of the tree or None)."""
    for number, line in enumerate((ROOT / source).read_text(encoding='utf-8').splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match[1], match[2], file_of(source, *match.groups())


def place_of(path, home):
    """The level of a file within its folder, and the subfolder's name."""
    inside = path[len(home) + 1:]
    names = (pathlib.PurePosixPath(inside).stem if '/' not in inside else None,
             inside.split('/')[0] if '/' in inside else '.')
    for name in names:
        for level, places in enumerate(ORDER[home]):
            for place in places:
                if name == place or isinstance(place, tuple) and name in place:
                    return level, place
    return None, names[1]


def order_fault(source, target):
    homes = [home for home in ORDER if source.startswith(home + '/') and target.startswith(home + '/')]
    return next(filter(None, (order_fault_in(home, source, target) for home in homes if target not in FACES)), None)


def order_fault_in(home, source, target):
    (from_level, from_place), (to_level, to_place) = place_of(source, home), place_of(target, home)
    if from_level is None or to_level is None:
        return f'{home}: no place in the order of subfolders for {from_place if from_level is None else to_place}/'
    if from_place == to_place or to_level < from_level:
        return None
    return f'{source.removeprefix(home + "/")} must not include {target}, which is above it in {home}'


def layer_fault(source, home, target, public):
    folder = longest_prefix(target, MAY_SEE)
    if not folder or folder == home:
        return None
    if folder not in MAY_SEE[home]:
        return f'{home} must not include from {folder} ({target})'
    if target not in public[folder]:
        return f'{target} is internal to {folder}'
    return None


def cycles(edges):
    """Yields the groups of files that include each other (Tarjan's strongly connected components)."""
    index, low, stack, on_stack = {}, {}, [], set()

    def visit(node):
        index[node] = low[node] = len(index)
        stack.append(node)
        on_stack.add(node)
        for following in sorted(edges.get(node, ())):
            if following not in index:
                yield from visit(following)
                low[node] = min(low[node], low[following])
            elif following in on_stack:
                low[node] = min(low[node], index[following])
        if low[node] == index[node]:
            group = []
            while not group or group[-1] != node:
                group.append(stack.pop())
                on_stack.discard(group[-1])
            if len(group) > 1:
                yield sorted(group)

    for node in sorted(edges):
        if node not in index:
            yield from visit(node)


def faults():
    public = public_headers()
    faces = set().union(*public.values())

    def part(path):
        return path if path in faces else path.rsplit('.', 1)[0]

    edges = collections.defaultdict(set)
    for folder in list(MAY_SEE) + LOOK_INSIDE:
        for path in sorted((ROOT / folder).rglob('*')):
            source = path.relative_to(ROOT).as_posix()
            home = longest_prefix(source, MAY_SEE)
            if path.suffix not in SOURCES or (home or folder) != folder:
                continue
            edges[part(source)]
            for number, quote, name, target in includes_of(source):
                where = f'{source}:{number}: '
                if POSIX.match(name) and home and home not in PLATFORM and source not in POSIX_ALLOWED:
                    yield where + f'{name} belongs below platform/'
                if not target:
                    if quote == '"' and not (ROOT / (name + '.in')).is_file():
                        yield where + f'{name} is not found from the root of the tree or from this folder'
                    continue
                if part(target) != part(source):
                    edges[part(source)].add(part(target))
                if target.startswith('tests/') and folder != 'tests':
                    yield where + f'{target}: nothing outside of tests/ includes from tests/'
                fault = home and (layer_fault(source, home, target, public) or order_fault(source, target))
                if fault:
                    yield where + fault
    for group in cycles(dict(edges)):
        yield 'these files include each other: ' + ', '.join(group)


def main():
    sys.setrecursionlimit(10000)
    found = list(faults())
    print('\n'.join(found) if found else 'layers: every include goes downward, to a public header')
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
