#!/usr/bin/env python3
"""Fails on an include that the layout of the tree forbids.

Six rules:

1. Every source belongs to a folder of MAY_SEE, and includes only from the folders named there: downwards, never sideways.
   Tests, benchmarks, fuzz targets and the media kit have folders of their own (SUPPORT), which no product code includes.
2. Of another folder it includes only the headers that this folder's CMakeLists.txt declares with zdr_public_headers.
   The folders of SUPPORT may look inside.
3. Within a folder the subfolders have an order (ORDER): each includes from itself and from those before it.
4. No two files include each other, directly or through others. A header and the source of its name are one file here,
   so that a part never includes its own caller; public headers alone are apart from the source that implements them.
5. Above platform/, the headers from outside of the tree are those of the C++ and C standards and of OUTSIDE.
6. An include names its file in quotes, from the root of the tree or from the includer's folder, without `..`, without
   a macro and without a module's `import`, so that the rules above see every file. Angle brackets are for headers from outside of the tree, and
   for the platform's own names (<windows.h> ...), which stand for the file that provides them.

check_layers_test.py shows that each rule finds its breaches.
"""
import collections
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ('.h', '.hh', '.hpp', '.hxx', '.cpp', '.cc', '.cxx', '.c', '.inc', '.ipp', '.inl', '.def', '.in')

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
    # The module's interfaces; the decoder for --decode; the parser for the box view; the parser and the readers to explain
    # a failed open and to find what a play has missed; the tag parser, because the filter does not publish the tags of AAC
    # files.
    'host': PLATFORM + ['aacdec', 'p3gpp', 'fmgr', 'esparse/aac', 'esparse/amr', 'id3p', 'os', 'filters/source/mp4'],
}
# Each of these may include from all of the product and from the folders named here.
SUPPORT = {'mediakit': [], 'samples': ['mediakit'], 'tests': ['mediakit'], 'bench': ['mediakit'], 'fuzz': ['mediakit'],
           'examples': []}

# The platform's base classes are one flat folder, since the platform has no folders in its header names.
DSHOW_INTERFACES = ('amvideo', 'evcode', 'filter_interfaces', 'fourcc', 'graph_interfaces', 'media_records', 'mmreg',
                    'pcm_order', 'registration', 'sample_interfaces', 'uuids')
DSHOW_FOUNDATION = ('combase', 'mtype', 'nothrow_new', 'single_interface', 'wide_text', 'wxdebug', 'wxutil')
DSHOW_MODULE = ('amfilter', 'built_in_classes', 'dll_setup', 'dshow', 'filter_data', 'filter_mapper', 'filter_setup',
                'module_entry', 'module_templates', 'streams')

# From the bottom up; subfolders on one line don't see each other. '.' is the folder itself. A file's name without its
# ending counts as a subfolder of its own, and a tuple of such names as one.
ORDER = {
    'aacdec': [['tables'], ['fixed'], ['syntax'], ['core', 'sbr'], ['.']],
    WIN32: [['.'], ['runtime']],
    'platform/win32/runtime': [['.'], ['text'], ['files', 'named', 'processes'], ['waits'], ['registry']],
    DSHOW: [[DSHOW_INTERFACES], [DSHOW_FOUNDATION], ['.'], [DSHOW_MODULE]],
    'p3gpp': [['.'], ['parse'], ['metadata'], ['boxes'], ['samples'], ['api']],
    'filters/source/mp4': [['interfaces'], ['core'], ['readers'], ['media_types', 'sync'], ['sources', 'clips'], ['filter'],
                           ['.']],
    'host': [['text'], ['formats'], ['.'], ['json'], ['writers', 'inspect'], ['graph'], ['verify', 'seek', 'plot'], ['commands'],
             ['command_line'],
             ['main']],
    'host/plot': [['.'], ['gather', 'svg'], ['draw']],
    'host/inspect': [['.'], ['files'], ['iso', 'aac', 'amr'], ['tags'], ['diagnosis']],
    'host/command_line': [['.'], [('documents', 'man_page')], ['command_table'], ['command_line']],
}
# Headers that any subfolder of their folder may include: the folder's own public face.
FACES = {'aacdec/zd_aac_dec.h'}

STANDARD = re.compile(r'^([a-z_]+|(assert|ctype|errno|fenv|float|inttypes|iso646|limits|locale|math|setjmp|signal|std(arg|bool|'
                      r'def|int|io|lib)|string|time|uchar|wchar|wctype)\.h)$')
