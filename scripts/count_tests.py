#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Counts what a ctest run did: prints "PASSED FAILED SKIPPED WAITING" and the reason of each skip.

usage: count_tests.py CTEST_JUNIT_XML [FOLDER_OF_GOOGLETEST_XML]

A GoogleTest program is one test to ctest; where its own report exists, its cases are counted instead. WAITING are the
skips that only say that the sample corpus is not there, which is no fault of the checkout; SKIPPED are the others.
"""
import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def main():
    suite = ElementTree.parse(sys.argv[1]).getroot()
    failed = int(suite.get("failures", 0))
    skips = [(c.get("name"), "ctest") for c in suite.iter("testcase") if c.get("status") in ("notrun", "disabled")]
    passed = int(suite.get("tests", 0)) - failed - len(skips)
    for path in pathlib.Path(sys.argv[2]).glob("*.xml") if len(sys.argv) > 2 else []:
        cases = list(ElementTree.parse(path).getroot().iter("testcase"))
        bad = sum(case.find("failure") is not None for case in cases)
        skipped = [case for case in cases if case.find("skipped") is not None]
        if bad:
            failed += bad - 1
        else:
            passed -= 1
        passed += len(cases) - bad - len(skipped)
        for case in skipped:
            message = case.find("skipped").get("message") or "no reason"
            skips.append((f"{case.get('classname')}.{case.get('name')}", message.strip().splitlines()[-1]))
    waiting = [s for s in skips if "corpus" in s[1].lower()]
    print(passed, failed, len(skips) - len(waiting), len(waiting))
    for name, reason in skips:
        print(f"{name}: {reason}")


if __name__ == "__main__":
    main()
