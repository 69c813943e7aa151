#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Builds the benchmarks, makes their data, runs them and writes the tables of docs/benchmarks.md.

usage: run.py [AREA...] [--data FOLDER] [--instructions] [--heap] [--list]

Without areas everything runs and the document is written; with areas, --instructions or --heap only these run and are
printed. Everything takes about a quarter of an hour on a quiet machine, most of it callgrind and the shell loops.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "bench")
PROGRAM = os.path.join(BUILD, "bench", "brix_bench")
DOCUMENT = os.path.join(ROOT, "docs", "benchmarks.md")
BEGIN, END = "<!-- tables: written by bench/run.py -->\n", "<!-- end of tables -->\n"

# Instructions for each byte: area, contender, floor and goal.
COUNTED = (
    ("inflate", "brix to a stream", 9.8, 8.6),
    ("inflate", "libdeflate", 0, 0),
    ("inflate", "ISA-L", 0, 0),
    ("inflate", "zlib", 0, 0),
    ("inflate-small", "brix to a stream", 0, 0),
    ("inflate-small", "libdeflate", 0, 0),
    ("lzma", "brix to a stream", 0, 0),
    ("lzma", "liblzma", 0, 0),
    ("bzip2", "brix to a stream", 0, 0),
    ("bzip2", "libbz2", 0, 0),
    ("zip-small", "brix to a stream", 0, 0),
    ("zip-small", "brix to memory", 0, 0),
    ("zip-small", "libdeflate", 0, 0),
    ("gzip", "brix to a stream", 0, 0),
    ("targz", "brix to a stream", 0, 0),
    ("cabinet-mszip", "brix to a stream", 12, 0),
    ("cabinet-mszip", "libarchive", 0, 0),
    ("cabinet-lzx", "brix to a stream", 14, 0),
    ("cabinet-lzx", "libmspack", 0, 0),
    ("cabinet-quantum", "brix to a stream", 0, 0),
    ("cabinet-quantum", "libmspack", 0, 0),
    ("help", "brix to a stream", 0, 0),
    ("help", "libmspack", 0, 0),
    ("mail-base64", "brix to a stream", 0, 0),
    ("mail-base64", "GMime", 0, 0),
    ("mail-qp", "brix to a stream", 0, 0),
    ("mail-qp", "GMime", 0, 0),
    ("mail-uu", "brix to a stream", 0, 0),
    ("mail-uu", "GMime", 0, 0),
    ("mail-digest", "brix to a stream", 0, 0),
    ("rar-lz", "brix to a stream", 0, 0),
    ("rar-lz", "libarchive", 0, 0),
    ("nested", "brix to memory", 0, 0),
    ("nested", "libdeflate", 0, 0),
)

# Allocations and peak: area and contender, ours and peers. What one bare inflater takes is what windows and tables are,
# but for the areas that use another decoder, or none: these have them in KiB, as the decoders' headers tell them. Of mail
# it is the buffer that lines are read into.
BARE = ("inflate", "brix to a stream")
WINDOWS = {"tar-small": 0, "mail-base64": 16, "mail-digest": 16, "installer": 0, "help": 64 + 32 + 40, "cabinet-lzx": 2048 + 32 + 40 + 32,
           "cabinet-quantum": 2048 + 1024 + 2}
HEAPS = (
    ("zip-small", "brix to a stream"),
    ("zip-small", "brix to memory"),
    ("zip-small", "libarchive"),
    ("zip", "brix to a stream"),
    ("zip", "libarchive"),
    ("gzip", "brix to a stream"),
    ("tar-small", "brix to a stream"),
    ("tar-small", "libarchive"),
    ("targz", "brix to a stream"),
    ("targz", "libarchive"),
    ("cabinet-mszip", "brix to a stream"),
    ("cabinet-lzx", "brix to a stream"),
    ("cabinet-quantum", "brix to a stream"),
    ("help", "brix to a stream"),
    ("installer", "brix to a stream"),
    ("mail-base64", "brix to a stream"),
    ("mail-base64", "GMime"),
    ("mail-digest", "brix to a stream"),
    ("mail-digest", "GMime"),
    ("nested", "brix to memory"),
    ("nested", "libarchive"),
)
# Floors and goals.
ALLOCATIONS = 3, 1  # for each member, where there are so many that opening does not count
PEAK = 1024, 256  # KiB beside windows and tables, of an extraction to a stream
OTHER_BOUNDS = {"mail-digest": ((5, 2), (256, 64))}


