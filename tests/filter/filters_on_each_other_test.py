"""Filters on each other: what simhost tells of the sections of one settings file.

usage: filters_on_each_other_test.py SIMHOST FILTER PLUGIN SOURCE
"""

import ctypes
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SIMHOST, FILTER, PLUGIN, SOURCE = (sys.argv.pop(1) for _ in range(4))
# Another build, to see whether a test fails there.
PLUGIN = os.environ.get("STSPI_UNDER_TEST", PLUGIN)
sys.path.insert(0, str(pathlib.Path(SOURCE) / "tests" / "e2e"))

from json_schema import document_of  # noqa: E402  (its place is known now)


class FiltersOnEachOther(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.path = pathlib.Path(directory.name)
        self.second = self.path / "second_filter.so"
        # The loader takes one file for one library, wherever it is opened from.
        shutil.copy(FILTER, self.second)
        text = (pathlib.Path(SOURCE) / "examples" / "Kelvarpool.sim").read_text()
        (self.path / "Kelvarpool.sim").write_text(text.replace("/tmp/", f"{self.path}/storage/"))

    def rules(self, outer, inner, name="rules"):
        path = self.path / name
        path.write_text(f"plugin {self.second}\nseed 1\n{outer}\nplugin {PLUGIN}\nseed 2\n{inner}\n")
        return path

    def simhost(self, *words):
        environment = {name: value for name, value in os.environ.items() if not name.startswith("STSPI_FILTER")}
        return subprocess.run([SIMHOST, *map(str, words)], capture_output=True, timeout=120, check=False,
                              env=environment)

    def pools(self, rules, *words):
        return self.simhost("pools", "--config-dir", self.path, "--server", "Kelvarpool:mediaA", "--image-root",
                            self.path / "images", "--faults", rules, *words)

    def test_a_rule_of_the_second_section_that_never_fired_is_told(self):
        rules = self.rules("on close_server delay 1ms", "on close_server call 7 kill")
        run = self.pools(rules, "--expect-all")
        self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
        self.assertIn(b"a rule never fired", run.stderr)
        self.assertIn(b"<- NEVER FIRED: call 7 was not reached", run.stdout)
        for words in ([], ["--json"]):
            status = self.simhost("faults", "status", rules, "--expect-all", *words)
            self.assertEqual(status.returncode, 1, status.stdout + status.stderr)
            self.assertIn(b"call 7 was not reached", status.stdout)
        result = document_of(status.stdout)["result"]
        self.assertEqual((result["ledger"], result["faults"]["seed"]), (f"{rules}.ledger", 1))
        further, = result["faults"]["further_sections"]
        self.assertEqual((further["ledger"], further["seed"], further["processes"]), (f"{rules}.ledger.2", 2, []))
        self.assertEqual([rule["rule"] for rule in further["rules"]], ["on close_server call 7 kill"])

    def test_counts_of_every_section_begin_anew_with_a_command(self):
        for ledger in ("", f"ledger {self.path}/own"):
            with self.subTest(ledger=ledger):
                rules = self.rules("on list_lsu delay 1ms", f"{ledger}\non list_lsu delay 1ms")
                counts = []
                for _ in range(2):
                    faults = document_of(self.pools(rules, "--json").stdout)["result"]["faults"]
                    counts.append([faults["rules"][0]["matched"], faults["further_sections"][0]["rules"][0]["matched"]])
                self.assertEqual(counts[0], counts[1])
                self.assertGreater(counts[0][1], 0)

    def test_a_section_that_no_filter_has_taken_is_told(self):
        rules = self.rules("on list_lsu delay 1ms", "on list_lsu delay 1ms")
        run = self.pools(rules, "--expect-all", "--json", "--plugin", PLUGIN)
        self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
        further, = document_of(run.stdout)["result"]["faults"]["further_sections"]
        self.assertNotIn("seed", further)
        self.assertEqual(further["rules"][0]["why_never"], "no filter has taken it")

    def test_apply_waits_for_every_section(self):
        # The outer filter answers: the inner one never sees a call, and cannot take the rules.
        settings = self.rules("on unmount_lsu answer 5", "on unmount_lsu answer 6", "filter.conf")
        os.environ["STSPI_FILTER"] = str(settings)
        self.addCleanup(os.environ.pop, "STSPI_FILTER")
        library = ctypes.CDLL(FILTER)
        self.assertEqual(library.stspi_unmount_lsu(), 5)
        self.assertTrue((self.path / "filter.conf.ledger.2").exists())
        new = self.rules("on unmount_lsu answer 7", "on unmount_lsu answer 6", "new")
        apply = subprocess.Popen([SIMHOST, "faults", "apply", new, "--settings", settings, "--timeout", "2", "--json"],
                                 stdout=subprocess.PIPE)
        while apply.poll() is None:
            library.stspi_unmount_lsu()
            time.sleep(0.01)
        self.assertEqual(library.stspi_unmount_lsu(), 7)
        result = json.loads(apply.stdout.read())["result"]
        apply.stdout.close()
        self.assertEqual((result["taken"], result["waiting"]), (0, [os.getpid()]))


unittest.main()
