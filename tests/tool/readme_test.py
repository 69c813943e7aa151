#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Checks that the console session in README.md is what the program prints. (tests/host looks after its C program.)

usage: readme_test.py PROGRAM
"""
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def block(text, language):
    return re.search(rf"```{language}\n(.*?)```", text, re.DOTALL).group(1)


def check_console(session, program):
    """Runs each `$ ./brix ...` and compares what follows it."""
    for part in session.split("$ ./brix ")[1:]:
        command, expected = part.split("\n", 1)
        found = subprocess.run([program, *shlex.split(command)], cwd=ROOT, capture_output=True, text=True, check=True)
        if found.stdout != expected:
            sys.exit(f"README.md shows for `brix {command}`:\n{expected}but it prints:\n{found.stdout}")


def main():
    check_console(block((ROOT / "README.md").read_text(), "console"), sys.argv[1])
    print("README.md: the session is what it says")


if __name__ == "__main__":
    main()