def build():
    launcher = "ccache" if shutil.which("ccache") else ""
    environment = dict(os.environ, CMAKE_CXX_COMPILER_LAUNCHER=launcher, CMAKE_C_COMPILER_LAUNCHER=launcher)
    for step in (["cmake", "--preset", "bench"], ["cmake", "--build", "--preset", "bench"]):
        done = subprocess.run(step, cwd=ROOT, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            sys.exit(done.stdout)
        for line in done.stdout.splitlines():
            if "left out" in line:
                print(line, file=sys.stderr)


def make_data(folder):
    maker = os.path.join(ROOT, "bench", "make_data.py")
    manifest = os.path.join(folder, "manifest.tsv")
    if not os.path.exists(manifest) or os.path.getmtime(manifest) < os.path.getmtime(maker):
        print(f"making the data in {folder} ...", file=sys.stderr)
        subprocess.run([sys.executable, "-B", maker, folder, os.path.dirname(PROGRAM)], check=True)


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return lines + ["| " + " | ".join(row) + " |" for row in rows] + [""]


def verdict(value, floor, goal, less_is_better):
    """The columns floor, goal and reached."""
    if floor == 0:
        return ["", "", ""]
    reaches = (lambda bound: bound != 0 and (value <= bound if less_is_better else value >= bound))
    reached = "goal" if reaches(goal) else "floor" if reaches(floor) else "**no**"
    return [f"{floor:g}", f"{goal:g}" if goal else "", reached]


def version_of(command):
    return subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, text=True, check=True).stdout.strip()


# --- Times ---


def run_area(area, folder):
    """One area's table, and its ratios as rows of the summary."""
    out = subprocess.run([PROGRAM, folder, area], stdout=subprocess.PIPE, text=True, check=True).stdout
    title, times, ratios, notes = "", [], [], []
    for line in out.splitlines():
        kind, *fields = line.split("\t")
        if kind == "area":
            title = fields[1]
        elif kind == "time":
            cpu, wall, size, members = float(fields[1]), float(fields[2]), int(fields[3]), int(fields[4])
            speed = f"{size / cpu / 1e3:.0f}" if size > 1000 else ""
            times.append([fields[0], f"{cpu:.2f}", f"{wall:.2f}", speed, str(members) if members else ""])
        elif kind == "ratio":
            ours, peer, measure = fields[:3]
            value, low, high, floor, goal = map(float, fields[3:])
            less = measure != "speed"
            ratios.append([title, f"{ours} : {peer}", measure, f"{value:.2f} ({low:.2f}-{high:.2f})"] +
                          verdict(value, floor, goal, less))
        elif kind == "skip":
            notes.append(f"- left out: {fields[0]}, {fields[1]}")
    text = [f"### {title}", ""] + table(["", "cpu ms", "wall ms", "MB/s", "members"], times)
    return text + (notes + [""] if notes else []), ratios


# --- Instructions and heap: one run of one contender ---


def once(program, folder, area, contender, prefix=()):
    """The bytes, members, allocations and peak of one run, and what the tool around it said; None when it failed."""
    done = subprocess.run([*prefix, program, "--once", folder, area, contender], capture_output=True, text=True)
    match = re.search(r"^once\t.*\t(\d+)\t(\d+)\t(\d+)\t(\d+)$", done.stdout, re.M)
    if done.returncode != 0 or not match:
        return None
    members, size, allocations, peak = map(int, match.groups())
    return size, members, allocations, peak, done.stderr


def instructions(folder):
    if shutil.which("valgrind") is None:
        return ["Instructions were not counted: valgrind is not installed.", ""], []
    prefix = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", "--collect-atstart=no",
              "--toggle-collect=BrixBenchMeasured"]
    rows, summary = [], []
    for area, contender, floor, goal in COUNTED:
        print(f"instructions: {area}, {contender}", file=sys.stderr)
        got = once(PROGRAM, folder, area, contender, prefix)
        if got is None:
            rows.append([area, contender, "failed or not here"])
            continue
        per_byte = int(re.search(r"Collected : (\d+)", got[4])[1]) / got[0]
        rows.append([area, contender, f"{per_byte:.2f}"])
        if floor:
            summary.append([area, contender, "instructions a byte", f"{per_byte:.2f}"] +
                           verdict(per_byte, floor, goal, True))
    return ["### Instructions for each byte, by callgrind", ""] + table(["area", "", "instructions a byte"], rows), summary


