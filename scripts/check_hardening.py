#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Checks that the library and the program were built with what cmake/BrixHardening.cmake promises.

usage: check_hardening.py BUILD_FOLDER READELF OBJDUMP [--fortified] [--crt FILE] LIBRARY [PROGRAM...]

The answers come from the linked files, and from the object files for what only these show. --fortified: the build is
optimised, so that calls of the C library are checked ones. --crt: the system's crti.o; where that is marked for indirect
branches, the linked files must be, too.
"""
import argparse
import json
import pathlib
import re
import struct
import subprocess
import sys

X86, AARCH64 = "Advanced Micro Devices X86-64", "AArch64"
# What GCC and Clang do for each page of a large frame.
PROBE = r"sub\s+\$0x1000,%rsp\n.*\b(or|mov)q\s+\$0x0,(0x\w+)?\(%rsp\)"
MARKS = {X86: ("IBT", "SHSTK"), AARCH64: ("BTI", "PAC")}


def run(*command):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True).stdout


def properties(readelf, file):
    return re.findall(r"(?:x86|AArch64) feature: (.*)", run(readelf, "-nW", file))


def has(file_properties, word):
    return any(re.search(rf"\b{word}\b", line) for line in file_properties)


def elf_faults(options, file, is_program):
    text = run(options.readelf, "-hldW", file)
    machine = re.search(r"Machine:\s+(.*)", text)[1]
    header = re.search(r"^\s+Type:\s+(\w+)", text, re.MULTILINE)[1]
    calls = set(re.findall(r"\bUND (\w+)", run(options.readelf, "-W", "--dyn-syms", file)))
    stack = re.search(r"GNU_STACK\s+(?:0x\w+\s+){5}([RWE ]+?)\s+0x", text)
    marks = properties(options.readelf, file)
    code = run(options.objdump, "-d", "--no-show-raw-insn", file)
    yield "addresses resolved before main (BIND_NOW)", re.search(r"\(FLAGS_1\).*\bNOW\b", text)
    yield "read-only relocations (GNU_RELRO)", "GNU_RELRO" in text
    yield "no code at fixed addresses (TEXTREL)", "TEXTREL" not in text
    yield "a stack without code (GNU_STACK)", stack and "E" not in stack[1]
    yield "any address (PIE)", header == "DYN" and (not is_program or re.search(r"\(FLAGS_1\).*\bPIE\b", text))
    yield "canaries (__stack_chk_fail)", "__stack_chk_fail" in calls
    if options.fortified and not is_program:  # which may call nothing that could be checked
        yield "checked calls (__..._chk)", any(re.fullmatch(r"__\w+_chk", name) for name in calls)
    if machine == X86:
        if not is_program:  # which has no frames that large
            yield "large frames touched page by page", re.search(PROBE, code)
        yield "shadow stacks (SHSTK)", has(marks, "SHSTK")
        if options.crt and has(properties(options.readelf, options.crt), "IBT"):
            yield "marked branch targets (IBT)", has(marks, "IBT")
    if machine == AARCH64:
        yield "signed return addresses (paciasp)", "paciasp" in code


def pe_faults(file):
    data = pathlib.Path(file).read_bytes()
    pe = struct.unpack_from("<I", data, 0x3C)[0]
    characteristics, magic = struct.unpack_from("<HH", data, pe + 22)
    dll = struct.unpack_from("<H", data, pe + 24 + 70)[0]
    relocations = struct.unpack_from("<II", data, pe + 24 + 112 + 5 * 8)
    yield "64 bits", magic == 0x20B
    yield "any address (DYNAMIC_BASE)", dll & 0x40
    yield "high addresses (HIGH_ENTROPY_VA)", dll & 0x20
    yield "data that does not execute (NX_COMPAT)", dll & 0x100
    yield "relocations, without which an address is fixed", relocations[1] and not characteristics & 1


def object_faults(options):
    """What each object must say for itself; the linked file says it only when the system's start files do, too."""
    commands = json.loads((options.build / "compile_commands.json").read_text())
    objects = [re.search(r" -o (src/CMakeFiles/brix_\w+\.dir/\S+)", command["command"]) for command in commands]
    objects = [options.build / found[1] for found in objects if found and (options.build / found[1]).exists()]
    if not objects:
        yield "any object of the library", False
        return
    guarded, unmarked = 0, []
    for file in objects:
        guarded += "__stack_chk_fail" in run(options.objdump, "-t", file)
        if file.suffix == ".o":
            marks = properties(options.readelf, file)
            wanted = MARKS.get(re.search(r"Machine:\s+(.*)", run(options.readelf, "-h", file))[1], ())
            unmarked += [] if all(has(marks, word) for word in wanted) else [file.name]
    yield f"marks for control flow in {len(unmarked)} objects, such as {unmarked[:3]}", not unmarked
    yield f"canaries in half of the {len(objects)} objects (found in {guarded})", guarded * 2 > len(objects)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("readelf")
    parser.add_argument("objdump")
    parser.add_argument("--fortified", action="store_true")
    parser.add_argument("--crt", type=pathlib.Path)
    parser.add_argument("library")
    parser.add_argument("programs", nargs="*")
    options = parser.parse_args()
    if options.crt and not options.crt.is_file():
        sys.exit(f"no such file: {options.crt}")
    answers = [("the objects", *answer) for answer in object_faults(options)]
    for file in options.library, *options.programs:
        is_pe = pathlib.Path(file).read_bytes()[:2] == b"MZ"
        found = pe_faults(file) if is_pe else elf_faults(options, file, file != options.library)
        answers += [(pathlib.Path(file).name, *answer) for answer in found]
    faults = [f"{file}: lacks {what}" for file, what, good in answers if not good]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(answers)} properties of {options.library} and {len(options.programs)} programs, as promised")


if __name__ == "__main__":
    main()
