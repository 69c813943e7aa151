#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Checks that every room includes only what it may.

    core, platform   themselves; they do not see each other
    decoders         core
    formats/common   decoders, core
    formats/<a>/<b>  formats/common, decoders, core, and the siblings allowed below
    formats/registry every format; nobody else includes them all
    io               core, platform
    api              formats/registry, io, core, platform
    tools            themselves and include/
    include          itself

`--self-test` runs it on made-up trees and fails unless each violation is found.
"""
import pathlib
import re
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]', re.MULTILINE)

# A format that reads another one's records includes its headers; each pair has a reason.
SIBLINGS = {
    ("classic/tar", "classic/gzip"),  # a tar inside gzip: gzip's header parser
    ("microsoft/office", "microsoft/compound"),  # both read compound files
    ("microsoft/msi", "microsoft/compound"),
}

ROOMS = {
    "platform": {"platform"},
    "core": {"core"},
    "decoders": {"decoders", "core"},
    "formats/common": {"formats/common", "decoders", "core"},
    "formats/registry": {"formats/registry", "formats/*", "core"},
    "formats/*": {"formats/common", "decoders", "core"},
    "io": {"io", "core", "platform"},
    "api": {"api", "formats/registry", "io", "core", "platform", "include"},
    "tools": {"tools", "include"},
    "include": {"include"},
}


def room_of(parts):
    """The room of a path below src/, tools/ or include/, given as its parts; None when there is no such room."""
    if parts[0] in ("brixcore",):
        return "include"
    if parts[0] == "formats" and len(parts) > 1:
        if parts[1] == "common":
            return "formats/common"
        return "formats/registry" if parts[1].startswith("registry.") else "formats/*"
    return parts[0] if parts[0] in ROOMS else None


def folder_of(parts):
    """A format's own folder, such as classic/tar."""
    return "/".join(parts[1:3])


def check_file(path, parts, room, known):
    """Yields one line for each include that the room of this file may not have."""
    for bracket, name in INCLUDE.findall(path.read_text(encoding="utf-8", errors="replace")):
        target = pathlib.PurePosixPath(name)
        own = room in ("tools", "include") and bracket == '"' and (path.parent / name).exists()
        if own:
            target_parts = (room,) if room == "tools" else target.parts
        elif bracket == "<" and name not in known:
            continue  # the system's
        else:
            target_parts = target.parts
        target_room = room_of(target_parts) if ".." not in target_parts else None
        if target_room is None:
            yield f"{path}: \"{name}\" is in no room"
        elif target_room == room == "formats/*":
            pair = folder_of(parts), folder_of(target_parts)
            if pair[0] != pair[1] and pair not in SIBLINGS:
                yield f"{path}: {pair[0]} must not include {pair[1]} ({name})"
        elif target_room not in ROOMS[room]:
            yield f"{path}: {room} must not include {target_room} ({name})"


def check_tree(root):
    problems, files = [], 0
    bases = [root / "src", root / "include", root / "tools"]
    known = {p.relative_to(b).as_posix() for b in bases if b.is_dir() for p in b.rglob("*") if p.is_file()}
    for base in bases:
        for path in sorted(base.rglob("*")) if base.is_dir() else []:
            if path.suffix not in (".h", ".c", ".cpp", ".hpp", ".inc"):
                continue
            files += 1
            parts = path.relative_to(base).parts
            room = "tools" if base.name == "tools" else room_of(parts)
            if room is None:
                problems.append(f"{path}: in no room")
            else:
                problems += check_file(path, parts, room, known)
    return problems, files


SELF_TEST = [  # file, its include, whether that is a violation
    ("src/core/a.cpp", '"core/stream.h"', False),
    ("src/core/a.cpp", '"platform/file.h"', True),
    ("src/core/a.cpp", "<platform/file.h>", True),
    ("src/core/a.cpp", '"formats/classic/zip/zip_handler.h"', True),
    ("src/core/a.cpp", '"brixcore/status.h"', True),
    ("src/core/a.cpp", "<vector>", False),
    ("src/core/a.cpp", '"../core/stream.h"', True),
    ("src/platform/posix/a.cpp", '"core/stream.h"', True),
    ("src/decoders/deflate/a.cpp", '"core/stream.h"', False),
    ("src/decoders/deflate/a.cpp", '"formats/common/scan.h"', True),
    ("src/formats/common/a.cpp", '"decoders/decoder.h"', False),
    ("src/formats/common/a.cpp", '"formats/classic/zip/zip_handler.h"', True),
    ("src/formats/classic/zip/a.cpp", '"formats/classic/zip/zip_handler.h"', False),
    ("src/formats/classic/zip/a.cpp", '"formats/registry.h"', True),
    ("src/formats/classic/zip/a.cpp", '"formats/classic/gzip/gzip_header.h"', True),
    ("src/formats/classic/tar/a.cpp", '"formats/classic/gzip/gzip_header.h"', False),
    ("src/formats/classic/zip/a.cpp", '"io/file_stream.h"', True),
    ("src/formats/registry.cpp", '"formats/classic/zip/zip_handler.h"', False),
    ("src/io/a.cpp", '"platform/file.h"', False),
    ("src/io/a.cpp", '"formats/registry.h"', True),
    ("src/api/a.cpp", '"formats/registry.h"', False),
    ("src/api/a.cpp", '"decoders/decoder.h"', True),
    ("src/api/a.cpp", '"formats/classic/zip/zip_handler.h"', True),
    ("tools/brix/a.cpp", '"brixcore/toolkit.h"', False),
    ("tools/brix/a.cpp", '"core/stream.h"', True),
    ("include/brixcore/a.h", '"core/stream.h"', True),
    ("src/misc/a.cpp", "<vector>", True),
]


def self_test():
    failed = 0
    for name, include, is_violation in SELF_TEST:
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for path, text in ((name, f"#include {include}\n"), ("src/platform/file.h", "")):
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text)
            if bool(check_tree(root)[0]) != is_violation:
                failed += 1
                print(f"self-test: {name} including {include} was {'missed' if is_violation else 'refused'}")
    print(f"layers self-test: {len(SELF_TEST)} cases, {failed} failed")
    return failed


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    if sys.argv[1:] == ["--self-test"]:
        return 1 if self_test() else 0
    problems, files = check_tree(root)
    for problem in problems:
        print(problem)
    print(f"layers: {files} files, {len(problems)} problems")
    return 1 if problems or files == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
