#!/usr/bin/env python3
"""Runs the whole suite against every permitted variant of permitted.txt: none may fail.

Each line names a variant, the test that warns of it (or - where the suite has nothing to say), and what the plug-in does.
The test that warns proves that the variant is really there.
"""

import argparse
import json
import os
import subprocess
import sys
import tempfile

from kill_table import breakages as lines_of

# The one variant that needs another linking of the wrapper.
MORE_EXPORTS = "permitted.more-exports"


def run(options, variant):
    library = options.more_exports if variant == MORE_EXPORTS else options.broken
    environment = dict(os.environ, STSPI_BROKEN=variant, STSPI_BROKEN_REAL=os.path.abspath(options.plugin))
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        command = [options.suite, library, "--jobs", str(options.jobs), "--timeout", "60", "--json", report.name]
        result = subprocess.run(command, env=environment, capture_output=True, text=True)
        if result.returncode == 2:
            sys.exit("%s: %s" % (variant, result.stderr))
        with open(report.name, encoding="utf-8") as file:
            return {test["id"]: test["outcome"] for test in json.load(file)["tests"]}, result.stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--suite", required=True, help="stspi-conformance")
    parser.add_argument("--broken", required=True, help="the wrapping library")
    parser.add_argument("--more-exports", required=True, help="the same with exports of its own")
    parser.add_argument("--plugin", required=True, help="the plug-in that they wrap")
    parser.add_argument("--variants", required=True, help="permitted.txt")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--only", help="run this variant alone")
    parser.add_argument("--markdown", help="write the table to this file")
    options = parser.parse_args()

    rows = []
    wrong = 0
    for name, telling, description in lines_of(options.variants):
        if options.only not in (None, name):
            continue
        outcomes, text = run(options, name)
        failed = sorted(test for test, outcome in outcomes.items() if outcome in ("fail", "crash", "timeout"))
        warned = sorted(test for test, outcome in outcomes.items() if outcome == "warn")
        unseen = telling != "-" and telling not in warned
        print("%-45s %s%s" % (name, "CONDEMNED" if failed else "passes, %d warn" % len(warned),
                              ", but %s does not warn" % telling if unseen else ""), flush=True)
        if failed:
            print(text)
        wrong += bool(failed) or unseen
        rows.append("| %s | %s |" % (description, "none" if telling == "-" else "`%s`" % telling))
    print("%d of %d permitted variants pass" % (len(rows) - wrong, len(rows)))
    if options.markdown:
        with open(options.markdown, "w", encoding="utf-8") as file:
            file.write("\n".join(["| What the plug-in does | Test that warns |", "| --- | --- |"] + rows) + "\n")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
