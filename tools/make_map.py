#!/usr/bin/env python3
"""Writes docs/map.md: one line for each file of the product, with its purpose and the public functions it defines.

    make_map.py           writes the document
    make_map.py --check   fails when the document is not what the code says

The purpose is the first sentence of the file's own head comment. A header and the source of its name share a line, which has
the header's sentence. So a header's first sentence names whatever a reader may search for: boxes, syntax elements, tools.
"""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / 'docs/map.md'
FOLDERS = ['host', 'filters', 'p3gpp', 'esparse', 'aacdec', 'id3p', 'fmgr', 'os', 'platform']
INTRODUCTION = '''# Map

Where each thing is: a box by its four characters, an AAC tool by its name, a public function, a call or an interface of the
platform, a command of `zdr`. One line for each file (a header and its source share one), from the top of the tree down;
search this page.
Generated from the heads of the files by `tools/make_map.py`.
'''
PUBLIC = re.compile(r'^zdr_public_headers\(([^)]*)\)', re.M)
CALL = re.compile(r'\b([A-Za-z_]\w+)\s*\(')
DEFINITION = re.compile(r'^(?:extern "C" )?[A-Za-z_][\w:<>*& ]*?[ *&](\w+)\(')
METHOD = re.compile(r'^(?:STDMETHODIMP(?:_\(\w+\))?|[A-Za-z_][\w:<>*& ]*?)[ *&]?(I?C[A-Z]\w+)::~?\w+\(')
INTERFACE = re.compile(r'^struct (I[A-Z]\w+) (?:: I[A-Z]\w+ )?{')


def head_sentence(text):
    """The first sentence of the comment at the head of a file."""
    match = re.match(r'(?:\s*#(?:pragma once|ifndef \w+|define \w+)\n)*\s*((?://[^\n]*\n)+|/\*.*?\*/)', text, re.S)
    if not match:
        return ''
    lines = [re.sub(r'^\s*(?://|/\*+|\*/|\*)\s?', '', line).replace('*/', '').strip() for line in match[1].splitlines()]
    while lines and not lines[0]:
        lines.pop(0)
    paragraph = ' '.join(lines[:lines.index('')] if '' in lines else lines)
    return re.split(r'(?<=\.)\s+(?=[A-Z`])', paragraph)[0].rstrip('.:').replace('|', '\\|')


def public_names():
    """Names of functions and classes that the public headers of the folders declare."""
    names = set()
    for cmake in ROOT.rglob('CMakeLists.txt'):
        if 'build' in cmake.parts:
            continue
        for name in ' '.join(PUBLIC.findall(cmake.read_text(encoding='utf-8'))).split():
            header = cmake.parent / name
            if header.suffix == '.h' and header.is_file():
                text = re.sub(r'//[^\n]*|/\*.*?\*/', '', header.read_text(encoding='utf-8'), flags=re.S)
                names |= {n for n in CALL.findall(text) if len(n) > 3 and not n.islower()}
    return names


def defined(text, names):
    """Public functions, entry points, interfaces, and classes of the platform, that a file defines."""
    found = []
    lines = text.splitlines()
    for number, line in enumerate(lines):
        method = METHOD.match(line) or INTERFACE.match(line)
        function = DEFINITION.match(line)
        is_public = function and (function[1] in names or line.startswith('extern'))
        name = method[1] if method else function[1] if is_public else None
        if name and name not in found and is_definition('\n'.join(lines[number:number + 20])):
            found.append(name)
    return found


def is_definition(text):
    """True if a body comes before the end of the declaration that the text begins with."""
    return text.partition(';')[0].find('{') >= 0


def units():
    """Folder -> {unit: its files}."""
    folders = collections.defaultdict(lambda: collections.defaultdict(list))
    for top in FOLDERS:
        for path in sorted((ROOT / top).rglob('*')):
            if path.suffix in ('.h', '.cpp', '.c'):
                name = path.relative_to(ROOT)
                folders[name.parent.as_posix()][name.stem].append(path)
    return folders


def document():
    names = public_names()
    lines = [INTRODUCTION]
    for folder, members in units().items():
        lines += [f'## {folder}/', '', '| file | what | defines |', '|---|---|---|']
        for unit, paths in sorted(members.items()):
            texts = [path.read_text(encoding='utf-8') for path in sorted(paths, key=lambda p: p.suffix != '.h')]
            purpose = next((s for s in map(head_sentence, texts) if s), '')
            functions = [n for path, text in zip(paths, texts) for n in defined(text, names)]
            functions = ', '.join(f'`{n}`' for n in dict.fromkeys(functions))
            endings = ', '.join(sorted((p.suffix for p in paths), reverse=True))
            lines.append(f'| `{unit}` {endings} | {purpose} | {functions} |')
        lines.append('')
    return '\n'.join(lines)


def main():
    text = document()
    if '--check' not in sys.argv[1:]:
        DOCUMENT.write_text(text, encoding='utf-8')
        return 0
    if DOCUMENT.is_file() and DOCUMENT.read_text(encoding='utf-8') == text:
        print('map: docs/map.md is what the code says')
        return 0
    print('docs/map.md is out of date: run tools/make_map.py')
    return 1


if __name__ == '__main__':
    sys.exit(main())
