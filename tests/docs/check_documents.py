#!/usr/bin/env python3
"""Checks every code block of the documents: what they show is what happens.

usage: check_documents.py QUILLMERE DOCUMENT...

A block fenced as "cpp" stands, word for word, in a file under examples/, which the build compiles and the suite runs.
A block fenced as "console" is run: each line behind "$ " with the tool on the PATH, from the project's root, and what
it prints is what stands below it. A block fenced as "sh" is not run: it is for what changes the machine.
Any other fence must be "text", "json" or "cmake".
"""
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def blocks(text):
    for match in re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.M | re.S):
        yield match[1], match[2], text.count("\n", 0, match.start()) + 1


def shown_in_an_example(code):
    return any(code in path.read_text() for path in (ROOT / "examples").glob("**/*") if path.is_file())


def run_console(block, environment):
    """The difference between what a console block shows and what happens, or None."""
    for command in re.split(r"^\$ ", block, flags=re.M)[1:]:
        lines = command.split("\n")
        while lines[0].endswith("\\") and len(lines) > 1:
            lines[0:2] = [lines[0] + "\n" + lines[1]]
        expected = "\n".join(lines[1:])
        done = subprocess.run(["bash", "-c", lines[0]], cwd=ROOT, env=environment, text=True, timeout=60,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if done.stdout.rstrip("\n") != expected.rstrip("\n"):
            return f"{lines[0]!r} printed:\n{done.stdout}"
    return None


def main():
    tool = pathlib.Path(sys.argv[1]).resolve()
    environment = dict(os.environ, PATH=f"{tool.parent}:{os.environ['PATH']}")
    failures = 0
    count = 0
    for name in sys.argv[2:]:
        for fence, block, line in blocks((ROOT / name).read_text()):
            count += 1
            problem = None
            if fence == "cpp" and not shown_in_an_example(block):
                problem = "stands in no file under examples/"
            elif fence == "console":
                problem = run_console(block, environment)
            elif fence not in ("cpp", "sh", "text", "json", "cmake"):
                problem = f"unknown fence {fence!r}"
            if problem:
                failures += 1
                print(f"{name}:{line}: {problem}")
    print(f"{count} code blocks, {failures} failures")
    return 1 if failures or count == 0 else 0


sys.exit(main())
