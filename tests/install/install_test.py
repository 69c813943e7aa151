#!/usr/bin/env python3
"""Installs the library and builds README.md's program against the copy, outside the tree, the ways README.md shows.

usage: install_test.py BUILD_FOLDER C_COMPILER OBJDUMP [EMULATOR]

The installed tree is moved before use: nothing in it may depend on where it was installed.
"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD, COMPILER, OBJDUMP, *EMULATOR = sys.argv[1:]
del sys.argv[1:]
README = (ROOT / "README.md").read_text()
VERSION = re.search(r"project\(brixcore VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
EXAMPLE = "examples/nested.zip"
WINDOWS = COMPILER.find("mingw") >= 0
EXE = ".exe" if WINDOWS else ""
SHARED = "bin/brixcore.dll" if WINDOWS else f"lib/libbrixcore.so.{VERSION}"

# Asks Windows itself for the version of a file.
VERSION_PROGRAM = r"""
#include <stdio.h>
#include <windows.h>
int main(int argc, char** argv) {
  static char data[8192];
  VS_FIXEDFILEINFO* fixed;
  char* text;
  UINT size;
  if (argc != 2 || !GetFileVersionInfoA(argv[1], 0, sizeof data, data)) return 1;
  if (!VerQueryValueA(data, "\\", (void**)&fixed, &size)) return 2;
  if (!VerQueryValueA(data, "\\StringFileInfo\\040904B0\\OriginalFilename", (void**)&text, &size)) return 3;
  printf("%s %u.%u.%u", text, HIWORD(fixed->dwProductVersionMS), LOWORD(fixed->dwProductVersionMS),
         HIWORD(fixed->dwProductVersionLS));
  return 0;
}
"""


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], text=True, capture_output=True, **options)
    if done.returncode:
        raise AssertionError(f"{command} gives {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout.replace("\r", "")


def snippet(language):
    section = README.split("## Use it from your project", 1)[1]
    return re.search(rf"```{language}\n(.*?)```", section, re.DOTALL).group(1)


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        base = pathlib.Path(cls.folder.name)
        run("cmake", "--install", BUILD, "--prefix", base / "first")
        cls.prefix = (base / "first").rename(base / "prefix")
        cls.work = base / "work"
        cls.work.mkdir()
        (cls.work / "host.c").write_text(re.search(r"```c\n(.*?)```", README, re.DOTALL).group(1))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def run_host(self, program, environment=None):
        """The program must find the library and see the innermost member."""
        if WINDOWS:
            program = shutil.copy(program, self.prefix / "bin")  # beside the DLL
        self.assertIn("map.txt: 18 bytes", run(*EMULATOR, program, EXAMPLE, cwd=ROOT, env=environment))

    def test_cmake_package(self):
        (self.work / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.22)\nproject(host C)\n" + snippet("cmake"))
        system = ["-DCMAKE_SYSTEM_NAME=Windows"] if WINDOWS else []
        for version in VERSION, "99.0":
            build = self.work / version
            command = ["cmake", "-G", "Ninja", "-S", self.work, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
                       f"-DCMAKE_C_COMPILER={COMPILER}", "-DCMAKE_C_FLAGS=-std=c99 -Wall -Wextra -Werror", *system]
            if version == "99.0":  # a version that is not there is not found
                file = self.work / "CMakeLists.txt"
                file.write_text(file.read_text().replace("find_package(brixcore 0.1", "find_package(brixcore 99.0"))
                self.assertRaisesRegex(AssertionError, "compatible with requested version", run, *command)
            else:
                run(*command)
                run("cmake", "--build", build)
                self.run_host(build / f"host{EXE}")

    def test_pkg_config(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.prefix / "lib/pkgconfig")}
        self.assertEqual(run("pkg-config", "--modversion", "brixcore", env=environment).strip(), VERSION)
        command = re.sub(r"^cc ", shlex.quote(COMPILER) + " ", snippet("sh"))
        run("sh", "-ec", command, cwd=self.work, env=environment)
        self.run_host(self.work / f"host{EXE}", {**os.environ, "LD_LIBRARY_PATH": str(self.prefix / "lib")})

    @unittest.skipUnless(WINDOWS, "the import library is for Windows")
    def test_import_library(self):
        program = self.work / "direct.exe"
        run(COMPILER, "-I", self.prefix / "include", self.work / "host.c", self.prefix / "lib/libbrixcore.dll.a", "-o", program)
        self.run_host(program)

    def test_program_finds_the_library(self):
        output = run(*EMULATOR, self.prefix / f"bin/brix{EXE}", "cat", EXAMPLE, "readme.txt", cwd=ROOT)
        self.assertEqual(len(output), 56)

    def test_version_of_the_library(self):
        if not WINDOWS:
            private = run(OBJDUMP, "-p", self.prefix / SHARED)
            self.assertRegex(private, rf"SONAME +libbrixcore\.so\.{VERSION.split('.')[0]}\n")
            return
        source = self.work / "version.c"
        source.write_text(VERSION_PROGRAM)
        run(COMPILER, source, "-lversion", "-o", self.work / "version.exe")
        for name in "brixcore.dll", "brix.exe":
            found = run(*EMULATOR, self.work / "version.exe", name, cwd=self.prefix / "bin")
            self.assertEqual(found, f"{name} {VERSION}")

    def test_texts_stand_where_they_are_looked_for(self):
        for name in ("man/man1/brix.1", "man/man3/ArcTk2.3", "bash-completion/completions/brix",
                     "zsh/site-functions/_brix", "fish/vendor_completions.d/brix.fish", "doc/brixcore/README.md"):
            self.assertTrue((self.prefix / "share" / name).is_file(), name)


if __name__ == "__main__":
    unittest.main()
