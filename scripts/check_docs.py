#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Checks the reference and the manual pages.

usage: check_docs.py

Doxygen reads the public headers and the texts without a warning; mandoc and groff read the manual pages without one;
and the pages' synopses declare what the headers declare: each exported function once, with its result and arguments.
The reference is left in build/reference.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
PAGES = sorted((ROOT / "docs/man").glob("*.[13]"))


def complaints(*command):
    """What a command prints besides its result; its failure counts too."""
    done = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
    lines = done.stderr.splitlines() + (done.stdout.splitlines() if "-Tlint" in command else [])
    return lines or ([f"{command[0]} ends with {done.returncode}"] if done.returncode else [])


def plain(declaration):
    return re.sub(r"\s*([*(),])\s*", r"\1", " ".join(declaration.split()))


def declared_in_headers():
    found = {}
    for path in (ROOT / "include/brixcore").glob("*.h"):
        text = re.sub(r"/\*.*?\*/", "", path.read_text(), flags=re.DOTALL)
        for result, name, arguments in re.findall(r"^BRIX_API ([^;(]*?)(\w+)\(([^;]*)\);", text, re.MULTILINE):
            found[name] = plain(f"{result} {name}({arguments})")
    return found


def declared_in_pages():
    found, faults = {}, []
    for path in PAGES:
        synopsis = path.read_text().split(".Sh SYNOPSIS", 1)[1].split(".Sh DESCRIPTION", 1)[0]
        for result, name, rest in re.findall(r"^\.Ft (.*)\n\.Fn (\w+)(.*)$", synopsis, re.MULTILINE):
            arguments = [quoted or word for quoted, word in re.findall(r'"([^"]*)"|(\S+)', rest)]
            if name in found:
                faults.append(f"{path.name}: {name} stands in two pages")
            found[name] = plain(f"{result} {name}({','.join(arguments)})")
    return found, faults


def main():
    faults = complaints("doxygen", "docs/Doxyfile")
    for page in PAGES:
        faults += complaints("mandoc", "-Tlint", "-Wwarning", str(page))
        faults += complaints("groff", "-mdoc", "-ww", "-z", str(page))
    headers = declared_in_headers()
    pages, twice = declared_in_pages()
    faults += twice
    exports = {line for line in (ROOT / "src/api/exports.txt").read_text().split("\n") if re.match(r"\w", line)}
    faults += [f"exported, but no header declares it: {name}" for name in sorted(exports - headers.keys())]
    faults += [f"no manual page declares {name}" for name in sorted(exports - pages.keys())]
    faults += [f"the manual page and the header differ:\n  {declaration}\n  {headers.get(name)}"
               for name, declaration in sorted(pages.items()) if declaration != headers.get(name)]
    if faults:
        sys.exit("\n".join(faults))
    print(f"the reference and {len(PAGES)} manual pages: no warning; {len(pages)} functions as declared")


if __name__ == "__main__":
    main()
