#!/usr/bin/env python3
"""Records tests, makes their calls again on good and broken plug-ins, and holds plug-ins against each other.

usage: check_recordings.py --suite SUITE --broken BROKEN --plugin PLUGIN --manual MANUAL
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PATHS = None

# Tests of all areas whose calls can be made again, and what they come to: files that change between calls, answers of the image
# library, several threads, things that the test makes itself.
TESTS = ("claim.file-decides,ioctl.*,registration.init.*,server-open.copan.log,server-open.disk-array.log,server-create.hosts-copied,"
         "lsu-list.pool.*,lsu-props.pool.record,lsu-props.pool.any-handle,lsu-props.path.missing,mount.success,"
         "mount.existing-directories,image.out-arguments-reach-caller,image.copan.*,cycle.disk-array,cycle.copan,copy-extent.short*,"
         "not-supported.*,pass-through.*,threads.lists-of-one-server,server-target.*")

# Breakage -> test whose recorded calls show it, and in what.
BROKEN = {
    "ioctl.accepts-13": ("ioctl.refused", "status"),
    "close.status": ("server-open.copan.log", "status"),
    "list.file-order": ("lsu-list.pool.reverse-order", "results.out_name"),
    "open.disk-array-blank-lost": ("server-open.disk-array.log", "log"),
    "mount.directories-0755": ("mount.success", "what stands in the working directory in the end"),
    "props.pool-capacity-32-bit": ("lsu-props.pool.any-handle", "results.info.capacity_bytes"),
    "image.server-name-null": ("cycle.disk-array", "call 1 of the image library"),
}


def run(*arguments, breakage=None):
    environment = dict(os.environ)
    if breakage:
        environment.update(STSPI_BROKEN=breakage, STSPI_BROKEN_REAL=PATHS.plugin)
    return subprocess.run([PATHS.suite, *arguments], capture_output=True, text=True, errors="replace", env=environment)


class Recordings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="check-recordings-")
        cls.journals = os.path.join(cls.scratch.name, "journals")
        recorded = run(PATHS.plugin, "--filter", TESTS, "--record", cls.journals, "--record-all", "--timeout", "120")
        assert recorded.returncode == 0, recorded.stdout + recorded.stderr

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def expect(self, result, status, *texts):
        everything = result.stdout + result.stderr
        self.assertEqual(result.returncode, status, everything[:4000])
        for text in texts:
            self.assertIn(text, everything)

    def test_same_plugin_does_the_same(self):
        result = run("replay", self.journals, "--plugin", PATHS.plugin)
        self.expect(result, 0, " 0 differ; ")
        self.assertEqual(int(result.stdout.split()[0]), len(os.listdir(self.journals)))
        self.assertGreater(int(re.search(r"(\d+) calls are the same", result.stdout).group(1)), 1000)

    def test_recorded_pace(self):
        self.expect(run("replay", os.path.join(self.journals, "mount.success"), "--plugin", PATHS.plugin, "--pace", "real"), 0)

    def test_broken_plugins_do_otherwise(self):
        for breakage, (test, what) in BROKEN.items():
            with self.subTest(breakage=breakage):
                result = run("replay", os.path.join(self.journals, test), "--plugin", PATHS.broken, breakage=breakage)
                self.expect(result, 1, "  %s\n" % test, what, "recorded", "now ")

    def test_crash_and_hang_are_told(self):
        test = os.path.join(self.journals, "claim.file-decides")
        self.expect(run("replay", test, "--plugin", PATHS.broken, breakage="claim.crashes"), 1, "the plug-in was ended by signal 6")
        self.expect(run("replay", test, "--plugin", PATHS.broken, "--timeout", "1", breakage="claim.hangs"), 1,
                    "a call did not end in time")

    def test_wrong_usage(self):
        self.expect(run("replay", self.journals), 2, "--plugin is required")
        self.expect(run("replay", "/no/such", "--plugin", PATHS.plugin), 2, "no recorded test is there")
        self.expect(run("replay", self.journals, "--plugin", "/no/such.so"), 2, "/no/such.so: there is no such file")
        damaged = pathlib.Path(self.scratch.name, "damaged")
        damaged.mkdir()
        (damaged / "calls.stspi").write_bytes(pathlib.Path(self.journals, "mount.success", "calls.stspi").read_bytes())
        self.expect(run("replay", str(damaged), "--plugin", PATHS.plugin), 2, "surroundings.jsonl: cannot be read")
        (damaged / "surroundings.jsonl").write_text('{"calls": 0, "directory": "2f78"}\n{"calls"\n')
        self.expect(run("replay", str(damaged), "--plugin", PATHS.plugin), 2, "surroundings.jsonl:2: ")

    def test_help_and_manual_agree(self):
        manual = pathlib.Path(PATHS.manual).read_text().replace("\\-", "-")
        options = manual[manual.index(".SH OPTIONS"):manual.index(".SH EXIT STATUS")]
        told = set(re.findall(r"^ +(?:-[a-z],)?(--[a-z-]+)", run("replay", "--help").stdout, re.MULTILINE))
        self.assertEqual(told, set(re.findall(r"--[a-z-]+", options)))

    # ---- one plug-in against another ----

    def test_a_plugin_is_like_itself(self):
        self.expect(run(PATHS.plugin, "--timeout", "120", "--filter", TESTS, "--against", PATHS.plugin), 0, " 0 differ; ")

    def test_differences_stand_below_the_requirement(self):
        result = run(PATHS.plugin, "--timeout", "120", "--filter", TESTS, "--against", PATHS.broken, breakage="ioctl.accepts-13")
        self.expect(result, 1, "stspi_ioctl says STS_E_NOT_SUPPORTED", "(ioctl/refused)\n  ioctl.refused\n    stspi_ioctl (call ",
                    "      status\n        libstspi_kelvarpool.so does  STS_E_NOT_SUPPORTED (2060016)\n"
                    "        libstspi_broken.so does      success (0)\n", " 1 differ; ")

    def test_a_crash_is_a_difference(self):
        self.expect(run(PATHS.plugin, "--filter", "claim.file-decides,ioctl.*", "--against", PATHS.broken, breakage="claim.crashes"), 1,
                    "libstspi_broken.so does: ended by signal 6 (SIGABRT) in stspi_claim(", " 1 differ; ")

    def test_both_broken_alike_do_not_differ(self):
        self.expect(run(PATHS.broken, "--filter", "ioctl.*,claim.*", "--against", PATHS.broken, breakage="ioctl.accepts-13"), 0)
        self.expect(run(PATHS.broken, "--filter", "claim.file-decides", "--against", PATHS.broken, breakage="claim.crashes"), 0)

    def test_exploration_against(self):
        first = ["--first", str(24 + 24 ** 2 + 2 * 24 ** 3), "--histories", "600"]
        with tempfile.TemporaryDirectory() as directory:
            copy = os.path.join(directory, "copy.so")
            pathlib.Path(copy).write_bytes(pathlib.Path(PATHS.plugin).read_bytes())
            self.expect(run("explore", PATHS.plugin, "--against", copy, *first), 0)
            self.expect(run("explore", PATHS.plugin, "--against", PATHS.plugin), 2, "is the same file")
            for breakage, what in (("ioctl.accepts-13", "stspi_ioctl: status"), ("create.logs-name", "stspi_create_server: messages"),
                                   ("mount.directories-0755", "what was made"), ("claim.crashes", "stspi_claim")):
                with self.subTest(breakage=breakage):
                    kept = os.path.join(directory, breakage)
                    # The copy, since the broken one wraps the plug-in itself: the two would share what it remembers.
                    self.expect(run("explore", copy, "--against", PATHS.broken, "--keep", kept, *first, breakage=breakage), 1,
                                what, "copy.so does             ", "libstspi_broken.so does  ")
                    self.assertNotIn("finding.cpp", os.listdir(kept))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for name in ("suite", "broken", "plugin", "manual"):
        parser.add_argument("--" + name, required=True)
    PATHS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
