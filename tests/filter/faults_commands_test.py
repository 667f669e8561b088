"""simhost faults: what it says of rules that are wrong, and rules for processes that run.

usage: faults_commands_test.py SIMHOST FILTER PLUGIN
"""

import ctypes
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import unittest

SIMHOST, FILTER, PLUGIN = (sys.argv.pop(1) for _ in range(3))
# Another build, to see whether a test fails there.
PLUGIN = os.environ.get("STSPI_UNDER_TEST", PLUGIN)


def simhost(*words):
    return subprocess.run([SIMHOST, "faults", *words], capture_output=True, text=True, timeout=120, check=False)


class Faults(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.path = pathlib.Path(directory.name)

    def rules(self, text, name="rules"):
        path = self.path / name
        path.write_text(text)
        return path

    def test_check_tells_place_and_what_was_meant(self):
        path = self.rules("on write_imag call 3 answer 5\non read_image hold\n")
        run = simhost("check", path)
        self.assertEqual(run.returncode, 1)
        self.assertEqual(
            run.stdout,
            f'{path}:1:4: error: "write_imag" is no entry point\n'
            "    1 | on write_imag call 3 answer 5\n"
            "      |    ^~~~~~~~~~\n"
            "      = did you mean write_image?\n"
            f"{path}: 1 rule: 1 error\n",
        )

    def test_check_warns_of_hidden_rules(self):
        path = self.rules("on *_image answer 5\non read_image call 7 delay 1s\n")
        run = simhost("check", "--strict", path)
        self.assertEqual(run.returncode, 3)
        self.assertIn(f"{path}:2:1: warning: the rule of line 1 always hides this one\n", run.stdout)

    def test_rules_behind_the_end_of_a_call_are_hidden(self):
        later = "on write_image lsu pool1 answer 6\n"
        for rule in ("on write_image kill", "on write_image hold for ever", "on write_image 100% answer 5", 'on write_image lsu "*" answer 5'):
            with self.subTest(rule=rule):
                self.assertIn("the rule of line 1 always hides this one", simhost("check", self.rules(rule + "\n" + later)).stdout)
        for rule in ("on write_image kill 15", "on write_image hold until /x", "on write_image 99% answer 5", 'on write_image lsu "p*" answer 5',
                     "on write_image after kill"):
            with self.subTest(rule=rule):
                self.assertNotIn("hides this one", simhost("check", self.rules(rule + "\n" + later)).stdout)

    def test_shares_of_bytes_are_whole_percents(self):
        for share in ("29", "57", "100"):
            self.assertIn(f"at most {share}% of the bytes", simhost("explain", self.rules(f"on write_image short {share}%\n")).stdout)
        for share in ("0.5", "12.5", "150", "x", ""):
            run = simhost("check", self.rules(f"on write_image short {share}%\n"))
            self.assertEqual(run.returncode, 1)
            self.assertIn("is no share of the bytes", run.stdout)
            self.assertIn("write whole percents, 0% to 100%", run.stdout)

    def test_sentence_names_both_ways_of_data(self):
        told = {"read_image": "in the data that was read", "write_image": "in the data on its way to the plug-in",
                "read_image,write_image": "in the data that was read, or is on its way to the plug-in"}
        for function, words in told.items():
            self.assertIn(words, simhost("explain", self.rules(f"on {function} flip bit 1 at 0\n")).stdout)

    def test_rules_that_only_overlap_are_not_hidden(self):
        path = self.rules("on read_image call 7 answer 5\non read_image answer 6\non read_image image a* answer 7\n")
        self.assertIn("the rule of line 2 always hides this one", simhost("check", path).stdout)
        self.assertNotIn(":2:1:", simhost("check", path).stdout)

    def test_explain_tells_sentences(self):
        run = simhost("explain", self.rules("on write_image call 3 answer STSIMG_E_NO_SPACE\n"))
        self.assertIn("The third call of stspi_write_image is not made and answered with STSIMG_E_NO_SPACE", run.stdout)

    def test_sentences_tell_bounds_as_people_do(self):
        for words, told in (
            ("bytes > 10G", "once such calls, this one included, have moved more than 10G"),
            ("bytes >= 4096", "once such calls, this one included, have moved 4K or more"),
            ("bytes < 1M", "as long as such calls, this one included, have moved less than 1M"),
            ("bytes 1K..2K", "have moved 1K or more, and as long as that is 2K or less"),
            ("offset > 1000", "with an offset of 1001 or more"),
            ("length < 64K", "with a length of less than 64K"),
            ("length <= 7", "with a length of 7 or less"),
        ):
            with self.subTest(words=words):
                self.assertIn(told, simhost("explain", self.rules(f"on write_image {words} answer 5\n")).stdout)

    def test_a_drawn_seed_is_told_once_by_all_processes(self):
        for rules, told in (("on get_lsu_prop_byname 0% delay 1ms\n", 1), ("on read_image flip bit 1 at random\n", 1),
                            ("seed 7\non get_lsu_prop_byname 0% delay 1ms\n", 0), ("on read_image delay 1ms\n", 0)):
            with self.subTest(rules=rules):
                path = self.rules(f"plugin {PLUGIN}\n{rules}")
                path.with_name("rules.ledger").unlink(missing_ok=True)
                environment = dict(os.environ, STSPI_FILTER=str(path))
                errors = "".join(subprocess.run([SIMHOST, "probe", FILTER], env=environment, capture_output=True, text=True, timeout=120,
                                                check=False).stderr for _ in range(2))
                seeds = re.findall(r"(?m)^stspi_filter: .*: seed (\d+) is drawn", errors)
                self.assertEqual(len(seeds), told, errors)
                seed = seeds[0] if told else "7" if "seed" in rules else r"\d+"
                self.assertRegex(simhost("status", path).stdout, rf"faults +seed {seed},")

    def test_init_writes_a_file_that_is_right(self):
        path = self.path / "new"
        self.assertEqual(simhost("init", path).returncode, 0)
        self.assertEqual(simhost("check", path).returncode, 0)
        self.assertNotEqual(simhost("init", path).returncode, 0)

    def test_apply_waits_until_a_process_has_taken_the_rules(self):
        settings = self.rules(f"plugin {PLUGIN}\non unmount_lsu answer 5\n", "filter.conf")
        os.environ["STSPI_FILTER"] = str(settings)
        library = ctypes.CDLL(FILTER)
        self.assertEqual(library.stspi_unmount_lsu(), 5)
        new = self.rules(f"plugin {PLUGIN}\non unmount_lsu answer 6\n", "new")
        waited = simhost("apply", new, "--settings", settings, "--timeout", "1")
        self.assertEqual(waited.returncode, 1)
        self.assertIn("has made no call since", waited.stderr)
        stop = threading.Event()
        caller = threading.Thread(target=lambda: [library.stspi_unmount_lsu() for _ in iter(stop.is_set, True)])
        caller.start()
        try:
            taken = simhost("apply", new, "--settings", settings)
        finally:
            stop.set()
            caller.join()
        self.assertEqual(taken.returncode, 0, taken.stdout + taken.stderr)
        self.assertIn("1 taken, 0 refused, 0 waiting", taken.stdout)
        self.assertEqual(library.stspi_unmount_lsu(), 6)
        status = simhost("status", settings, "--expect-all")
        self.assertEqual(status.returncode, 0, status.stdout)
        self.assertIn("has these rules", status.stdout)


unittest.main()
