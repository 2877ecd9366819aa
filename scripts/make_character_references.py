#!/usr/bin/env python3
"""Makes src/quillmere/text/character_references_table.inc from scripts/named_character_references.json.

  scripts/make_character_references.py            writes the table
  scripts/make_character_references.py --check    fails when the table is not what would be written

The JSON file holds the facts of https://html.spec.whatwg.org/entities.json, each name without its "&" and with its
characters. That published file itself can take its place: both shapes are read.
"""

import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FACTS = ROOT / "scripts/named_character_references.json"
TABLE = ROOT / "src/quillmere/text/character_references_table.inc"

HEAD = """\
// The named character references of HTML (https://html.spec.whatwg.org/entities.json), sorted by name.
// Made by scripts/make_character_references.py; change that, not this.
// clang-format off
"""


def literal(characters):
    """`characters` as the inside of a C++ string literal in ASCII."""
    escapes = {"\t": "\\t", "\n": "\\n", '"': '\\"', "\\": "\\\\"}
    return "".join(
        escapes.get(c) or (c if " " <= c <= "~" else f"\\u{ord(c):04X}" if ord(c) <= 0xFFFF else f"\\U{ord(c):08X}")
        for c in characters
    )


def main():
    facts = json.loads(FACTS.read_text(encoding="utf-8"))
    characters = {
        name.removeprefix("&"): value if isinstance(value, str) else value["characters"] for name, value in facts.items()
    }
    table = HEAD + "".join(f'{{"{name}", "{literal(characters[name])}"}},\n' for name in sorted(characters))
    if sys.argv[1:] != ["--check"]:
        TABLE.write_text(table, encoding="ascii")
    elif TABLE.read_text(encoding="ascii") != table:
        sys.exit(f"{TABLE.name} is out of date: run scripts/make_character_references.py")


main()
