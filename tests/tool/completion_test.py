#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Completes command lines of brix in bash, and compares the options offered with those that brix itself names.

usage: completion_test.py PROGRAM
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMPLETION = ROOT / "tools/brix/completion"
PROGRAM = sys.argv.pop(1)
COMMANDS = ["id", "ls", "x", "cat"]


def complete(line, folder):
    """What bash offers for the last word of a command line."""
    words = line.split(" ")
    script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _brix; printf "%s\\n" "${COMPREPLY[@]}"'
    done = subprocess.run(["bash", "-uc", script, "bash", COMPLETION / "brix.bash", *words], cwd=folder,
                          capture_output=True, text=True, check=True)
    assert not done.stderr, done.stderr
    return sorted(done.stdout.split())


def options(command):
    """The long options that `brix COMMAND --help` lists."""
    text = subprocess.run([PROGRAM, *command, "--help"], capture_output=True, text=True, check=True).stdout
    return sorted(set(re.findall(r"^ +(?:-\w,)?(--[a-z-]+)", text, re.MULTILINE)))


class Completion(unittest.TestCase):
    def test_words(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "archive.zip").touch()
            (pathlib.Path(folder) / "out").mkdir()
            for line, expected in [
                ("brix ", ["--help", "--version", "cat", "id", "ls", "x"]),
                ("brix c", ["cat"]),
                ("brix ls ", ["archive.zip", "out"]),
                ("brix ls --json a", ["archive.zip"]),
                ("brix x archive.zip -o ", ["out"]),
                ("brix x archive.zip --output o", ["out"]),
                ("brix ls --max-depth ", []),
                ("brix cat --max-s", ["--max-size"]),
                ("brix id --max", []),
            ]:
                self.assertEqual(complete(line, folder), expected, line)

    def test_options_are_those_of_the_program(self):
        page = (ROOT / "docs/man/brix.1").read_text()
        others = (COMPLETION / "_brix").read_text(), (COMPLETION / "brix.fish").read_text().replace("-l ", "-")
        for command in COMMANDS:
            known = options([command])
            self.assertIn("--help", known)
            self.assertEqual(complete(f"brix {command} --", ROOT), known, command)
            for option in known:
                for text in (page, *others):
                    self.assertIn(option[1:], text)  # one dash is the manual page's macro


if __name__ == "__main__":
    unittest.main()
