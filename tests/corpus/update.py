#!/usr/bin/env python3
"""Rewrites the expected outputs of the corpus with what simhost says now.

Usage: tests/corpus/update.py SIMHOST

What was expected before is gone, but for git: read the whole "git diff tests/corpus" before you commit. A test that was
made to expect a wrong answer hides the mistake for good.
"""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import golden  # noqa: E402


def main():
    simhost = str(pathlib.Path(sys.argv[1]).resolve())
    changed = 0
    for case in golden.cases():
        now = case.run(simhost)
        before = case.expected_file.read_bytes() if case.expected_file.exists() else None
        if now != before:
            case.expected_file.write_bytes(now)
            print(case.expected_file)
            changed += 1
    print(f"{changed} changed. Read them: git add -N {golden.CORPUS} && git diff {golden.CORPUS}")
    subprocess.run(["git", "-C", golden.CORPUS, "--no-pager", "diff", "--stat", "."], check=False)


if len(sys.argv) != 2:
    sys.exit(__doc__)
main()
