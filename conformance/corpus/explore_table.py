#!/usr/bin/env python3
"""Lets the exploration look for every broken plug-in of breakages.txt, which it knows nothing of, and prints what it finds.

The unbroken wrapper comes first: what is found there would be found everywhere. Takes up to --time seconds for each that
is not found: name those that are wanted, or take every n-th with --every.
"""

import argparse
import concurrent.futures
import json
import os
import statistics
import subprocess
import sys
import tempfile

from kill_table import breakages


def explore(options, name):
    environment = dict(os.environ, STSPI_BROKEN=name, STSPI_BROKEN_REAL=os.path.abspath(options.plugin))
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        command = [options.suite, "explore", options.broken, "--jobs", "1", "--seed", str(options.seed),
                   "--time", str(options.time), "--timeout", str(options.timeout), "--json", report.name]
        result = subprocess.run(command, env=environment, capture_output=True, text=True, errors="replace")
        if result.returncode not in (0, 1):
            raise SystemExit("%s: %s" % (name, result.stderr))
        return json.load(report)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--suite", required=True, help="stspi-conformance")
    parser.add_argument("--broken", required=True, help="the wrapping library")
    parser.add_argument("--plugin", required=True, help="the plug-in that it wraps")
    parser.add_argument("--breakages", required=True, help="breakages.txt")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--time", type=int, default=60, help="seconds for each")
    parser.add_argument("--timeout", type=int, default=2, help="seconds until a history is ended")
    parser.add_argument("--jobs", type=int, default=2, help="plug-ins at the same time")
    parser.add_argument("--every", type=int, default=1, metavar="N", help="only every n-th")
    parser.add_argument("names", nargs="*", help="only these")
    options = parser.parse_args()

    unbroken = explore(options, "")["finding"]
    if unbroken:
        sys.exit("the wrapper spoils something of its own: %s" % unbroken["what"])

    names = [name for name, _, _ in breakages(options.breakages) if not options.names or name in options.names]
    names = names[::options.every]
    lengths = []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for name, report in zip(names, pool.map(lambda one: explore(options, one), names)):
            finding = report["finding"]
            if finding is None:
                print("%-45s not found in %d histories" % (name, report["histories"]), flush=True)
                continue
            lengths.append(len(finding["calls"]))
            print("%-45s %6.1f s %4d calls  %s" % (name, report["seconds"], lengths[-1], finding["what"]), flush=True)
    median = statistics.median(lengths) if lengths else 0
    print("%d of %d broken plug-ins found, median history %g calls" % (len(lengths), len(names), median))
    sys.exit(0 if len(lengths) == len(names) else 1)


if __name__ == "__main__":
    main()