def heap(folder):
    bare = once(PROGRAM + "_heap", folder, *BARE)
    rows, summary = [], []
    for area, contender in HEAPS:
        got = once(PROGRAM + "_heap", folder, area, contender)
        if got is None:
            rows.append([area, contender, "failed or not here", "", ""])
            continue
        _, members, allocations, peak, _ = got
        each, beside = round(allocations / members, 2), max(0, peak - WINDOWS.get(area, bare[3] / 1024) * 1024)
        rows.append([area, contender, str(allocations), f"{each:.2f}", f"{peak / 1024:.0f}"])
        few, small = OTHER_BOUNDS.get(area, (ALLOCATIONS, PEAK))
        if contender.startswith("brix") and (area.endswith("-small") or area in OTHER_BOUNDS):
            summary.append([area, contender, "allocations a member", f"{each:.2f}"] + verdict(each, *few, True))
        if contender == "brix to a stream":
            summary.append([area, contender, "peak beside windows, KiB", f"{beside / 1024:.0f}"] +
                           verdict(beside / 1024, *small, True))
    return (["### Heap of one walk, opening and closing included", "",
             f"A bare inflater takes {bare[3] / 1024:.0f} KiB for its windows and tables; in KiB, other windows and tables: " +
             ", ".join(f"{area} {size}" for area, size in WINDOWS.items()) + ".", ""] +
            table(["area", "", "allocations", "a member", "peak KiB"], rows)), summary


# --- All of it ---


def machine():
    with open("/proc/cpuinfo", encoding="ascii") as f:
        processor = re.search(r"model name\s*: (.*)", f.read())[1]
    with open("/etc/os-release", encoding="utf-8") as f:
        system = re.search(r'PRETTY_NAME="(.*)"', f.read())[1]
    changed = " with changes" if version_of(["git", "status", "--porcelain", "src", "tools", "include", "bench"]) else ""
    return [f"- Commit: {version_of(['git', 'rev-parse', '--short', 'HEAD'])}{changed}",
            f"- Machine: {processor}, {os.cpu_count()} processors, {system}",
            f"- Load when the run began: {os.getloadavg()[0]:.1f}",
            f"- Compiler: {version_of(['g++', '--version']).splitlines()[0]}, `-O2`",
            "- Command: `bench/run.py`", ""]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("areas", nargs="*", metavar="AREA")
    parser.add_argument("--data", default=os.path.join(ROOT, "build", "bench-data"), help="where the inputs are, or go")
    parser.add_argument("--instructions", action="store_true")
    parser.add_argument("--heap", action="store_true")
    parser.add_argument("--list", action="store_true", help="the areas' names")
    options = parser.parse_args()
    build()
    areas = version_of([PROGRAM, "--list"]).split()
    if options.list:
        return print("\n".join(areas))
    make_data(options.data)
    some = options.areas or options.instructions or options.heap
    texts, ratios = [], []
    parts = [lambda area=area: run_area(area, options.data) for area in (options.areas if some else areas)]
    parts += [lambda: heap(options.data)] if options.heap or not some else []
    parts += [lambda: instructions(options.data)] if options.instructions or not some else []
    for part in parts:
        text, more = part()
        texts += text
        ratios += more
        if not some:
            print("\n".join(text), file=sys.stderr)
    summary = table(["area", "", "", "median (range)", "floor", "goal", "reached"], ratios)
    if some:
        return print("\n".join(texts + summary))
    with open(DOCUMENT, encoding="utf-8") as f:
        before, rest = f.read().split(BEGIN)
    tables = "\n".join(machine() + ["## Ratios", ""] + summary + ["## Figures", ""] + texts)
    with open(DOCUMENT, "w", encoding="utf-8") as f:
        f.write(before + BEGIN + "\n" + tables + END + rest.split(END)[1])


if __name__ == "__main__":
    main()
