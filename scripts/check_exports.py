#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Compares what the shared library exports and needs with what it should.

usage: check_exports.py exports.txt library nm objdump [symbol_version]

Fails when the library exports a name that is not in exports.txt, lacks one that is, or depends on a library that is
not part of the system or of the C and C++ run time. On Linux it must have its unwinder in common with the process, or no
exception of a host's callback could pass it, and its names must be of the symbol version given.
"""
import re
import subprocess
import sys

WINDOWS_DLLS = {"kernel32.dll", "msvcrt.dll"}
LINUX_LIBRARIES = re.compile(r"(libc|libm|libgcc_s|libstdc\+\+|ld-linux-x86-64|ld-linux-aarch64)\.so\.\d+")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def wanted_names(path):
    with open(path, encoding="utf-8") as lines:
        names = [line.strip() for line in lines if line.strip() and not line.startswith("#")]
    if names != sorted(set(names)):
        sys.exit(f"{path}: names are to stand once each, sorted")
    return set(names)


def windows_names_and_needs(library, objdump):
    text = run(objdump, "-p", library)
    table = text.split("[Ordinal/Name Pointer] Table", 1)[1].split("\n\n", 1)[0]
    names = set(re.findall(r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\])?(?:\s+[0-9a-f]+)?\s+(\w+)\s*$", table, re.MULTILINE))
    needs = set(re.findall(r"DLL Name: (\S+)", text))
    return names, {n for n in needs if n.lower() not in WINDOWS_DLLS}


def linux_names_and_faults(library, nm, objdump, version):
    lines = [line.split()[-1] for line in run(nm, "-D", "--defined-only", library).splitlines()]
    names = {line.split("@")[0] for line in lines} - {version}
    faults = [f"is not of version {version}: {line}" for line in lines if not line.endswith(version)]
    needs = set(re.findall(r"NEEDED\s+(\S+)", run(objdump, "-p", library)))
    faults += [f"depends on {n}" for n in sorted(needs) if not LINUX_LIBRARIES.fullmatch(n)]
    return names, faults + ([] if "libgcc_s.so.1" in needs else ["has an unwinder of its own: libgcc_s is not needed"])


def main():
    exports, library, nm, objdump, *version = sys.argv[1:]
    wanted = wanted_names(exports)
    if library.endswith(".dll"):
        found, foreign = windows_names_and_needs(library, objdump)
        faults = [f"depends on {n}" for n in sorted(foreign)]
    else:
        found, faults = linux_names_and_faults(library, nm, objdump, *version)
    faults += [f"exported but not listed: {n}" for n in sorted(found - wanted)]
    faults += [f"listed but not exported: {n}" for n in sorted(wanted - found)]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{library}: {len(found)} names, as listed; no foreign dependency")


if __name__ == "__main__":
    main()
