#!/usr/bin/env python3
"""Runs a session with simhost on a terminal and draws what appears there: the README's picture.

Usage: session.py PROGRAM_DIRECTORY SVG      e.g. docs/session.py build/release/bin docs/session.svg
"""
import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile
import unicodedata
from xml.sax.saxutils import escape

SERVER = """ENCLOSURE = gold;
\tDISKS = g1,g2,g3;
\tHOSTS = mediaA,mediaB;
\tDISK_SIZE = 10G;
\tSTORAGE_DIR = /var/tmp/gold;

MOUNT_BEHAVIOR = SUCCESS;
"""
COMMANDS = [
    "cat Kelvarpool.sim",
    "simhost check Kelvarpool.sim",
    "simhost pools --server Kelvarpool:mediaA",
    "seq 3000000 | simhost run --server Kelvarpool:mediaA --image monday",
]
COLUMNS = 118
CHARACTER, LINE, MARGIN = 7.8, 18, 16
COLOURS = {"0": "#d6deeb", "31": "#ff7b72", "32": "#7ee787", "33": "#f2cc60", "2": "#8b98a9"}


def on_terminal(command, directory, environment):
    """What a command prints, with the colours it uses on a terminal."""
    master, slave = pty.openpty()
    process = subprocess.Popen(["bash", "-c", command], cwd=directory, env=environment, stdin=subprocess.DEVNULL,
                               stdout=slave, stderr=slave)
    os.close(slave)
    shown = b""
    while True:
        try:
            piece = os.read(master, 65536)
        except OSError:
            break
        shown += piece
    os.close(master)
    if process.wait() != 0:
        sys.exit(f"{command}: status {process.returncode}\n{shown.decode()}")
    # Of a line that is drawn over and over, a progress bar's, the last state stays.
    lines = shown.decode().replace("\r\n", "\n").rstrip("\n").split("\n")
    return [line.split("\r")[-1].replace("\033[K", "").expandtabs(8) for line in lines]


def width(character):
    return 2 if unicodedata.east_asian_width(character) in "WF" else 1


def runs(line):
    """(column, colour, text) of each piece of a line, cut at the edge of the terminal."""
    column, colour = 0, "0"
    for piece in re.split(r"(\033\[\d*m)", line):
        if piece.startswith("\033"):
            colour = piece[2:-1] or "0"
            continue
        text = ""
        start = column
        for character in piece:
            if column + width(character) > COLUMNS - 1 and len(re.sub(r"\033\[\d*m", "", line)) > COLUMNS:
                if column < COLUMNS:
                    text += "…"
                    column = COLUMNS
                break
            text += character
            column += width(character)
        if text:
            yield start, colour, text


def drawing(lines):
    wide, high = round(COLUMNS * CHARACTER + 2 * MARGIN), len(lines) * LINE + 2 * MARGIN
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" role="img" viewBox="0 0 {wide} {high}" width="{wide}" '
           f'height="{high}">')
    yield "<title>A terminal: a server file is checked, its pools are listed, and a backup cycle runs</title>"
    yield (f'<rect width="{wide}" height="{high}" rx="8" fill="#0d1b2a"/>\n'
           '<g font-family="ui-monospace, Menlo, Consolas, \'DejaVu Sans Mono\', monospace" font-size="13">')
    for number, line in enumerate(lines):
        y = MARGIN + number * LINE + 13
        for column, colour, text in runs(line):
            x = MARGIN + column * CHARACTER
            length = sum(map(width, text)) * CHARACTER
            yield (f'<text x="{x:.1f}" y="{y}" textLength="{length:.1f}" lengthAdjust="spacingAndGlyphs" '
                   f'xml:space="preserve" fill="{COLOURS[colour]}">{escape(text)}</text>')
    yield "</g>\n</svg>"


def session(programs):
    with tempfile.TemporaryDirectory(prefix="session-") as directory:
        pathlib.Path(directory, "Kelvarpool.sim").write_text(SERVER)
        environment = {"PATH": f"{programs}:/usr/bin:/bin", "HOME": directory, "TERM": "xterm", "LC_ALL": "C.UTF-8",
                       "SIMHOST_CONFIG_DIR": ".", "COLUMNS": str(COLUMNS)}
        for command in COMMANDS:
            yield f"\033[32m$\033[0m {command}"
            yield from on_terminal(command, directory, environment)


def main():
    programs, svg = sys.argv[1:]
    pathlib.Path(svg).write_text("\n".join(drawing(list(session(pathlib.Path(programs).resolve())))) + "\n")


main()
