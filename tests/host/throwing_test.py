#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Builds throwing_host.cpp with g++ and with clang++, whichever are here, and runs it on a library that was built already.

usage: throwing_test.py LIBRARY [COMPILER [EMULATOR]]

COMPILER is the cross compiler that LIBRARY, then an import library beside whose DLL the programs are to run, was built with.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent


def told(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True, stdin=subprocess.DEVNULL)


def cross_flags(compiler):
    """What makes clang++ use the headers and libraries of a mingw g++."""
    searched = told(compiler, "-E", "-x", "c++", "-v", os.devnull).stderr
    folders = re.search(r"> search starts here:\n(.*?)End of search", searched, re.DOTALL).group(1).split()
    # Its own headers come first; those of g++ that are the compiler's would not fit.
    folders = [folder for folder in folders if "c++" in folder]
    library = pathlib.Path(told(compiler, "-print-file-name=libgcc.a").stdout.strip()).parent
    return [f"--target={told(compiler, '-dumpmachine').stdout.strip()}", f"-L{library}",
            *(f"-isystem{folder}" for folder in folders)]


def main():
    library, *cross = sys.argv[1:]
    library = pathlib.Path(library).resolve()
    flags = ["-std=c++17", "-O1", "-Wall", "-Wextra", "-Werror", f"-I{HERE.parents[1] / 'include'}"]
    compilers = {name: [] for name in (cross[:1] or ["g++"]) + ["clang++"] if shutil.which(name)}
    with tempfile.TemporaryDirectory() as folder:
        if cross:
            # The library's C++ runtime is its own, and each side counts its own exceptions in flight.
            flags.append("-DBRIX_OWN_RUNTIME")
            if "clang++" in compilers:
                compilers["clang++"] = cross_flags(cross[0])
            for name in ("libstdc++-6.dll", "libgcc_s_seh-1.dll", "libwinpthread-1.dll"):
                shutil.copy(told(cross[0], f"-print-file-name={name}").stdout.strip(), folder)
            shutil.copy(library.parents[1] / "bin/brixcore.dll", folder)
        else:
            flags.append(f"-Wl,-rpath,{library.parent}")
        for compiler, more in compilers.items():
            program = pathlib.Path(folder) / "throwing_host.exe"
            built = subprocess.run([compiler, HERE / "throwing_host.cpp", library, *flags, *more, "-o", program])
            ran = built.returncode == 0 and subprocess.run([*cross[1:], program], cwd=folder).returncode == 0
            if not ran:
                sys.exit(f"{compiler}: the host with throwing callbacks failed")
            print(f"{compiler}: what callbacks throw is told by a status")
    return 0 if compilers else sys.exit("no compiler")


if __name__ == "__main__":
    main()
