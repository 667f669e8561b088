#!/usr/bin/env python3
"""The picture of a session can be drawn anew, and the one that is shown has the same commands.

Usage: session_test.py SOURCE_DIRECTORY PROGRAM_DIRECTORY
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree


def lines(svg):
    """The lines of the terminal, without what differs from run to run."""
    rows = {}
    for text in xml.etree.ElementTree.parse(svg).iter("{http://www.w3.org/2000/svg}text"):
        rows.setdefault(int(text.get("y")), []).append(text.text)
    return [re.sub(r"[0-9]+(\.[0-9]+)?", "0", "".join(rows[y])) for y in sorted(rows)]


source, programs = sys.argv[1:]
with tempfile.TemporaryDirectory() as directory:
    drawn = pathlib.Path(directory, "session.svg")
    subprocess.run([f"{source}/docs/session.py", programs, drawn], check=True)
    fresh, shown = lines(drawn), lines(f"{source}/docs/session.svg")

first_words = [[line.split()[:1] for line in picture] for picture in (fresh, shown)]
commands = [[line for line in picture if line.startswith("$ ")] for picture in (fresh, shown)]
print(*fresh, sep="\n")
assert commands[0] == commands[1], commands
assert first_words[0] == first_words[1], "docs/session.svg is of another run: draw it anew with docs/session.py"
assert fresh[-1].startswith("verdict        what was read back is what was written"), fresh[-1]
assert not any("\033" in line for line in fresh)
