#!/usr/bin/env python3
"""Goes the way of a plug-in's author, from a first draft with five mistakes to a badge, as docs/conformance.md leads it.

usage: check_first_plugin.py --suite SUITE --draft DRAFT --mended MENDED
"""
import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

PATHS = None

# Test -> what its finding must say, so that the author is led to the mistake.
MISTAKES = {
    "tables.second.slots": ("slot 16", "stspi_mount_lsu", "stspi_open_dynamic_lsu_list"),
    "registration.init2.too-old": ("stspi_init2 says STS_E_VERSION below version 9", "called    stspi_init2(7, "),
    "registration.terminate.always-not-supported": ("stspi_terminate shuts the image library down and says STS_E_NOT_SUPPORTED",
                                                    "expected  STS_E_NOT_SUPPORTED (2060016)\n    got       0"),
    "claim.file-is-only-opened": ("nor kept open", 'called    stspi_claim("lab:x")\n    checked   descriptors', "/lab.sim"),
    "ioctl.refused": ("stspi_ioctl says STS_E_NOT_SUPPORTED to every other command", "called    stspi_ioctl(null, 8)"),
}


def run(*arguments):
    return subprocess.run([PATHS.suite, *arguments], capture_output=True, text=True, errors="replace", timeout=300)


def failing(result):
    return set(re.findall(r"^(?:fail|crash|timeout)\s+(\S+)", result.stdout, re.MULTILINE))


def finding(result, test):
    found = re.search(r"^(?:fail|crash|timeout)\s+%s .*?^    alone " % re.escape(test), result.stdout, re.MULTILINE | re.DOTALL)
    return found.group(0) if found else ""


class FirstPlugin(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory(prefix="check-first-plugin-")
        self.addCleanup(self.scratch.cleanup)

    def path(self, name):
        return os.path.join(self.scratch.name, name)

    def test_it_loads_and_is_told_what_registration_lacks(self):
        result = run(PATHS.draft, "--filter", "exports.*,tables.*,registration.*")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertLessEqual({one for one in MISTAKES if one.startswith(("tables", "registration"))}, failing(result))

    def test_the_lowest_level_names_its_mistakes_and_no_more(self):
        result = run(PATHS.draft, "--level", "1")
        self.assertEqual(failing(result), {"tables.second.slots", "registration.init2.too-old",
                                           "registration.terminate.always-not-supported"})
        self.assertIn("Passed whole: level 0 of 5.", result.stdout)
        mended = run(PATHS.mended, "--level", "1")
        self.assertEqual(mended.returncode, 0, mended.stdout)
        self.assertIn("Passed whole: level 1 of 5.", mended.stdout)

    def test_each_finding_leads_to_its_mistake(self):
        result = run(PATHS.draft, "--filter", ",".join(MISTAKES))
        self.assertEqual(failing(result), set(MISTAKES))
        for test, texts in MISTAKES.items():
            for text in texts:
                self.assertIn(text, finding(result, test))

    def test_what_is_not_there_yet_goes_into_a_profile_and_a_badge_tells_the_level(self):
        profile = self.path("plugin.profile")
        self.assertEqual(run(PATHS.mended, "--write-profile", profile).returncode, 1)
        reports = ["--junit", self.path("junit.xml"), "--report", self.path("report.html"), "--badge", self.path("badge.json")]
        mended = run(PATHS.mended, "--profile", profile, *reports)
        self.assertEqual(mended.returncode, 0, mended.stdout[-2000:])
        self.assertIn("Passed whole: level 1 of 5.", mended.stdout)
        with open(self.path("badge.json"), encoding="utf-8") as badge:
            self.assertEqual(json.load(badge)["message"], "level 1 of 5")
        # A mistake that comes back fails the job.
        draft = run(PATHS.draft, "--profile", profile)
        self.assertEqual(draft.returncode, 1)
        self.assertLessEqual(set(MISTAKES), failing(draft))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for name in ("suite", "draft", "mended"):
        parser.add_argument("--" + name, required=True)
    PATHS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
