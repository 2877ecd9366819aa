#!/usr/bin/env python3
"""Checks that the tool's help, manual page and completions say the same, and that their readers take them.

usage: check_generated.py QUILLMERE

`quillmere COMMAND --help` is the yardstick: each option it lists is one that the command line takes, that the manual
page describes, and that bash, zsh and fish offer, and they offer no other.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

TOOL = pathlib.Path(sys.argv[1]).resolve()
failures = 0


def expect(what, found, expected):
    global failures
    if found != expected:
        failures += 1
        print(f"{what}:\n  found    {found!r}\n  expected {expected!r}")


def run(*command):
    environment = dict(os.environ, LC_ALL="C.UTF-8", PATH=f"{TOOL.parent}:{os.environ['PATH']}", HOME=scratch)
    done = subprocess.run(command, cwd=scratch, env=environment, text=True, timeout=60, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.stdout if done.returncode == 0 else f"status {done.returncode}: {done.stdout}"


def listed_options(text):
    """The long options that a text in the form of the help describes, and whether each takes a value."""
    entries = re.findall(r"^ {2,7}(?:-\w, )?(--[\w-]+)( [A-Z]+)?(?: |$)", text, re.M)
    return {name: bool(value) for name, value in entries}


def bash_offers(*words):
    line = "' '".join(words)
    return run("bash", "-c", f"""source quillmere.bash; COMP_WORDS=('{line}'); COMP_CWORD={len(words) - 1}
               _quillmere 2>&1; printf '%s\\n' "${{COMPREPLY[@]}}" """).split()


def zsh_offers(*words):
    """What zsh shows on a terminal of its own when Tab is pressed behind `words`."""
    line = " ".join(words)
    script = f"""
      zmodload zsh/zpty; zpty shell zsh -f -i
      zpty -w shell "PS1=; stty columns 200 rows 100; fpath=($PWD/zsh \\$fpath); autoload -U compinit; compinit -u -D
        setopt no_auto_menu; LISTMAX=1000; mark() {{ print END }}; zle -N mark; bindkey '^X' mark; print -r BEG''IN"
      zpty -r shell text '*BEGIN*'
      zpty -w -n shell '{line}'$'\\t\\t\\x18'
      zpty -r shell text '*END*'; print -r -- $text; zpty -d shell"""
    return run("zsh", "-f", "-c", script)


def main():
    for kind, name in (("man", "quillmere.1"), ("bash", "quillmere.bash"), ("zsh", "zsh/_quillmere"), ("fish", "quillmere.fish")):
        path = pathlib.Path(scratch, name)
        path.parent.mkdir(exist_ok=True)
        path.write_text(run(TOOL, "--generate", kind))
    expect("mandoc", run("mandoc", "-T", "lint", "quillmere.1"), "")
    expect("bash", run("bash", "-n", "quillmere.bash"), "")
    expect("zsh", run("zsh", "-n", "zsh/_quillmere"), "")
    expect("fish", run("fish", "-n", "quillmere.fish"), "")

    manual = re.sub(".\b", "", run("mandoc", "-T", "utf8", "-O", "width=78", "quillmere.1"))
    chapters = dict(re.findall(r"^   (\w+)\n(.*?)(?=^   \w|^\w)", manual, re.M | re.S))
    general = run(TOOL, "--help")
    commands = re.findall(r"^  (\w+) ", general[general.index("Commands:"):general.index("Options:")], re.M)
    expect("the manual's commands", list(chapters), commands)
    expect("bash's commands", bash_offers("quillmere", ""), commands)
    expect("bash's options", bash_offers("quillmere", "--"), list(listed_options(general)))
    fish_words = run("fish", "-c", "source quillmere.fish; complete -C 'quillmere '").splitlines()
    expect("fish's commands", {word.split("\t")[0] for word in fish_words}, set(commands))

    for command in commands:
        options = listed_options(run(TOOL, command, "--help"))
        for option, has_value in options.items():
            taken = run(TOOL, command, option, *(["1"] if has_value else []), "--help")
            expect(f"{command} {option}", taken.startswith(f"quillmere {command}: "), True)
        own = {option: value for option, value in options.items() if option != "--help"}
        expect(f"the manual's options of {command}", listed_options(chapters.get(command, "")), own)
        expect(f"bash's options of {command}", bash_offers("quillmere", command, "--"), list(options))
        offered = run("fish", "-c", f"source quillmere.fish; complete -C 'quillmere {command} --'").split("\n")
        expect(f"fish's options of {command}", {line.split("\t")[0] for line in offered if line}, set(options))
        shown = set(re.findall(r"--[\w-]+\b", zsh_offers("quillmere", command, "--").split("\n", 1)[1]))
        expect(f"zsh's options of {command}", shown, set(options))
    expect("bash's formats", bash_offers("quillmere", "enrich", "--format", "=", "cs"), ["csv"])
    expect("bash's operations", bash_offers("quillmere", "inspect", "p"), ["price", "page"])
    print(f"{len(commands)} commands compared, {failures} failures")
    return 1 if failures else 0


with tempfile.TemporaryDirectory() as scratch:
    sys.exit(main())
