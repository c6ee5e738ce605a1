#!/usr/bin/env python3
"""Shows that check_layers.py refuses what its rules forbid: each case adds one or two files to a small sound tree."""
import pathlib
import sys
import tempfile

import check_layers

SOUND = {
    'platform/win32/windows.h': '#include <unistd.h>',
    'os/os.h': '#include <stdint.h>',
    'os/mutex.cpp': '#include "os/os.h"\n#include <windows.h>\n#include <vector>',
    'fmgr/fmgr.h': '#include <stdint.h>',
    'fmgr/buffer.h': '#pragma once',
    'fmgr/stream.cpp': '#include "buffer.h"\n#include "fmgr/fmgr.h"\n#include "os/os.h"',
    'p3gpp/parse/box_node.h': '#include <memory>',
    'p3gpp/api/open.cpp': '#include "p3gpp/parse/box_node.h"\n#include "fmgr/fmgr.h"',
    'host/messages.h': '#include <string>',
    'host/terminal.cpp': '#include <unistd.h>',
    'mediakit/boxes/box_builder.h': '#include "p3gpp/parse/box_node.h"',
    'tests/buffer_test.cpp': '#include "fmgr/buffer.h"\n#include "mediakit/boxes/box_builder.h"\n#include <gtest/gtest.h>',
}
DECLARED = {'platform/win32': 'windows.h', 'os': 'os.h', 'fmgr': 'fmgr.h'}

# What is wrong, the files, and a part of the only message.
CASES = [
    ('another folder in angle brackets', {'host/main.cpp': '#include <p3gpp/parse/box_node.h>'}, 'write it in quotes'),
    ('a folder above in angle brackets', {'os/x.cpp': '#include <host/messages.h>'}, 'write it in quotes'),
    ('the platform from its root', {'os/x.cpp': '#include <platform/win32/windows.h>'}, 'write it in quotes'),
    ('a parent folder', {'os/x.cpp': '#include "../fmgr/fmgr.h"'}, 'from the root of the tree'),
    ('a parent folder on the way', {'p3gpp/api/x.cpp': '#include "p3gpp/api/../parse/box_node.h"'}, 'from the root'),
    ('product that includes the media kit', {'p3gpp/api/x.cpp': '#include "mediakit/boxes/box_builder.h"'},
     'p3gpp must not include from mediakit'),
    ('a benchmark that includes tests', {'tests/x.h': '', 'bench/x.cpp': '#include "tests/x.h"'},
     'bench must not include from tests'),
    ('a new folder', {'util/x.h': '#include "host/messages.h"'}, 'util/x.h: its folder has no place'),
    ('a source between the folders', {'esparse/x.cpp': ''}, 'esparse/x.cpp: its folder has no place'),
    ('a source at the root', {'x.cpp': ''}, 'x.cpp: its folder has no place'),
    ('a header of the system', {'fmgr/x.cpp': '#include <sched.h>'}, '<sched.h> is neither'),
    ('a system folder', {'host/x.cpp': '#include <arpa/inet.h>'}, '<arpa/inet.h> is neither'),
    ('POSIX in another file than the terminal', {'host/x.cpp': '#include <unistd.h>'}, '<unistd.h> is neither'),
    ('a macro', {'os/x.cpp': '#define HEADER "host/messages.h"\n#include HEADER'}, 'write #include'),
    ('another directive', {'os/x.cpp': '#include_next <windows.h>'}, 'write #include'),
    ('a digraph', {'os/x.cpp': '%:include "os/os.h"'}, 'write #include'),
    ('an import', {'os/x.cpp': 'export import "os/os.h";'}, 'write #include'),
    ('a comment before the directive', {'os/x.cpp': '// /*\n/* a\n */ #include "host/messages.h"'}, 'os must not include from'),
    ('a directive over two lines', {'os/x.cpp': '#inc\\\nlude "host/messages.h"'}, 'os/x.cpp:1: os must not include from'),
    ('a template', {'host/version.h.in': '#include "fmgr/buffer.h"'}, 'fmgr/buffer.h is internal'),
    ('a name that nobody finds', {'os/x.cpp': '#include "sched.h"'}, 'is not found'),
    ('a layer above', {'os/x.cpp': '#include "fmgr/fmgr.h"'}, 'os must not include from fmgr'),
    ('an internal header', {'p3gpp/api/x.cpp': '#include "fmgr/buffer.h"'}, 'fmgr/buffer.h is internal'),
    ('a subfolder above', {'p3gpp/api/x.h': '', 'p3gpp/parse/x.cpp': '#include "p3gpp/api/x.h"'}, 'is above it in p3gpp'),
    ('files that include each other', {'os/x.h': '#include "os/y.h"', 'os/y.h': '#include "os/x.h"'},
     'these files include each other: os/x, os/y'),
]


def faults_with(files):
    with tempfile.TemporaryDirectory() as folder:
        root = check_layers.ROOT = pathlib.Path(folder)
        lists = {f'{home}/CMakeLists.txt': f'zdr_public_headers(TREE {DECLARED.get(home, "")})'
                 for home in check_layers.MAY_SEE}
        for name, text in {**lists, **SOUND, **files}.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text + '\n', encoding='utf-8')
        return list(check_layers.faults())


def main():
    wrong = [f'the sound tree: {fault}' for fault in faults_with({})]
    for what, files, expected in CASES:
        found = faults_with(files)
        if len(found) != 1 or expected not in found[0]:
            wrong.append(f'{what}: found {found}, not one fault with "{expected}"')
    print('\n'.join(wrong) if wrong else f'layers: {len(CASES)} made-up faults are refused')
    return 1 if wrong else 0


if __name__ == '__main__':
    sys.exit(main())