# Other headers from outside of the tree, by folder or file: processor extensions, the parser of the command line, checksums, and
# POSIX for the one file that handles signals and the terminal.
OUTSIDE = {
    'aacdec': {'immintrin.h', 'arm_neon.h'},
    'host': {'CLI/CLI.hpp', 'nettle/md5.h', 'nettle/sha2.h', 'zlib.h'},
    'host/terminal.cpp': {'fcntl.h', 'poll.h', 'sys/ioctl.h', 'sys/time.h', 'unistd.h'},
}
ANY_INCLUDE = re.compile(r'^\s*((#|%:)\s*(include|include_next|import)|(export\s+)?import)\b')
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
CONTINUED = re.compile(r'((?:[^\n]*\\[ \t]*\n)+)([^\n]*)')
COMMENT_OR_TEXT = re.compile(r'//[^\n]*|"(?:\\.|[^"\\\n])*"|/\*.*?\*/', re.S)
DECLARATION = re.compile(r'^zdr_public_headers\(([^)]*)\)', re.M)


def longest_prefix(path, folders):
    return max((f for f in folders if path.startswith(f + '/')), key=len, default=None)


def home_of(path):
    return longest_prefix(path, [*MAY_SEE, *SUPPORT])


def sources():
    for top in sorted(ROOT.iterdir()):
        if top.name != 'build' and not top.name.startswith('.'):
            for path in [top, *sorted(top.rglob('*'))]:
                if path.suffix in SOURCES:
                    yield path.relative_to(ROOT).as_posix()


def public_headers():
    """Folder -> the headers that it declares, as paths from the root of the tree."""
    declared = {}
    for folder in MAY_SEE:
        text = (ROOT / folder / 'CMakeLists.txt').read_text(encoding='utf-8')
        names = ' '.join(DECLARATION.findall(text)).split()
        declared[folder] = {f'{folder}/{name}' for name in names if name not in ('INSTALLED', 'TREE')}
    return declared


def is_file(path):
    return (ROOT / path).is_file()


def file_of(source, quote, name):
    """The file of the tree that an include names, or None for the standard library and third parties."""
    folders = PLATFORM + ['.'] if quote == '<' else [pathlib.PurePosixPath(source).parent, '.']
    return next(filter(is_file, (os.path.normpath(f'{folder}/{name}') for folder in folders)), None)


def lines_of(source):
    """The lines of a file with continued lines joined and block comments blanked, as the compiler sees directives."""
    text = (ROOT / source).read_text(encoding='utf-8')
    text = CONTINUED.sub(lambda m: re.sub(r'\\[ \t]*\n', '', m[1]) + m[2] + '\n' * m[1].count('\n'), text)
    text = COMMENT_OR_TEXT.sub(lambda m: ' ' + '\n' * m[0].count('\n') if m[0].startswith('/*') else m[0], text)
    return text.splitlines()


def includes_of(source):
    """Yields (line number, quote, name as written, file of the tree or None); quote is empty unless the form is plain."""
    for number, line in enumerate(lines_of(source), 1):
        if ANY_INCLUDE.match(line):
            match = INCLUDE.match(line)
            quote, name = match.groups() if match else ('', line.strip())
            yield number, quote, name, file_of(source, quote, name) if match else None


def form_fault(source, home, quote, name, target):
    """Returns the breach of rule 5 or 6 by the form of an include, or None."""
    if not quote:
        return f'{name}: write #include and the name of the file'
    if '..' in pathlib.PurePosixPath(name).parts:
        return f'{name}: name the file from the root of the tree'
    if target:
        by_platform = any(target == f'{folder}/{name}' for folder in PLATFORM)
        return None if quote == '"' or by_platform else f'<{name}> is in the tree: write it in quotes'
    if quote == '"':
        return None if is_file(name + '.in') else f'{name} is not found from the root of the tree or from this folder'
    allowed = OUTSIDE.get(home, set()) | OUTSIDE.get(source, set())
    if home in MAY_SEE and home not in PLATFORM and name not in allowed and not STANDARD.match(name):
        return f'<{name}> is neither a standard header nor in OUTSIDE: what the system offers belongs below platform/'
    return None


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


def layer_fault(home, target, public):
    """Returns the breach of rule 1 or 2, or None."""
    folder = home_of(target)
    if not folder:
        return f'{target} is in no folder that has a place in the layers'
    if folder == home:
        return None
    if folder not in MAY_SEE[home] if home in MAY_SEE else folder in SUPPORT and folder not in SUPPORT[home]:
        return f'{home} must not include from {folder} ({target})'
    if home in MAY_SEE and target not in public[folder]:
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
    for source in sources():
        home = home_of(source)
        if not home:
            yield f'{source}: its folder has no place in the layers'
            continue
        edges[part(source)]
        for number, quote, name, target in includes_of(source):
            fault = form_fault(source, home, quote, name, target)
            if target:
                fault = fault or layer_fault(home, target, public) or order_fault(source, target)
                if part(target) != part(source):
                    edges[part(source)].add(part(target))
            if fault:
                yield f'{source}:{number}: {fault}'
    for group in cycles(dict(edges)):
        yield 'these files include each other: ' + ', '.join(group)


def main():
    sys.setrecursionlimit(10000)
    found = list(faults())
    print('\n'.join(found) if found else 'layers: every include goes downward, to a public header')
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
