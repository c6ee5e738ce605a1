#!/usr/bin/env python3
"""Compares docs/kept-behaviours.md with the marks in the code and the tests.

A behaviour that looks like a mistake and is intended has a row in the document, a comment that begins with `Kept:` in
each file that the row names, and a test with Kept in its name. This fails on:

- a row whose file does not exist;
- a file whose marks are more or fewer than the rows that name it;
- a mark that does not begin its comment;
- a row without a test, or whose test does not exist or has no Kept in its name;
- a test with Kept in its name that no row names.
"""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = 'docs/kept-behaviours.md'
PRODUCT = ['platform', 'os', 'fmgr', 'id3p', 'aacdec', 'p3gpp', 'esparse', 'filters', 'host']
MARK = re.compile(r'(?://|/\*) ?Kept: \S')
ANY_MARK = re.compile(r'\bkept:', re.I)
TEST = re.compile(r'^(?:TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\(\s*(\w+),\s*(\w+)\)', re.M)
NAME = re.compile(r'`([^`]+)`')


def sources(folders):
    for folder in folders:
        for path in sorted((ROOT / folder).rglob('*')):
            if path.suffix in ('.h', '.cpp', '.c'):
                yield path.relative_to(ROOT).as_posix(), path.read_text(encoding='utf-8')


def rows():
    """Yields (line number, files, tests) of each row of the document's tables."""
    for number, line in enumerate((ROOT / DOCUMENT).read_text(encoding='utf-8').splitlines(), 1):
        cells = [cell.strip() for cell in line.strip().strip('|').split(' | ')]
        if line.startswith('|') and len(cells) == 3 and cells[0] != 'behaviour' and not cells[0].startswith('---'):
            yield number, NAME.findall(cells[1]), NAME.findall(cells[2])


def faults():
    marks = {}
    for path, text in sources(PRODUCT):
        marks[path] = len(MARK.findall(text))
        for number, line in enumerate(text.splitlines(), 1):
            if ANY_MARK.search(line) and not MARK.search(line):
                yield f'{path}:{number}: the mark does not begin its comment'
    tests = {f'{suite}.{name}' for _, text in sources(['tests']) for suite, name in TEST.findall(text)}
    rows_of_file, named_tests = collections.Counter(), set()
    for number, files, row_tests in rows():
        where = f'{DOCUMENT}:{number}: '
        for file in files:
            rows_of_file[file] += 1
            if file not in marks:
                yield where + f'there is no file {file}'
        if not files or not row_tests:
            yield where + 'a row needs a file and a test'
        for test in row_tests:
            named_tests.add(test)
            if test not in tests:
                yield where + f'there is no test {test}'
            elif 'Kept' not in test.split('.')[1]:
                yield where + f'{test} has no Kept in its name'
    for file, count in sorted(marks.items()):
        if count != rows_of_file[file]:
            yield f'{file}: number of marks is {count}, of rows in {DOCUMENT} that name it {rows_of_file[file]}'
    for test in sorted(tests):
        if 'Kept' in test.split('.')[1] and test not in named_tests:
            yield f'{test}: no row of {DOCUMENT} names this test'


def main():
    found = list(faults())
    print('\n'.join(found) if found else 'kept behaviours: rows, marks and tests agree')
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
