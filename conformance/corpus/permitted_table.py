#!/usr/bin/env python3
"""Runs the whole suite against every permitted variant of permitted.txt: none may fail.

Each line names a variant, the round that it is tried in, the test that warns of it (or - where the suite has nothing to say),
and what the plug-in does. The test that warns proves that the variant is really there. When something is wrong with a
round, each of its variants is tried alone, to tell which it is.
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


def run(options, variants):
    library = options.more_exports if MORE_EXPORTS in variants else options.broken
    environment = dict(os.environ, STSPI_BROKEN=",".join(variants), STSPI_BROKEN_REAL=os.path.abspath(options.plugin))
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        command = [options.suite, library, "--jobs", str(options.jobs), "--timeout", "60", "--json", report.name]
        result = subprocess.run(command, env=environment, capture_output=True, text=True)
        if result.returncode == 2:
            sys.exit("%s: %s" % (", ".join(variants), result.stderr))
        with open(report.name, encoding="utf-8") as file:
            return {test["id"]: test["outcome"] for test in json.load(file)["tests"]}, result.stdout


def judge(options, variants):
    """Tries variants, lines of the table, in one run. Returns what is wrong, and what the suite printed."""
    outcomes, text = run(options, [name for name, _, _, _ in variants])
    wrong = ["%s condemns it" % test for test, outcome in sorted(outcomes.items()) if outcome in ("fail", "crash", "timeout")]
    wrong += ["%s does not warn of %s" % (telling, name) for name, _, telling, _ in variants
              if telling != "-" and outcomes[telling] != "warn"]
    return wrong, text


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--suite", required=True, help="stspi-conformance")
    parser.add_argument("--broken", required=True, help="the wrapping library")
    parser.add_argument("--more-exports", required=True, help="the same with exports of its own")
    parser.add_argument("--plugin", required=True, help="the plug-in that they wrap")
    parser.add_argument("--variants", required=True, help="permitted.txt")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--only", help="run this variant alone")
    parser.add_argument("--each", action="store_true", help="run each variant alone")
    parser.add_argument("--markdown", help="write the table to this file")
    options = parser.parse_args()

    lines = [line for line in lines_of(options.variants) if options.only in (None, line[0])]
    failed = []
    for number in sorted({line[1] for line in lines}):
        together = [line for line in lines if line[1] == number]
        if not options.each:
            wrong, text = judge(options, together)
            print("round %s, %d variants: %s" % (number, len(together), "; ".join(wrong) or "passes"), flush=True)
            if not wrong:
                continue
            failed.append("round %s" % number)
            print(text)
        for line in together:
            wrong, text = judge(options, [line])
            print("%-45s %s" % (line[0], "; ".join(wrong) or "passes"), flush=True)
            if wrong:
                failed.append(line[0])
                print(text)
    print("%d permitted variants: %s" % (len(lines), "wrong: " + ", ".join(failed) if failed else "all pass"))
    if options.markdown:
        rows = ["| %s | %s |" % (description, "none" if telling == "-" else "`%s`" % telling)
                for _, _, telling, description in lines]
        with open(options.markdown, "w", encoding="utf-8") as file:
            file.write("\n".join(["| What the plug-in does | Test that warns |", "| --- | --- |"] + rows) + "\n")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
