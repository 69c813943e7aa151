#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Compiles and runs what README.md and the comments of the public headers show, and runs the programs of examples/, over a
nest with damaged and cut members. The examples in the manual pages must be those of the headers.

usage: examples_test.py LIBRARY PROGRAMS C_COMPILER CXX_COMPILER [FLAG...]

PROGRAMS is the folder of the programs of examples/. The flags are the library's, where these matter (-fsanitize=...).
"""
import io
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIMIT = 50 << 20  # bytes a member may yield

COMMON = """
#include <brixcore/brixcore.h>
#include <stdio.h>
#include <string.h>
void Missed(const char* what) { printf("missed: %s\\n", what); }
"""
MEMORY = """
void Scan(const char* name, const void* data, uint32_t size) {
  unsigned sum = 0;
  for (uint32_t i = 0; i < size; ++i) sum += ((const unsigned char*)data)[i];
  printf("%s %u%s\\n", name, (unsigned)size, sum == 1 ? "!" : "");
}
"""
STREAM = """
void Scan(const ArcStream* stream) {
  char bytes[16];
  uint32_t size = 0, got = 0;
  if (stream->get_size(stream->context, &size) != 0 || stream->read(stream->context, 0, bytes, 16, &got) != 0) return;
  printf("%u\\n", (unsigned)size);
}
"""
FILE_PATH = """
void Scan(const char* name, const char* path) {
  FILE* file = fopen(path, "rb");
  if (file == NULL || fseek(file, 0, SEEK_END) != 0) return;
  printf("%s %ld\\n", name, ftell(file));
  fclose(file);
}
"""
TARGET = """
int Wanted(const char* name) { return strstr(name, ".txt") != NULL; }
static char held[100];
static uint32_t used;
static int32_t Close(void* c) { (void)c; return 0; }
static int32_t Read(void* c, uint32_t at, void* to, uint32_t size, uint32_t* got) {
  (void)c;
  *got = at >= used ? 0 : size < used - at ? size : used - at;
  memcpy(to, held + at, *got);
  return 0;
}
static int32_t Write(void* c, uint32_t at, const void* from, uint32_t size) {
  (void)c;
  if (at > sizeof held || size > sizeof held - at) return -1;
  memcpy(held + at, from, size);
  used = at + size;
  return 0;
}
static int32_t GetSize(void* c, uint32_t* size) { (void)c; *size = used; return 0; }
ArcStream LimitedTarget(void) {
  ArcStream stream = {NULL, Close, Read, Write, GetSize, NULL, NULL};
  used = 0;
  return stream;
}
"""
OPENED = """
  ArcStream stream;
  if (ArcTkOpenFile("mail.zip", BRIX_FILE_READ, &stream) != BRIX_OK) return 1;
"""


def zip_of(members):
    made = io.BytesIO()
    with zipfile.ZipFile(made, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in members:
            archive.writestr(zipfile.ZipInfo(name), content, zipfile.ZIP_DEFLATED if len(content) > 99 else zipfile.ZIP_STORED)
    return bytearray(made.getvalue())


def make_nest(path):
    """An archive with a nested one whose list ends in damage, a member beyond the limit, and one that cannot be decoded."""
    damaged = zip_of([("a.txt", b"a"), ("b.txt", b"b")])
    damaged[damaged.rindex(b"PK\1\2")] = ord("X")
    noise = random.Random(1).randbytes(700000)  # so large that what is cut does not reach a ratio
    nest = zip_of([("readme.txt", b"hello"), ("damaged.zip", bytes(damaged)), ("cut.bin", bytes(LIMIT + 5)),
                   ("noise.bin", noise), ("broken.txt", b"x" * 1000), ("last.txt", b"end")])
    nest[nest.index(b"broken.txt") + len("broken.txt")] = 0xFF  # no such kind of block
    path.write_bytes(nest)
    return len(damaged)


def snippet(header):
    """The indented lines of the header's first comment after the licence."""
    comment = (ROOT / "include/brixcore" / header).read_text().split("*/", 2)[1]
    return "".join(f"{line[5:]}\n" for line in comment.splitlines() if line.startswith(" *   "))


def of_page(page):
    return re.search(r"^\.Bd -literal\n(.*?)^\.Ed", (ROOT / "docs/man" / page).read_text(), re.DOTALL | re.MULTILINE).group(1)


def block(text, language):
    return re.search(rf"```{language}\n(.*?)```", text, re.DOTALL).group(1)


class Checks:
    def __init__(self, folder, library, compiler, linker, flags):
        self.folder, self.library, self.compiler, self.linker, self.flags = folder, library, compiler, linker, flags

    def build(self, name, source):
        program = self.folder / name
        (self.folder / f"{name}.c").write_text(source)
        subprocess.run([self.compiler, "-std=c99", "-Wall", "-Wextra", "-Werror", "-g", *self.flags, "-I", ROOT / "include",
                        "-c", f"{program}.c", "-o", f"{program}.o"], check=True)
        subprocess.run([self.linker, *self.flags, f"{program}.o", self.library, f"-Wl,-rpath,{self.library.parent}",
                        "-o", program], check=True)
        return program

    def run(self, program, *arguments, expected, code=0):
        """What leaks under the sanitizer ends a program with another code."""
        done = subprocess.run([program, *arguments], cwd=self.folder, capture_output=True, text=True)
        lines = [line.rstrip() for line in done.stdout.splitlines()]
        if done.returncode != code or lines != expected:
            sys.exit(f"{program.name} {arguments} ends with {done.returncode} and prints\n{done.stdout}{done.stderr}"
                     "instead of\n" + "\n".join(expected))


