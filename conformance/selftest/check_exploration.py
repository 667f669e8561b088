#!/usr/bin/env python3
"""Explores a good plug-in and some broken ones.

usage: check_exploration.py --suite SUITE --broken BROKEN --plugin PLUGIN --manual MANUAL
"""
import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PATHS = None
SMALL = 24 + 24 ** 2 + 2 * 24 ** 3  # from here on all histories are drawn

# Breakage -> what the finding is about.
BROKEN = {
    "close.status": "stspi_close_server: status",
    "props.pool-capacity-32-bit": "stspi_get_lsu_prop_byname: record",
    "create.logs-name": "stspi_create_server: messages",
    "claim.changes-umask": "umask of the process",
    "claim.leaves-file": "what was made",
    "image.server-name-null": "stspi_",
    "props.record-overrun": "stspi_get_lsu_prop_byname",
}


def explore(plugin, *options, breakage=None, once=""):
    environment = dict(os.environ)
    if breakage:
        environment.update(STSPI_BROKEN=breakage, STSPI_BROKEN_REAL=PATHS.plugin, STSPI_BROKEN_ONCE=once)
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        run = subprocess.run([PATHS.suite, "explore", plugin, "--json", report.name, *options],
                             capture_output=True, text=True, errors="replace", env=environment)
        text = pathlib.Path(report.name).read_text()
    return run, json.loads(text) if text else None


class Exploration(unittest.TestCase):
    def test_good_plugin(self):
        for first in (0, SMALL):
            run, report = explore(PATHS.plugin, "--first", str(first), "--histories", "400")
            self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
            self.assertIsNone(report["finding"])
            self.assertEqual(report["histories"], 400)

    def test_broken_plugins_are_found_and_cut_down(self):
        for breakage, what in BROKEN.items():
            with self.subTest(breakage=breakage):
                run, report = explore(PATHS.broken, "--first", str(SMALL), "--histories", "1500", breakage=breakage)
                self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
                self.assertIn(what, report["finding"]["what"])
                self.assertLessEqual(len(report["finding"]["calls"]), 4, report["finding"]["calls"])

    def test_same_seed_same_finding_whatever_the_jobs(self):
        findings = [explore(PATHS.broken, "--first", str(SMALL), "--histories", "1500", "--seed", "5", "--jobs", jobs,
                            breakage="props.unknown-pool-status")[1]["finding"] for jobs in ("1", "3", "1")]
        self.assertEqual(findings[0], findings[1])
        self.assertEqual(findings[0], findings[2])

    def test_crash_and_hang_are_named(self):
        for breakage, kind in (("claim.crashes", "crash"), ("claim.hangs", "hang"), ("claim.exits", "crash")):
            with self.subTest(breakage=breakage):
                _, report = explore(PATHS.broken, "--first", str(SMALL), "--histories", "300", "--timeout", "3", "--jobs",
                                    "2", breakage=breakage)
                self.assertEqual(report["finding"]["kind"], kind)
                self.assertEqual(report["finding"]["what"], "stspi_claim")

    def test_what_was_found_is_kept(self):
        with tempfile.TemporaryDirectory() as directory:
            kept = pathlib.Path(directory) / "kept"
            explore(PATHS.broken, "--first", str(SMALL), "--histories", "1500", "--keep", str(kept),
                    breakage="props.unknown-pool-status")
            self.assertTrue((kept / "finding.stspi").stat().st_size > 0)
            self.assertIn("stspi_get_lsu_prop_byname", (kept / "finding.txt").read_text())
            self.assertRegex((kept / "finding.cpp").read_text(), r"expect_status\(.*STS_E_NO_SERVER\)")
            run, _ = explore(PATHS.plugin, "--keep", str(kept), "--histories", "1")
            self.assertEqual(run.returncode, 2, "a directory with something in it")

    def test_kept_test_expects_what_the_model_does(self):
        for breakage, expectation in (("create.logs-name", r"session0\.expect_log\(\{trace\("),
                                      ("props.pool-capacity-32-bit", r"expected\.capacity_bytes = 0x"),
                                      ("image.server-name-null", r"library_calls\[0\]\.server_name")):
            with self.subTest(breakage=breakage), tempfile.TemporaryDirectory() as directory:
                kept = pathlib.Path(directory) / "kept"
                explore(PATHS.broken, "--first", str(SMALL), "--histories", "1500", "--keep", str(kept), breakage=breakage)
                text = (kept / "finding.cpp").read_text()
                self.assertRegex(text, expectation)
                self.assertRegex(text, r"expect_status\(plugin\(\)\.")

    def test_what_was_found_but_once_is_told_as_it_was_seen(self):
        with tempfile.TemporaryDirectory() as directory:
            once, kept = pathlib.Path(directory) / "once", pathlib.Path(directory) / "kept"
            once.touch()
            run, report = explore(PATHS.broken, "--first", str(SMALL), "--histories", "300", "--jobs", "3", "--keep", str(kept),
                                  breakage="claim.wrong-once", once=str(once))
            self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
            self.assertIn("found once and not again", run.stdout)
            finding = report["finding"]
            self.assertFalse(finding["again"])
            self.assertEqual(finding["what"], "stspi_claim: status")
            self.assertEqual(finding["got"], "4711")
            self.assertIn(4711, finding["returned"])
            self.assertIn("4711", (kept / "finding.txt").read_text())
            self.assertTrue((kept / "finding.stspi").stat().st_size > 0)

    def test_wrong_usage(self):
        for options in (["--steps", "0"], ["--jobs", "x"], ["--unknown"]):
            run, _ = explore(PATHS.plugin, *options)
            self.assertEqual(run.returncode, 2)
            self.assertIn("stspi-conformance: ", run.stderr)
        run, _ = explore("/nothing/there.so")
        self.assertEqual(run.returncode, 2)

    def test_help_and_manual_agree(self):
        help_text = subprocess.run([PATHS.suite, "explore", "--help"], capture_output=True, text=True).stdout
        manual = pathlib.Path(PATHS.manual).read_text().replace("\\-", "-")
        self.assertEqual(set(re.findall(r"--[a-z-]+", help_text)), set(re.findall(r"--[a-z-]+", manual)))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for name in ("suite", "broken", "plugin", "manual"):
        parser.add_argument("--" + name, required=True)
    PATHS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
