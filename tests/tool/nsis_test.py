#!/usr/bin/env python3
"""Makes installers with makensis, by each compressor, solid and not, with ANSI and Unicode strings, and extracts them.

usage: nsis_test.py PROGRAM

Exits with 77, which ctest shows as skipped, where makensis is not installed.
"""
import itertools
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile

SCRIPT = r"""
Unicode {unicode}
SetCompressor {compressor}
Name Test
OutFile setup.exe
InstallDir "$PROGRAMFILES\Test"
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
  SetOutPath "$TEMP\$LANGUAGE"
  File text.txt
  System::Call 'kernel32::GetTickCount()'
  System::Call 'kernel32::GetTickCount()'
  WriteUninstaller uninstall.exe
SectionEnd
Section Uninstall
  File text.txt
SectionEnd
"""


def files():
    generator = random.Random(7)
    text = "".join(f"Line {i}, {generator.randrange(100)}.\n" for i in range(3000)).encode()
    return {"hello.txt": b"hello\n", "empty.txt": b"", "text.txt": text, "random.bin": generator.randbytes(70_000),
            "large.bin": text * 40, "tree/one.txt": b"1", "tree/deep/two.txt": b"2"}


def expected(unicode):
    content = files()
    names = {"$INSTDIR": ("hello.txt", "empty.txt", "large.bin"),
             "$INSTDIR/data": ("random.bin", "hello.txt"), "$SMPROGRAMS/Test": ("random.bin",),
             "$COMMONFILES/$1/$R2/$[32]": ("text.txt",), "$TEMP/$LANGUAGE": ("text.txt",)}
    tree = {f"{folder}/{name}": content[name] for folder, inside in names.items() for name in inside}
    for name in ("$INSTDIR/data/again.txt", "$INSTDIR/data/a NSIS_LANG_CODE.txt", "$PLUGINSDIR/inner.txt"):
        tree[name] = content["hello.txt"]
    tree["$INSTDIR/data/one.txt"], tree["$INSTDIR/data/deep/two.txt"] = b"1", b"2"
    settings = subprocess.run(["makensis", "-HDRINFO"], check=True, stdout=subprocess.PIPE, text=True).stdout
    home = pathlib.Path(re.search(r"NSISDIR=([^,\n]+)", settings)[1])
    tree["$PLUGINSDIR/System.dll"] = (home / f"Plugins/x86-{'unicode' if unicode else 'ansi'}/System.dll").read_bytes()
    return tree


def check(program, folder, compressor, unicode):
    (folder / "setup.nsi").write_text(SCRIPT.format(unicode=str(unicode).lower(), compressor=compressor))
    subprocess.run(["makensis", "-V1", "setup.nsi"], cwd=folder, check=True)
    output = folder / "out"
    shutil.rmtree(output, ignore_errors=True)
    subprocess.run([program, "x", "-o", output, folder / "setup.exe"], check=True)
    found = {p.relative_to(output).as_posix(): p.read_bytes() for p in output.rglob("*") if p.is_file()}
    # The uninstaller runs, so that it begins like the installer, and is looked into.
    uninstaller = found.pop("$INSTDIR/uninstall.exe", b"")
    inner = [found.pop(name) for name in list(found) if name.startswith("$INSTDIR/uninstall.exe")]
    good = uninstaller.startswith((folder / "setup.exe").read_bytes()[:64]) and inner == [files()["text.txt"]]
    wanted = expected(unicode)
    for name in sorted(found.keys() | wanted.keys()):
        if found.get(name) != wanted.get(name):
            sys.exit(f"{compressor}, unicode {unicode}: {name} is " + ("wrong" if name in found else "missing"))
    if not good:
        sys.exit(f"{compressor}, unicode {unicode}: the uninstaller is wrong, with {len(inner)} files inside")


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    if shutil.which("makensis") is None:
        print("skipped: makensis is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for path, content in files().items():
            (folder / path).parent.mkdir(parents=True, exist_ok=True)
            (folder / path).write_bytes(content)
        rows = list(itertools.product(("zlib", "bzip2", "lzma"), ("", "/SOLID "), (False, True)))
        for method, solid, unicode in rows:
            check(program, folder, solid + method, unicode)
    print(f"{len(rows)} installers gave back what went in")


if __name__ == "__main__":
    main()
