#!/usr/bin/env python3
"""Validates the JSON of every command over a folder of media files.

    check_schemas.py PROGRAM SAMPLES DOCS

Runs the commands that print JSON over every file, over its first part, and over files that cannot be opened, and validates
each document and each line against DOCS/schema. The boxes that `boxes` lists must cover the file. Every name in the schemas
must be described in DOCS/json.md. Needs the Python module jsonschema.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import jsonschema

program, samples, docs = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
BY_FILE = [["info"], ["info", "--full", "--exact"], ["boxes"], ["boxes", "--entries", "stsz", "--all"],
           ["boxes", "--path", "moov/trak"], ["play", "-o", "out", "--force"], ["play", "-o", "out", "--decode", "--force"], ["verify", "--hash", "md5", "--first", "1"]]
faults, counts = [], {}


def without_references(text, name):
    """A schema in which references into common.schema.json are references into itself."""
    text = text.replace('"common.schema.json#/$defs/', '"#/$defs/common_')
    return json.loads(re.sub(r'"#/\$defs/(?!common_)', f'"#/$defs/{name}_', text) if name else text)


def validators():
    texts = {path.name.removesuffix(".schema.json"): path.read_text() for path in (docs / "schema").iterdir()}
    common = without_references(texts.pop("common"), "common")["$defs"]
    for name, text in texts.items():
        schema = without_references(text, "")
        schema["$defs"] = schema.get("$defs", {}) | {f"common_{key}": value for key, value in common.items()}
        jsonschema.Draft202012Validator.check_schema(schema)
        yield name, jsonschema.Draft202012Validator(schema)


def refuse_repeated_keys(pairs):
    if len(dict(pairs)) != len(pairs):
        raise ValueError("a key occurs twice")
    return dict(pairs)


def document_name(text):
    found = re.search(r'"file": ?"([^"]*)', text)
    return pathlib.Path(found[1]).name if found else text[:40]


def uncovered(boxes, at, end):
    """The first byte of a range that is in no box, or in two. `at` is None where fields may precede the boxes."""
    for box in boxes:
        if at is not None and box["offset"] != at:
            return at
        at = box["offset"] + box["size"] - box.get("excess", 0)
        inside = uncovered(box["children"], None, at) if "children" in box else None
        if inside is not None:
            return inside
    return at if boxes and at != end else None


def check(command, text, code):
    name = command[0]
    try:
        document = json.loads(text, object_pairs_hook=refuse_repeated_keys)
        error = jsonschema.exceptions.best_match(schemas[name].iter_errors(document))
        reason = f"{error.json_path}: {error.message}" if error else ""
        if not reason and code is not None and document.get("exit_code", code) != code:
            reason = f"exit code {code}, but {document['exit_code']} in the document"
        if not reason and command[:2] == ["boxes", "--jsonl"] and document["exit_code"] in (0, 3):
            gap = uncovered(document["boxes"], 0, os.path.getsize(document["file"]))
            reason = f"no box, or two of them, at offset {gap}" if gap is not None else ""
    except ValueError as failure:
        reason = str(failure)
    counts[name] = counts.get(name, 0) + 1
    if reason:
        faults.append(f"{' '.join(map(str, command))[:60]} ({document_name(text)}): {reason[:500]}")


def run(command, by_line):
    done = subprocess.run([program, *command], stdin=subprocess.DEVNULL, capture_output=True)
    texts = done.stdout.decode().splitlines() if by_line else [done.stdout.decode()]
    if not texts or not texts[0]:
        faults.append(f"{' '.join(map(str, command))}: prints nothing")
    for text in texts:
        check(command, text, None if by_line else done.returncode)
    return len(texts)


def names_of(schema):
    if isinstance(schema, dict):
        yield from schema.get("properties", {})
    for value in schema.values() if isinstance(schema, dict) else schema if isinstance(schema, list) else ():
        yield from names_of(value)


schemas = dict(validators())
described = set(re.findall(r"`([a-z0-9_]+)`", (docs / "json.md").read_text()))
for path in sorted((docs / "schema").iterdir()):
    missing = sorted(set(names_of(json.loads(path.read_text()))) - described)
    faults += [f"json.md does not describe {name} of {path.name}" for name in missing]

media = sorted(path for path in samples.iterdir() if path.suffix in (".mp4", ".3gp", ".amr", ".awb", ".aac", ".m4a", ".m4v"))
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ |= {"ZDR_REGISTRY": folder + "/registry.reg"}
    files = [*media, "no such file.mp4"]
    for sample in media:
        part = pathlib.Path("cut-" + sample.name)
        part.write_bytes(sample.read_bytes()[:sample.stat().st_size * 3 // 5])
        files.append(part)
    for command in BY_FILE:
        lines = run([*command, "--jsonl", *files], True)
        if lines != len(files):
            faults.append(f"{' '.join(command)}: {lines} lines for {len(files)} files")
        run([*command, "--json", *files[:2], files[-1]], False)
        run([*command, "--json", files[0]], False)
    for file in files:
        run(["samples", "--json", file], True)
        run(["samples", "--explain-seek", "1", "--json", file], False)
        run(["keyframes", "--json", file], True)
        for picture in (["1"], ["--at", "1"], ["--all"]):
            run(["keyframe", file, *picture, "--json", "-o", "out", "--force"], False)
        run(["plot", file, "--json", "-o", "out", "--force", "--seek", "1"], False)
    pathlib.Path("manifest").write_text(f"{'0' * 32}  {media[0]}:Audio1\n{'0' * 32}  gone.mp4:Video0\n")
    run(["verify", "--json", "--decode", "--against", "manifest", media[0], media[-1]], False)
    run(["registry", "--json"], False)
    subprocess.run([program, "register", "-q"], check=True)
    run(["registry", "--json"], False)

print(", ".join(f"{name}: {count}" for name, count in sorted(counts.items())), "documents and lines")
print("\n".join(faults[:20]))
sys.exit(1 if faults or not media else 0)
