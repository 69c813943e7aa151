#!/usr/bin/env python3
"""Checks that what README.md shows is true: the console session, and the C program, which is compiled and run.

usage: readme_test.py C_COMPILER SHARED_LIBRARY PROGRAM
"""
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]


def block(text, language):
    return re.search(rf"```{language}\n(.*?)```", text, re.DOTALL).group(1)


def check_console(session, program):
    """Runs each `$ ./brix ...` and compares what follows it; returns the output of the first."""
    outputs = []
    for part in session.split("$ ./brix ")[1:]:
        command, expected = part.split("\n", 1)
        found = subprocess.run([program, *shlex.split(command)], cwd=ROOT, capture_output=True, text=True, check=True)
        if found.stdout != expected:
            sys.exit(f"README.md shows for `brix {command}`:\n{expected}but it prints:\n{found.stdout}")
        outputs.append(found.stdout)
    return outputs[0]


def check_host(source, compiler, library, listing):
    """Compiles the C program; it must print the sizes and names of the listing."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder)
        (path / "host.c").write_text(source)
        subprocess.run([compiler, "-std=c99", "-Wall", "-Wextra", "-Werror", "-I", ROOT / "include",
                        path / "host.c", library, f"-Wl,-rpath,{pathlib.Path(library).parent}", "-o", path / "host"],
                       check=True)
        found = subprocess.run([path / "host", ROOT / "examples/nested.zip"], capture_output=True, text=True, check=True)
    rows = [line.split()[:2] for line in listing.splitlines()[1:]]
    expected = "".join(f"{name}: {size} bytes\n" for size, name in rows)
    if found.stdout != expected:
        sys.exit(f"README.md's program prints:\n{found.stdout}instead of:\n{expected}")


def main():
    compiler, library, program = sys.argv[1:]
    text = (ROOT / "README.md").read_text()
    listing = check_console(block(text, "console"), program)
    check_host(block(text, "c"), compiler, library, listing)
    print("README.md: the session and the program do what it says")


if __name__ == "__main__":
    main()
