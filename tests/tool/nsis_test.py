#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Makes installers with makensis, by each compressor, solid and not, with ANSI and Unicode strings, and extracts them.

usage: nsis_test.py PROGRAM

Exits with 77, which ctest shows as skipped, where makensis is not installed.
"""
import itertools
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

SCRIPT = r"""
Unicode {unicode}
SetCompressor {compressor}
Name Test
OutFile setup.exe
Page instfiles
UninstPage instfiles
LoadLanguageFile "${{NSISDIR}}\Contrib\Language files\English.nlf"
LangString Word 1033 "word"
Var Own
Section
  SetOutPath $INSTDIR
  File hello.txt
  File empty.txt
  File large.bin
  SetOutPath "$INSTDIR\data"
  File /r tree\*.*
  File random.bin
  File /oname=again.txt hello.txt
  File hello.txt
  File hello.txt
  File "/oname=a $(Word).txt" hello.txt
  File /oname=$PLUGINSDIR\inner.txt hello.txt
  SetOutPath "$SMPROGRAMS\Test"
  File random.bin
  SetOutPath "$COMMONFILES\$1\$R2\$Own"
  File text.txt
  System::Call 'kernel32::GetTickCount()'
  System::Call 'kernel32::GetTickCount()'
  WriteUninstaller uninstall.exe
SectionEnd
Section Uninstall
  File text.txt
SectionEnd
"""
TEXT = "".join(f"Line {i}, {i * i % 4099}.\n" for i in range(3000)).encode()
FILES = {"hello.txt": b"hello\n", "empty.txt": b"", "text.txt": TEXT, "random.bin": random.Random(7).randbytes(70_000),
         "large.bin": TEXT * 40, "tree/one.txt": b"1", "tree/deep/two.txt": b"2"}
EXPECTED = {"$INSTDIR/hello.txt": "hello.txt", "$INSTDIR/empty.txt": "empty.txt", "$INSTDIR/large.bin": "large.bin",
            "$INSTDIR/data/one.txt": "tree/one.txt", "$INSTDIR/data/deep/two.txt": "tree/deep/two.txt",
            "$INSTDIR/data/random.bin": "random.bin", "$INSTDIR/data/again.txt": "hello.txt",
            "$INSTDIR/data/hello.txt": "hello.txt", "$INSTDIR/data/a NSIS_LANG_CODE.txt": "hello.txt",
            "$PLUGINSDIR/inner.txt": "hello.txt", "$SMPROGRAMS/Test/random.bin": "random.bin",
            "$COMMONFILES/$1/$R2/$[32]/text.txt": "text.txt"}


def check(program, folder, compressor, unicode):
    (folder / "setup.nsi").write_text(SCRIPT.format(unicode=str(unicode).lower(), compressor=compressor))
    subprocess.run(["makensis", "-V1", "setup.nsi"], cwd=folder, check=True)
    output = folder / "out"
    shutil.rmtree(output, ignore_errors=True)
    subprocess.run([program, "x", "-o", output, folder / "setup.exe"], check=True)
    found = {p.relative_to(output).as_posix(): p.read_bytes() for p in output.rglob("*") if p.is_file()}
    # The uninstaller runs, so that it begins like the installer, and is looked into. The plug-in is a library.
    uninstaller, plug_in = found.pop("$INSTDIR/uninstall.exe"), found.pop("$PLUGINSDIR/System.dll")
    inner = [found.pop(name) for name in list(found) if name.startswith("$INSTDIR/uninstall.exe")]
    good = found == {name: FILES[source] for name, source in EXPECTED.items()}
    good &= uninstaller[:64] == (folder / "setup.exe").read_bytes()[:64] and inner == [TEXT] and plug_in[:2] == b"MZ"
    if not good:
        sys.exit(f"{compressor}, unicode {unicode}: {[(name, len(data)) for name, data in found.items()]}, {len(inner)}")


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    if shutil.which("makensis") is None:
        print("skipped: makensis is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for path, content in FILES.items():
            (folder / path).parent.mkdir(parents=True, exist_ok=True)
            (folder / path).write_bytes(content)
        rows = list(itertools.product(("zlib", "bzip2", "lzma"), ("", "/SOLID "), (False, True)))
        for method, solid, unicode in rows:
            check(program, folder, solid + method, unicode)
    print(f"{len(rows)} installers gave back what went in")


if __name__ == "__main__":
    main()
