#!/usr/bin/env python3
"""Runs the suite against every broken plug-in of breakages.txt and prints which test finds which breakage.

Each line of breakages.txt names a breakage, the test that must find it, and what is broken. The unbroken wrapper must pass
the whole suite, or nothing that is found about broken ones means anything.
"""

import argparse
import concurrent.futures
import contextlib
import fcntl
import json
import os
import subprocess
import sys
import tempfile


def breakages(path):
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            line = line.strip()
            if line and not line.startswith("#"):
                yield [field.strip() for field in line.split("|")]


# What it makes stands where others who break the same would find it.
PLAYS_IN_TMP = "config.storage-ignored"


@contextlib.contextmanager
def alone(library):
    """Among all programs that break this library so."""
    with open(library, "rb") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def run(options, breakage, tests, jobs):
    environment = dict(os.environ, STSPI_BROKEN=breakage, STSPI_BROKEN_REAL=os.path.abspath(options.plugin))
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        command = [options.suite, options.broken, "--jobs", str(jobs), "--timeout", "5", "--json", report.name]
        if tests:
            command += ["--filter", tests]
        else:
            command[command.index("--timeout") + 1] = "60"
        with alone(options.broken) if breakage == PLAYS_IN_TMP else contextlib.nullcontext():
            result = subprocess.run(command, env=environment, capture_output=True, text=True)
        if result.returncode == 2:
            raise SystemExit("%s: %s" % (breakage, result.stderr))
        with open(report.name, encoding="utf-8") as file:
            document = json.load(file)
        outcomes = {test["id"]: test["outcome"] for test in document["tests"]}
        if not tests and set(outcomes.values()) <= {"pass", "warn"} and document["level"] != 5:
            raise SystemExit("every test passes, and yet the level is %s" % document["level"])
    return {test: outcome for test, outcome in outcomes.items() if outcome in ("fail", "crash", "timeout")}


def markdown(rows):
    yield "| What is broken | Test that finds it | How |"
    yield "| --- | --- | --- |"
    for description, test, outcome in rows:
        yield "| %s | `%s` | %s |" % (description, test, outcome)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--suite", required=True, help="stspi-conformance")
    parser.add_argument("--broken", required=True, help="the wrapping library")
    parser.add_argument("--plugin", required=True, help="the plug-in that it wraps")
    parser.add_argument("--breakages", required=True, help="breakages.txt")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--markdown", help="write the table to this file")
    options = parser.parse_args()

    found = run(options, "", "", options.jobs)
    if found:
        sys.exit("the wrapper spoils something of its own: %s" % found)

    lines = list(breakages(options.breakages))
    rows = []
    missed = []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        killers = pool.map(lambda line: run(options, line[0], line[1], 1), lines)
        for (name, test, description), killed_by in zip(lines, killers):
            if test in killed_by:
                rows.append((description, test, killed_by[test]))
                print("%-45s %-8s %s" % (name, killed_by[test], test), flush=True)
            else:
                missed.append(name)
                print("%-45s MISSED   %s" % (name, test), flush=True)
    print("%d of %d broken plug-ins found" % (len(rows), len(lines)))
    if options.markdown:
        with open(options.markdown, "w", encoding="utf-8") as file:
            file.write("\n".join(markdown(rows)) + "\n")
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
