#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""What ./check decides by itself: its steps, where samples are looked for, and its exit code.

It runs in a made-up project whose one step, layers, is a script of this test.
"""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
STEP = """import os, sys
open("corpus.txt", "w").write(os.environ.get("BRIX_CORPUS", "unset"))
sys.exit(os.path.exists("fails"))
"""


class Check(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        base = pathlib.Path(self.folder.name).resolve()
        self.samples = base / "shared/corpus"  # beside the project: nobody said that this is for it
        self.samples.mkdir(parents=True)
        self.project = base / "project"
        (self.project / "scripts").mkdir(parents=True)
        shutil.copy(ROOT / "check", self.project)
        shutil.copy(ROOT / "scripts/packages.sh", self.project / "scripts")
        (self.project / "scripts/check_layers.py").write_text(STEP)

    def check(self, *options, status=0, **variables):
        environment = {name: value for name, value in os.environ.items() if name != "BRIX_CORPUS"}
        done = subprocess.run([self.project / "check", *options], env=environment | variables, capture_output=True, text=True)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout

    def test_steps(self):
        everything = self.check("--all", "--list").split()
        for options, steps in (([], {"licences", "layers", "dev", "release"}), (["--strict"], set(everything)),
                               (["--strict", "--only", "dev,fuzz"], {"dev", "fuzz"})):
            self.assertEqual(set(self.check(*options, "--list").split()), steps, options)
        self.assertLess({"asan", "mingw", "aarch64", "tidy"}, set(everything))
        for options in ["--only", "nothing"], ["--unknown"]:
            self.check(*options, status=64)

    def test_samples_are_those_that_the_caller_names(self):
        for options, variables, expected in ((), {}, "unset"), (["--corpus", self.samples], {}, str(self.samples)), (
                [], {"BRIX_CORPUS": str(self.samples)}, str(self.samples)):
            self.check("--only", "layers", *options, **variables)
            self.assertEqual((self.project / "corpus.txt").read_text(), expected)

    def test_exit_code_and_count(self):
        self.assertIn("\n2 passed, 0 failed, 0 skipped\n", self.check("--only", "layers", "--strict"))
        (self.project / "fails").touch()
        self.assertIn("\n0 passed, 2 failed, 0 skipped\n", self.check("--only", "layers", status=1))
        # Without the means to install it, a missing program is a skipped step, which --strict does not allow.
        tools = self.project / "tools"
        tools.mkdir()
        for tool in "bash", "readlink", "dirname", "sed", "rm", "mkdir", "nproc", "sort", "tail":
            (tools / tool).symlink_to(shutil.which(tool))
        self.assertIn("\n0 passed, 0 failed, 1 skipped\n", self.check("--only", "layers", PATH=str(tools)))
        self.check("--only", "layers", "--strict", PATH=str(tools), status=1)


if __name__ == "__main__":
    unittest.main()
