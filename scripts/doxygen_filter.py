#!/usr/bin/env python3
"""Reads a header for doxygen as this project's readers do: a comment holds for all declarations up to an empty line.

usage: doxygen_filter.py HEADER

Repeats the comment in front of each declaration of its run, and leaves out the defaulted comparisons.
"""
import re
import sys


def statements(lines):
    """Groups the lines of a run of declarations into statements: each ends at a line with ';' or '}' at depth 0."""
    statement, depth = [], 0
    for line in lines:
        code = line.split("//")[0]
        depth += sum(code.count(c) for c in "({[") - sum(code.count(c) for c in ")}]")
        statement.append(line)
        if depth <= 0 and re.search(r"[;}]\s*$", code):
            yield statement
            statement, depth = [], 0
    if statement:
        yield statement


def filtered(text):
    comment, run, out = [], [], []

    def flush():
        opens_scope = run and sum(line.count("{") - line.count("}") for line in run) != 0
        for number, statement in enumerate([run] if opens_scope else statements(run)):
            documented = any("///<" in line for line in statement)
            out.extend(comment if number == 0 or not documented else [])
            out.extend(statement)
        comment.clear()
        run.clear()

    for line in text.split("\n"):
        if re.search(r"operator==\(.*= default;", line):
            continue
        stripped = line.strip()
        if stripped.startswith("///") and not stripped.startswith("///<"):
            if run:
                flush()
            comment.append(line)
        elif comment and stripped:
            run.append(line)
            if stripped.endswith("{") or stripped.endswith(":"):
                flush()
        else:
            flush()
            out.append(line)
    flush()
    return "\n".join(out)


print(filtered(open(sys.argv[1], encoding="utf-8").read()))
