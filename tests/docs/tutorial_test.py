#!/usr/bin/env python3
"""Runs the commands of a page as its reader would and compares what they print with what the page shows.

Usage: tutorial_test.py PAGE PROGRAM_DIRECTORY

A fenced block after the comment "<!-- file: NAME -->" is written to NAME. In a "console" block a line that begins with
"$ " is a command; the lines behind it are what it prints, on standard output or standard error. "…" stands for anything
within a line, and alone on a line for any number of lines. All commands run in one fresh directory, which is taken for
the reader's, with the programs on the path.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

FILE = re.compile(r"<!-- file: (\S+) -->\n```\w*\n(.*?)```", re.DOTALL)
CONSOLE = re.compile(r"```console\n(.*?)```", re.DOTALL)


def pattern(lines):
    """A regular expression for the lines a command should print."""
    parts = []
    for line in lines:
        if line == "…":
            parts.append(r"(?:.*\n)*?")
        else:
            parts.append(r"[^\n]*".join(re.escape(piece) for piece in line.rstrip().split("…")) + r"[ \t]*\n")
    return re.compile("".join(parts))


def commands(block):
    """Each command of a block with the lines it should print."""
    found = []
    for line in block.rstrip("\n").split("\n"):
        if line.startswith("$ "):
            found.append((line[2:], []))
        else:
            found[-1][1].append(line)
    return found


def run(page, programs):
    text = pathlib.Path(page).read_text()
    failures = count = 0
    with tempfile.TemporaryDirectory() as directory:
        environment = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}", LC_ALL="C.UTF-8", NO_COLOR="1")
        environment.pop("STSIMAGE_ROOT", None)
        steps = [(m.start(), m) for m in FILE.finditer(text)] + [(m.start(), m) for m in CONSOLE.finditer(text)]
        for _, match in sorted(steps, key=lambda step: step[0]):
            if match.re is FILE:
                pathlib.Path(directory, match[1]).write_text(match[2])
                continue
            for command, expected in commands(match[1]):
                count += 1
                result = subprocess.run(["bash", "-c", command], cwd=directory, env=environment, text=True, timeout=120,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                if not pattern(expected).fullmatch(result.stdout):
                    failures += 1
                    print(f"--- {page}: $ {command}\nexpected:\n" + "\n".join(expected) + f"\nprinted:\n{result.stdout}")
    print(f"{count} commands, {failures} print something else")
    return 0 if count and not failures else 1


sys.exit(run(sys.argv[1], sys.argv[2]))
