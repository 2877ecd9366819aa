#!/usr/bin/env python3
"""Checks every code block of the documents, and their links: what they show is what happens.

usage: check_documents.py QUILLMERE DOCUMENT...

A block fenced as "cpp" stands, word for word but for its indentation, in a file under examples/, which the build
compiles and the suite runs. A block fenced as "cmake" stands so in a file under tests/install or examples/.
A block fenced as "console" is run: each line behind "$ " with the tool on the PATH, in a directory with the project's
examples, and what it prints is what stands below it. A block fenced as "sh" is not run: it is for what changes the
machine or needs the network. Any other fence must be "text" or "json".
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap

ROOT = pathlib.Path(__file__).resolve().parents[2]
SHOWN_IN = {"cpp": ["examples"], "cmake": ["tests/install"]}


def blocks(text):
    for match in re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.M | re.S):
        yield match[1], match[2], text.count("\n", 0, match.start()) + 1


def stands_in_a_file(code, directories):
    texts = [path.read_text() for directory in directories for path in (ROOT / directory).glob("**/*") if path.is_file()]
    return any(textwrap.indent(code, indent) in "\n" + text for text in texts for indent in ("", "  ", "    "))


def run_console(block, environment, scratch):
    """The difference between what a console block shows and what happens, or None."""
    for command in re.split(r"^\$ ", block, flags=re.M)[1:]:
        lines = command.split("\n")
        while lines[0].endswith("\\") and len(lines) > 1:
            lines[0:2] = [lines[0] + "\n" + lines[1]]
        expected = "\n".join(lines[1:])
        done = subprocess.run(["bash", "-c", lines[0]], cwd=scratch, env=environment, text=True, timeout=60,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if done.stdout.rstrip("\n") != expected.rstrip("\n"):
            return f"{lines[0]!r} printed:\n{done.stdout}"
    return None


def dead_links(document, text):
    for target in re.findall(r"\]\(([^)#:]+)\)", text):
        if not (document.parent / target).exists():
            yield f"no file {target}"


def problem_of(fence, block, environment, scratch):
    if fence in SHOWN_IN:
        return None if stands_in_a_file(block, SHOWN_IN[fence]) else f"stands in no file under {SHOWN_IN[fence]}"
    if fence == "console":
        return run_console(block, environment, scratch)
    return None if fence in ("sh", "text", "json") else f"unknown fence {fence!r}"


def main():
    tool = pathlib.Path(sys.argv[1]).resolve()
    environment = dict(os.environ, PATH=f"{tool.parent}:{os.environ['PATH']}")
    failures = 0
    count = 0
    for name in sys.argv[2:]:
        document = ROOT / name
        text = document.read_text()
        problems = [f"{name}: {problem}" for problem in dead_links(document, text)]
        with tempfile.TemporaryDirectory() as scratch:
            pathlib.Path(scratch, "examples").symlink_to(ROOT / "examples")
            for fence, block, line in blocks(text):
                count += 1
                problem = problem_of(fence, block, environment, scratch)
                if problem:
                    problems.append(f"{name}:{line}: {problem}")
        failures += len(problems)
        print("".join(problem + "\n" for problem in problems), end="")
    print(f"{count} code blocks, {failures} failures")
    return 1 if failures or count == 0 else 0


sys.exit(main())
