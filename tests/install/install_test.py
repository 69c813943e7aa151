#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Installs the library and builds README.md's program against the copy, outside the tree, the ways README.md shows.

usage: install_test.py BUILD_FOLDER C_COMPILER CXX_COMPILER OBJDUMP [EMULATOR...]

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
BUILD, COMPILER, CXX_COMPILER, OBJDUMP, *EMULATOR = sys.argv[1:]
del sys.argv[1:]
README = (ROOT / "README.md").read_text()
VERSION = re.search(r"project\(brixcore VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
# Before 1.0 each minor version has an interface of its own.
ABI = re.match(r"0\.\d+|\d+", VERSION).group(0)
EXPORTS = re.findall(r"^\w+$", (ROOT / "src/api/exports.txt").read_text(), re.MULTILINE)
EXAMPLE = "examples/nested.zip"
LAUNCHER = os.environ.get("CMAKE_CXX_COMPILER_LAUNCHER", "")
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

    def project(self, name, languages, text, *options):
        """A host's project, configured; returns its build folder."""
        folder = self.work / name
        folder.mkdir()
        shutil.copy(self.work / "host.c", folder)
        (folder / "CMakeLists.txt").write_text(
            f"cmake_minimum_required(VERSION 3.22)\nproject(host {languages})\n{text}")
        build = folder / "build"
        system = ["-DCMAKE_SYSTEM_NAME=Windows"] if WINDOWS else []
        run("cmake", "-G", "Ninja", "-S", folder, "-B", build, f"-DCMAKE_C_COMPILER={COMPILER}",
            f"-DCMAKE_CXX_COMPILER={CXX_COMPILER}", "-DCMAKE_C_FLAGS=-std=c99 -Wall -Wextra -Werror", *system, *options)
        return build

    def test_cmake_package(self):
        prefix = f"-DCMAKE_PREFIX_PATH={self.prefix}"
        build = self.project("package", "C", snippet("cmake"), prefix)
        run("cmake", "--build", build)
        self.run_host(build / f"host{EXE}")
        for name, asked in ("never", "99.0"), ("older", "0.1"):  # versions that are not there are not found
            other, count = re.subn(r"find_package\(brixcore \S+", f"find_package(brixcore {asked}", snippet("cmake"))
            self.assertEqual(count, 1)
            with self.assertRaisesRegex(AssertionError, "compatible with requested version", msg=asked):
                self.project(name, "C", other, prefix)

    def test_static_library(self):
        """One program without a library beside it, one more library that exports none of our names."""
        text = snippet("cmake").replace("brixcore::brixcore", "brixcore::static")
        self.assertIn("brixcore::static", text)
        plugin = self.work / "plugin.c"
        plugin.write_text((self.work / "host.c").read_text() +
                          "#ifdef _WIN32\n__declspec(dllexport)\n#endif\nextern int plugin;\nint plugin = 1;\n")
        build = self.project("static", "C CXX", text + """
            add_library(plugin SHARED ../plugin.c)
            target_link_libraries(plugin PRIVATE brixcore::static)
            if(WIN32)
              target_link_options(host PRIVATE -static)
              target_link_options(plugin PRIVATE -static)
            endif()""", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        host = build / f"host{EXE}"
        self.assertNotIn("brixcore", run(OBJDUMP, "-p", host))
        log = self.work / "log"  # which starts and ends with the process
        log.mkdir()
        self.assertIn("map.txt: 18 bytes", run(*EMULATOR, host, EXAMPLE, cwd=ROOT, env={**os.environ, "ARCLOGPATH": str(log)}))
        self.assertEqual((log / "arc0000.log").read_text().split(), ["init", "end"])
        plugin = run(OBJDUMP, "-p" if WINDOWS else "-T", next(build.glob("*plugin.[ds]*")))
        exported = {words[-1] for words in map(str.split, plugin.splitlines()) if words and "*UND*" not in words}
        self.assertEqual(exported & {"plugin", *EXPORTS}, {"plugin"})

    @unittest.skipIf(EMULATOR, "the same for every machine")
    def test_inside_another_project(self):
        """By add_subdirectory: the library alone, without what its tests and its program need."""
        build = self.project("outer", "C CXX", f"""
            set(CMAKE_DISABLE_FIND_PACKAGE_GTest ON)
            set(BRIX_CLI11_INCLUDE BRIX_CLI11_INCLUDE-NOTFOUND)
            add_subdirectory("{ROOT}" brixcore)
            add_executable(host host.c)
            target_link_libraries(host PRIVATE brixcore::brixcore)
            add_executable(host_static host.c)
            target_link_libraries(host_static PRIVATE brixcore::static)
            get_property(tests DIRECTORY "{ROOT}" PROPERTY TESTS)
            if(TARGET brix OR tests)
              message(FATAL_ERROR "more than the library")
            endif()""", "-DCMAKE_C_COMPILER_LAUNCHER=" + LAUNCHER, "-DCMAKE_CXX_COMPILER_LAUNCHER=" + LAUNCHER)
        run("cmake", "--build", build, "--target", "host", "host_static")
        self.run_host(build / "host")
        self.run_host(build / "host_static")
        run("cmake", "--install", build, "--prefix", self.work / "nothing")
        self.assertFalse((self.work / "nothing").exists())

    @unittest.skipUnless(EMULATOR, "for cross builds")
    def test_bare_machine(self):
        """With the compiler alone the preset builds the library alone."""
        build = self.work / "bare"
        preset = "mingw" if WINDOWS else "aarch64"
        run("cmake", "--preset", preset, "-B", build, "-DBRIX_GTEST_SOURCES=/nowhere",
            "-DCMAKE_IGNORE_PATH=/usr/include;/usr/local/include", cwd=ROOT)
        targets = run("cmake", "--build", build, "--target", "help")
        self.assertIn("brixcore_static:", targets)
        self.assertNotRegex(targets, "brix_unit_tests|brix.exe")

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
        # The other one, as Microsoft's tools know it, without a letter of how GCC names libraries.
        run(COMPILER, "-I", self.prefix / "include", self.work / "host.c", self.prefix / "lib/brixcore.lib", "-o", program)
        self.run_host(program)
        self.assertEqual(re.findall(r"^  (\w+)$", (self.prefix / "lib/brixcore.def").read_text(), re.MULTILINE), EXPORTS)

    def test_program_finds_the_library(self):
        output = run(*EMULATOR, self.prefix / f"bin/brix{EXE}", "cat", EXAMPLE, "readme.txt", cwd=ROOT)
        self.assertEqual(len(output), 56)

    def test_version_of_the_library(self):
        if not WINDOWS:
            private = run(OBJDUMP, "-p", self.prefix / SHARED)
            self.assertRegex(private, rf"SONAME +libbrixcore\.so\.{re.escape(ABI)}\n")
            return
        source = self.work / "version.c"
        source.write_text(VERSION_PROGRAM)
        run(COMPILER, source, "-lversion", "-o", self.work / "version.exe")
        for name in "brixcore.dll", "brix.exe":
            found = run(*EMULATOR, self.work / "version.exe", name, cwd=self.prefix / "bin")
            self.assertEqual(found, f"{name} {VERSION}")

    def test_texts_stand_where_they_are_looked_for(self):
        for name in ("man/man1/brix.1", "man/man3/ArcTk2.3", "bash-completion/completions/brix",
                     "zsh/site-functions/_brix", "fish/vendor_completions.d/brix.fish", "doc/brixcore/README.md",
                     "doc/brixcore/LICENSES/Apache-2.0.txt"):
            self.assertTrue((self.prefix / "share" / name).is_file(), name)

    def test_manual_page_for_each_function(self):
        for name in EXPORTS:
            link = (self.prefix / f"share/man/man3/{name}.3").read_text()
            page = self.prefix / "share/man" / re.fullmatch(r"\.so (man3/\w+\.3)\n", link).group(1)
            self.assertRegex(page.read_text(), rf"\n\.Fn {name}\b", name)

    def test_links_of_the_texts(self):
        texts = list((self.prefix / "share/doc").rglob("*.md"))
        links = [(text, link) for text in texts for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", text.read_text())]
        self.assertGreater(len(links), 10)
        self.assertEqual([(t.name, link) for t, link in links if not (t.parent / link).exists()], [])


if __name__ == "__main__":
    unittest.main()
