#!/usr/bin/env python3
"""Checks that docs/reliability.md says of each test program how many tests it has.

usage: check_counts.py DOCUMENT BUILD_DIRECTORY
"""
import pathlib
import re
import subprocess
import sys

document = pathlib.Path(sys.argv[1]).read_text()
programs = re.findall(r"^\|.*\| ([\d,]+) tests.* \| `build/dev/(tests/\S+)(.*)` \|$", document, re.M)
wrong = [] if programs else ["no programs found"]
for count, program, arguments in programs:
    listing = subprocess.run([pathlib.Path(sys.argv[2], program), "--gtest_list_tests", *arguments.replace("'", "").split()],
                             check=True, text=True, capture_output=True).stdout
    tests = len(re.findall(r"^  ", listing, re.M))
    if tests != int(count.replace(",", "")):
        wrong.append(f"{program}{arguments}: {tests} tests, not {count}")
sys.exit("\n".join(wrong) or 0)
