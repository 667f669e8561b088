"""simhost replay and minimize: recorded calls made again, against the same plug-in and against broken ones."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SIMHOST, PLUGIN, BROKEN, SOURCE = sys.argv[1], sys.argv[2], sys.argv[3], pathlib.Path(sys.argv[4])
# Another build, to see whether a test fails there.
PLUGIN = os.environ.get("STSPI_UNDER_TEST", PLUGIN)


class ReplayTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.config = self.directory / "etc"
        self.config.mkdir()
        (self.config / "Kelvarpool.sim").write_text(
            f"ENCLOSURE = pool1;\n\tDISKS = d1,d2;\n\tHOSTS = hostA;\n\tDISK_SIZE = 1G;\n"
            f"\tSTORAGE_DIR = {self.directory}/s;\n")
        (self.config / "copan.sim").write_text(
            f"STORAGE_SERVER = arr1;\n\tVOLUMES = vol1;\n\tSTORAGE_DIR = {self.directory}/c;\n")
        self.images = 0
        self.masks = self.directory / "masks"
        self.masks.write_text("drop on stspi_get_lsu_prop_byname results.info.used_bytes # others write there, too\n"
                              "drop on stspi_get_image_prop* results.out_info.creation_time # another second\n")

    def simhost(self, *arguments, breakage=None):
        environment = dict(os.environ)
        if breakage:
            environment.update(STSPI_BROKEN=breakage, STSPI_BROKEN_REAL=PLUGIN)
        self.images += 1
        return subprocess.run(
            [SIMHOST, *map(str, arguments), "--config-dir", self.config, "--image-root", self.directory / f"i{self.images}"],
            capture_output=True, text=True, errors="replace", env=environment)

    def recorded(self, server):
        journal = self.directory / "calls.stspi"
        done = self.simhost("run", "--plugin", PLUGIN, "--server", server, "--record", journal, SOURCE / "README.md")
        self.assertEqual(done.returncode, 0, done.stderr)
        return journal

    def replay(self, journal, *options, plugin=PLUGIN, breakage=None):
        return self.simhost("replay", journal, "--plugin", plugin, "--masks", self.masks, *options, breakage=breakage)

    def test_the_same_plugin_does_the_same(self):
        for server in ("Kelvarpool:hostA", "copan:arr1"):
            with self.subTest(server=server):
                done = self.replay(self.recorded(server))
                self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
                self.assertRegex(done.stdout, r"All \d+ calls are the same")

    def test_a_broken_plugin_differs_where_it_should(self):
        journal = self.recorded("Kelvarpool:hostA")
        for breakage, entry_point in (("close.status", "stspi_close_server"),
                                      ("terminate.returns-0", "stspi_terminate")):
            with self.subTest(breakage=breakage):
                done = self.replay(journal, "--json", plugin=BROKEN, breakage=breakage)
                self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
                self.assertEqual(json.loads(done.stdout)["result"]["first"]["entry_point"], entry_point)

    def test_a_mask_hides_a_difference(self):
        journal = self.recorded("Kelvarpool:hostA")
        with self.masks.open("a") as masks:
            masks.write("drop on stspi_terminate status # known\n")
        done = self.replay(journal, plugin=BROKEN, breakage="terminate.returns-0")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_a_crash_is_told(self):
        journal = self.recorded("Kelvarpool:hostA")
        done = self.replay(journal, plugin=BROKEN, breakage="claim.crashes")
        self.assertEqual(done.returncode, 1)
        self.assertIn("signal 6", done.stdout + done.stderr)

    def test_faults_of_a_replay_are_told(self):
        journal, rules, again = self.recorded("Kelvarpool:hostA"), self.directory / "rules", self.directory / "again"
        rules.write_text("on close_server after answer STS_E_SYSTEM\non copy_extent answer STS_E_SYSTEM\n")
        for options, why in (((), "1 call differs"), (("--expect-all",), "never fired")):
            with self.subTest(options=options):
                done = self.replay(journal, "--faults", rules, "--record", again, *options, "--json")
                self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
                document = json.loads(done.stdout)
                self.assertEqual([rule["fired"] for rule in document["result"]["faults"]["rules"]], [1, 0])
                self.assertEqual(document["result"]["first"]["entry_point"], "stspi_close_server")
                self.assertIn(why, json.dumps(document))
                shown = subprocess.run([SIMHOST, "journal", "show", again], capture_output=True, text=True).stdout
                self.assertIn("stspi_close_server", shown)
        rules.write_text("on close_server nonsense\n")
        done = self.replay(journal, "--faults", rules)
        self.assertEqual(done.returncode, 2)
        self.assertIn("nonsense", done.stderr)

    def test_pace_real_does_the_same(self):
        done = self.replay(self.recorded("Kelvarpool:hostA"), "--pace", "real")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_minimize_leaves_the_crash_and_what_opens_handles(self):
        journal = self.recorded("Kelvarpool:hostA")
        smallest = self.directory / "smallest.stspi"
        done = self.simhost("minimize", journal, "--plugin", BROKEN, "--while", "crash", "-o", smallest, "--json",
                            breakage="claim.crashes")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertEqual(json.loads(done.stdout)["result"]["left"], 1)
        self.assertNotEqual(self.replay(smallest, plugin=BROKEN, breakage="claim.crashes").returncode, 0)
        done = self.simhost("minimize", journal, "--plugin", PLUGIN, "--while", "status=STS_E_NO_MORE_ENTRIES", "-o",
                            smallest)
        self.assertEqual(done.returncode, 0, done.stderr)
        shown = subprocess.run([SIMHOST, "journal", "show", smallest], capture_output=True, text=True).stdout
        called = [json.loads(line)["entry_point"] for line in shown.splitlines() if json.loads(line)["event"] == "enter"]
        self.assertIn("stspi_create_server", called)
        self.assertEqual(called[-1], "stspi_list_lsu")
        self.assertLessEqual(len(called), 6)

    def test_minimize_finds_the_one_call_of_a_thousand(self):
        disks = "".join(f"\tDISKS = d{number};\n" for number in range(500))
        (self.config / "Kelvarpool.sim").write_text(
            f"ENCLOSURE = pool1;\n{disks}\tHOSTS = hostA;\n\tSTORAGE_DIR = {self.directory}/s;\n")
        journal, rules = self.directory / "calls.stspi", self.directory / "rules"
        done = self.simhost("volumes", "--plugin", PLUGIN, "--server", "Kelvarpool:hostA", "--record", journal)
        self.assertEqual(done.returncode, 0, done.stderr)
        rules.write_text("on get_lsu_prop_byname lsu *d277* kill SIGSEGV\n")
        smallest = self.directory / "smallest.stspi"
        done = self.simhost("minimize", journal, "--plugin", PLUGIN, "--faults", rules, "--while", "crash",
                            "-o", smallest, "--json")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        result = json.loads(done.stdout)["result"]
        self.assertGreater(result["calls"], 1000)
        self.assertEqual(result["left"], 2, "what opens the server, and the call that crashes")
        self.assertEqual(result["faults"]["rules"][0]["fired"], 1, "counted anew in each replay")

    def test_minimize_refuses_what_does_not_happen(self):
        journal = self.recorded("Kelvarpool:hostA")
        done = self.simhost("minimize", journal, "--plugin", PLUGIN, "--while", "crash", "-o", self.directory / "x")
        self.assertEqual(done.returncode, 1)
        for condition in ("nonsense", "status=NONE"):
            done = self.simhost("minimize", journal, "--plugin", PLUGIN, "--while", condition, "-o", self.directory / "x")
            self.assertEqual(done.returncode, 2)

    def test_the_journal_itself_is_not_written_over(self):
        journal = self.recorded("Kelvarpool:hostA")
        before = journal.read_bytes()
        for command in (("replay", journal, "--output"), ("replay", journal, "--record"),
                        ("minimize", journal, "--while", "crash", "--output")):
            with self.subTest(command=command):
                done = self.simhost(*command, journal, "--plugin", PLUGIN)
                self.assertEqual(done.returncode, 2, done.stdout + done.stderr)
                self.assertIn("this is the journal whose calls are made", done.stderr)
                self.assertEqual(journal.read_bytes(), before)

    def test_what_is_no_journal_is_refused(self):
        done = self.replay(SOURCE / "README.md")
        self.assertEqual(done.returncode, 2)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