def main():
    library, programs, compiler, linker, *flags = sys.argv[1:]
    readme = (ROOT / "README.md").read_text()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        checks = Checks(folder, pathlib.Path(library).resolve(), compiler, linker, flags)
        damaged = make_nest(folder / "mail.zip")

        # The headers
        rest, cut = "missed: the rest of a container", "missed: a member, its end, or the rest of a container"
        for header, page, prelude, opening, expected in (
                ("toolkit.h", "ArcTk2.3", MEMORY, "",
                 ["readme.txt 5", f"damaged.zip {damaged}", "a.txt 1", rest, "missed: cut.bin", f"cut.bin {LIMIT}",
                  "noise.bin 700000", "missed: broken.txt", "last.txt 3"]),
                ("session.h", "ArcTk.3", STREAM, "",
                 ["5", f"{damaged}", "1", cut, f"{LIMIT}", cut, "700000", cut, "3"]),
                ("archive.h", "Arc.3", STREAM + TARGET, OPENED, ["5", "missed: broken.txt", "0", "3"]),
                ("byname.h", "brixcore_byname.3", FILE_PATH, "",
                 ["readme.txt 5", f"damaged.zip {damaged}", "a.txt 1", "missed: cut.bin", "noise.bin 700000",
                  "missed: broken.txt", "last.txt 3"]),
                ("catalogue.h", "brixcore_catalogue.3", "", "", None)):
            code = snippet(header)
            if of_page(page) != code:
                sys.exit(f"{page} does not show what {header} shows:\n{code}")
            closing = "stream.close(stream.context);" if opening else ""
            program = checks.build(header.replace(".", "_"),
                                   f"{COMMON}{prelude}\nint main(void) {{\n{opening}{code}{closing}\n  return 0;\n}}\n")
            if expected is None:
                table = (ROOT / "src/api/catalogue.h").read_text()
                expected = re.findall(r'\{\d+, "([^"]*)"', table)
            checks.run(program, expected=expected)

        # README.md, over the nest and over the archive whose listing it shows
        program = checks.build("readme", block(readme, "c"))
        checks.run(program, "mail.zip", expected=[
            "readme.txt: 5 bytes", f"damaged.zip: {damaged} bytes", "a.txt: 1 bytes", "not whole: a container in it",
            "not whole: cut.bin", f"cut.bin: {LIMIT} bytes", "noise.bin: 700000 bytes", "not whole: broken.txt",
            "last.txt: 3 bytes"])
        listing = block(readme, "console").split("$ ")[1].splitlines()[2:]
        checks.run(program, ROOT / "examples/nested.zip",
                   expected=[f"{name}: {size} bytes" for size, name in (line.split()[:2] for line in listing)])
        checks.run(program, program, expected=[], code=1)

        # The programs
        def example(name, *arguments, expected, code=0):
            checks.run(pathlib.Path(programs).resolve() / f"brix_example_{name}", *arguments, expected=expected, code=code)
        example("host", "mail.zip", expected=[
            "0 readme.txt 5", f"0 damaged.zip {damaged}", "1 a.txt 1", "a nested archive is damaged",
            f"0 cut.bin {LIMIT} (cut at the size limit)", "0 noise.bin 700000", "0 broken.txt 0 (could not be extracted)",
            "0 last.txt 3"])
        example("stream_host", "mail.zip", expected=[
            "0 readme.txt 5", f"0 damaged.zip {damaged}", "1 a.txt 1", "a nested archive is not whole",
            f"0 cut.bin {LIMIT} (not whole)", "0 noise.bin 700000", "0 broken.txt 0 (not whole)", "0 last.txt 3"])
        example("session_host", "mail.zip", name, expected=[
            "1 readme.txt 5", f"1 damaged.zip {damaged}", "2 a.txt 1", "2  (damaged: -1)",
            "1 cut.bin 16777216 (cut at the size limit)", "1 noise.bin 700000", "1 broken.txt (damaged: -1)",
            "1 last.txt 3"])
        example("byname_host", "mail.zip", name, expected=[
            "readme.txt in mail.zip, level 1: 5 bytes", f"damaged.zip in mail.zip, level 1: {damaged} bytes",
            "a.txt in damaged.zip, level 2: 1 bytes",
            "cut.bin in mail.zip, level 1: too large, or compressed too well",
            "noise.bin in mail.zip, level 1: 700000 bytes", "broken.txt in mail.zip, level 1: could not be extracted",
            "last.txt in mail.zip, level 1: 3 bytes"])
        example("arc_host", "mail.zip", "broken.txt", "out", expected=[], code=1)
        example("arc_host", "mail.zip", "last.txt", "out", expected=[])
        if (folder / "out").read_bytes() != b"end" or list(folder.glob("*.tmp")):
            sys.exit("arc_host wrote something else, or temporary files stayed")
        example("types", "mail.zip", expected=["mail.zip: ZIP or JAVA archive"])
    print("the examples of README.md, the headers and examples/ do what they say")


if __name__ == "__main__":
    main()
