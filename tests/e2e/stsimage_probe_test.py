#!/usr/bin/env python3
"""stsimage-probe on directories of this machine. Usage: stsimage_probe_test.py PROBE SOURCE"""
import os
import pathlib
import re
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

PROBE = sys.argv.pop(1)
MANUAL = pathlib.Path(sys.argv.pop(1)) / "man" / "stsimage-probe.1"


def probe(*arguments, **how):
    return subprocess.run([PROBE, *arguments], capture_output=True, text=True, timeout=60, check=False, **how)


def let_no_file_grow():
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))


class Probe(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.directory = place.name

    def test_one_directory_is_tried_and_left_as_it_was(self):
        done = probe(self.directory)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"yes +a lock on a file excludes others\n")
        self.assertNotIn("Between two hosts", done.stdout)
        self.assertEqual(os.listdir(self.directory), [])

    def test_the_manual_shows_what_it_says(self):
        shown = re.search(r"(?s)\.EX\n\$ stsimage\\-probe /srv/images\n(.*?)\.EE\n", MANUAL.read_text()).group(1)

        def checks(text):
            return [line.split(None, 1)[1] for line in text.splitlines() if line.startswith("  ")]
        self.assertEqual(checks(shown), checks(probe(self.directory).stdout))

    def test_the_same_directory_twice_keeps_everything(self):
        done = probe(self.directory, self.directory)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        between = done.stdout.split("Between two hosts\n")[1].splitlines()
        self.assertEqual([line.split()[0] for line in between[:-1]], ["yes"] * 9)
        self.assertEqual(os.listdir(self.directory), [])

    def test_what_is_needed_and_cannot_be_done_is_told(self):
        done = probe(self.directory, preexec_fn=let_no_file_grow)
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"\? +a renamed file replaces another: .*File too large  <- needed\n")
        self.assertIn("cannot keep its promises", done.stdout)
        self.assertEqual(os.listdir(self.directory), [])

    def test_another_directory_is_refused(self):
        with tempfile.TemporaryDirectory() as other:
            done = probe(self.directory, other)
        self.assertEqual(done.returncode, 2)
        self.assertIn("is not the same directory", done.stderr)
        self.assertEqual(os.listdir(self.directory), [])

    def test_what_is_no_directory_is_refused(self):
        done = probe(self.directory + "/none")
        self.assertEqual(done.returncode, 2)
        self.assertIn("No such file or directory", done.stderr)

    def test_usage(self):
        self.assertEqual(probe("--help").returncode, 0)
        self.assertIn("Usage:", probe("--help").stdout)
        for wrong in ([], ["-x"], ["a", "b", "c"]):
            done = probe(*wrong)
            self.assertEqual(done.returncode, 2)
            self.assertIn("Usage:", done.stderr)


if __name__ == "__main__":
    unittest.main()
