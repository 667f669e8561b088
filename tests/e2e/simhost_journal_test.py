"""simhost journal: what show, stats, export and diff tell of journals that a writer has left."""

import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

from json_schema import document_of

SIMHOST, SAMPLE, SOURCE = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
BROWSER = shutil.which("chromium")
SCHEMA = json.loads((SOURCE / "docs" / "journal.schema.json").read_text())


def simhost(*arguments, **how):
    return subprocess.run([SIMHOST, "journal", *map(str, arguments)], capture_output=True, check=False, **how)


class JournalTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def sample(self, name, *variants, **environment):
        path = self.directory / name
        subprocess.run([SAMPLE, path, *variants], check=True, env=dict(os.environ, **environment))
        return path

    def lines(self, path):
        done = simhost("show", path)
        self.assertEqual(done.returncode, 0, done.stderr)
        return [json.loads(line) for line in done.stdout.decode().splitlines()]

    def masks(self, text):
        path = self.directory / "masks"
        path.write_text(text)
        return path


class Show(JournalTest):
    def test_every_line_keeps_to_the_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        validator = jsonschema.Draft202012Validator(SCHEMA)
        events = set()
        for variants in ([], ["other"], ["bytes"], ["running"], ["threads"]):
            for line in self.lines(self.sample("j", *variants)):
                validator.validate(line)
                events.add(line["event"])
        self.assertEqual(events, set(SCHEMA["properties"]["event"]["enum"]))

    def test_the_schema_refuses_what_it_does_not_describe(self):
        validator = jsonschema.Draft202012Validator(SCHEMA)
        for line in self.lines(self.sample("j")):
            with self.assertRaises(jsonschema.ValidationError, msg=line["event"]):
                validator.validate({**line, "unheard": 1})
            for key in set(line) - {"writer", "plugin", "plugin_xxh128", "interface_version"}:
                if key == "call" and line["event"] not in ("enter", "leave"):
                    continue  # what happens outside of a call has none
                with self.subTest(event=line["event"], missing=key):
                    self.assertFalse(validator.is_valid({other: line[other] for other in line if other != key}))

    def test_header_names_writer_plugin_rules_and_seed(self):
        header = self.lines(self.sample("j"))[0]
        self.assertEqual(header["event"], "journal")
        self.assertEqual((header["writer"], header["rules"], header["seed"]), ("journal_sample 1", "seed 42\n", 42))
        self.assertEqual(header["plugin"], SAMPLE)
        self.assertRegex(header["plugin_xxh128"], "^[0-9a-f]{32}$")
        self.assertIn("journal_sample", header["volatile"]["program"])

    def test_two_runs_differ_below_volatile_only(self):
        def steady(path):
            lines = self.lines(path)
            for line in lines:
                line.pop("volatile", None)
            return lines

        one, two = self.sample("a"), self.sample("b")
        self.assertEqual(steady(one), steady(two))
        self.assertNotEqual(self.lines(one), self.lines(two))

    def test_calls_are_told_with_their_arguments_and_results(self):
        lines = self.lines(self.sample("j"))
        entered = {line["entry_point"]: line for line in lines if line["event"] == "enter"}
        left = [line for line in lines if line["event"] == "leave"]
        create = entered["stspi_create_server"]["arguments"]
        self.assertEqual(create["server_name"], "Kelvarpool:mediaA")
        self.assertEqual(create["session"], {"log_context": None, "log_function": None, "log_mask": 9})
        self.assertEqual(create["hosts"], [{"name": "mediaA"}, {"name": "mediaB"}])
        self.assertEqual(create["host_count"], 2)
        self.assertIsNone(create["ignored_1"])
        self.assertEqual(create["out_handle"], "pointer")
        self.assertEqual(entered["stspi_ioctl"]["arguments"], {"handle": "pointer", "command": -1})
        self.assertEqual(entered["stspi_async_flush"]["arguments"], {})
        self.assertEqual(entered["stspi_create_image"]["arguments"]["lsu"], {"server": "server#1", "lsu_name": "pool1"})
        self.assertEqual(entered["stspi_create_image"]["arguments"]["definition"], {"name": "nightly"})
        write = entered["stspi_write_image"]["arguments"]
        self.assertEqual((write["image"], write["buffer"]["size"], write["offset"]), ("image#1", 1000, 2000))
        self.assertRegex(write["buffer"]["xxh128"], "^[0-9a-f]{32}$")
        self.assertEqual(entered["stspi_close_server"]["arguments"], {"handle": "server#?1"})
        results = {line["entry_point"]: line for line in left}
        self.assertEqual(results["stspi_create_server"]["results"], {"out_handle": "server#1"})
        self.assertEqual(results["stspi_get_lsu_prop_byname"]["results"]["info"]["capacity_bytes"], 2 ** 63)
        self.assertEqual(results["stspi_get_lsu_prop_byname"]["results"]["info"]["used_bytes"], 2000000)
        self.assertEqual(results["stspi_init"]["results"]["registration"]["prefix"], "Kelvarpool:")
        claims = [line["arguments"]["server_name"] for line in lines
                  if line["event"] == "enter" and line["entry_point"] == "stspi_claim"]
        self.assertEqual(claims[0], {"hex": b'odd \xff <b>name</b> & "quotes"'.hex()})
        self.assertEqual(claims[1]["cut"], "l" * 16384)
        self.assertEqual(claims[1]["size"], 20000)
        self.assertEqual([line["status_name"] for line in left if line["entry_point"] == "stspi_claim"],
                         ["STS_E_NOT_CLAIMED"] * 2)

    def test_messages_and_output_stand_inside_their_call(self):
        lines = self.lines(self.sample("j"))
        at = next(i for i, line in enumerate(lines)
                  if line["event"] == "enter" and line["entry_point"] == "stspi_create_server")
        self.assertEqual([line["event"] for line in lines[at:at + 5]], ["enter", "log", "output", "log", "leave"])
        self.assertEqual({line["call"] for line in lines[at:at + 5]}, {lines[at]["call"]})
        self.assertEqual(lines[at + 1]["message"], "++++ Entering stspi_create_server\n")
        self.assertEqual(lines[at + 2]["text"], "Invalid line: x\n")

    def test_the_call_that_was_running_is_told(self):
        lines = self.lines(self.sample("j", "running"))
        self.assertEqual([call["entry_point"] for call in lines[-1]["running"]], ["stspi_claim"])
        self.assertEqual(lines[-1]["records"], len(lines) - 2)
        text = simhost("show", "--format", "text", self.directory / "j").stdout.decode()
        self.assertIn('stspi_claim(server_name "Kelvarpool:hangs") was running', text)

    def test_side_files_hold_the_data(self):
        path = self.sample("j", "bytes")
        lines = self.lines(path)
        buffers = [line["arguments"]["buffer"] for line in lines
                   if line["event"] == "enter" and line["entry_point"] == "stspi_write_image"]
        for buffer in buffers:
            self.assertTrue(buffer["saved"])
            data = self.directory / "j.data" / buffer["xxh128"]
            self.assertEqual(data.read_bytes(), b"d" * 1000)
        self.assertEqual(lines[0]["volatile"]["data_directory"], str(path) + ".data")

    def test_text_has_a_line_for_each_call(self):
        text = simhost("show", "--format", "text", self.sample("j", "other")).stdout.decode()
        self.assertRegex(text, r'stspi_write_image\(image image#1, buffer 1000 bytes xxh128 [0-9a-f]{32}, length 1000, '
                               r'offset 1000\) = STSIMG_E_NO_SPACE \(2061107\)')
        self.assertRegex(text, r"fault of line 7: answer STSIMG_E_NO_SPACE")
        self.assertIn("-> out_handle server#1", text)
        self.assertNotIn("\xff", text)
        self.assertIn("stspi_claim(server_name hex 6f6464", text)
        self.assertIn('llll"... of 20000 bytes xxh128', text)

    def test_damage_is_told_and_does_not_hide_the_rest(self):
        path = self.sample("j")
        whole = self.lines(path)
        content = bytearray(path.read_bytes())
        at = content.index(b"mediaB")
        content[at] ^= 1
        path.write_bytes(content)
        done = simhost("show", path)
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"1 record was not finished", done.stderr)
        lines = [json.loads(line) for line in done.stdout.decode().splitlines()]
        self.assertEqual(len(lines), len(whole) - 1)
        self.assertEqual(lines[-1]["torn"], 1)

    def test_other_files_are_refused(self):
        for path, why in ((self.directory / "none", "No such file"), (self.directory, "not a regular file"),
                          (SIMHOST, "not a journal")):
            for command in (["show"], ["stats"], ["export", "--format", "html"]):
                done = simhost(*command, path)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertIn(why, done.stderr.decode())


class Stats(JournalTest):
    def test_calls_statuses_and_latencies(self):
        done = simhost("stats", "--json", self.sample("j", "other"))
        result = document_of(done.stdout)["result"]
        write = result["entry_points"]["stspi_write_image"]
        self.assertEqual(write["calls"], 3)
        self.assertEqual(write["statuses"], {"0": 2, "2061107": 1})
        self.assertEqual(write["faults"], 1)
        latency = write["latency_ns"]
        self.assertEqual(list(latency), ["p50", "p90", "p99", "p99.9", "max"])
        self.assertEqual(list(latency.values()), sorted(latency.values()))
        self.assertGreater(latency["p50"], 0)
        self.assertEqual((result["processes"], result["threads"]), (1, 1))

    def test_latencies_are_those_of_the_journal(self):
        path = self.sample("j", "many")
        durations = sorted(line["volatile"]["duration_ns"] for line in self.lines(path) if line["event"] == "leave")
        latency = document_of(simhost("stats", "--json", path).stdout)["result"]["entry_points"]["stspi_ioctl"]["latency_ns"]
        self.assertEqual(len(durations), 20000)
        self.assertEqual(latency, {"p50": durations[9999], "p90": durations[17999], "p99": durations[19799],
                                   "p99.9": durations[19979], "max": durations[-1]})

    def test_table_for_people(self):
        text = simhost("stats", self.sample("j", "running")).stdout.decode()
        self.assertRegex(text, r"(?m)^ENTRY POINT +CALLS +FAULTS +P50 +P90 +P99 +P99.9 +MAX$")
        self.assertRegex(text, r"(?m)^stspi_list_image +1 +STS_E_NO_MORE_ENTRIES \(2060013\)$")
        self.assertRegex(text, r"(?m)^stspi_claim +1 +none: the call was running$")
        self.assertIn("in 1 thread of 1 process", text)


class Export(JournalTest):
    def test_chrome_trace_has_a_slice_for_each_call(self):
        path = self.sample("j", "other", "running")
        trace = json.loads(simhost("export", "--format", "chrome", path).stdout)
        lines = self.lines(path)
        slices = [event for event in trace["traceEvents"] if event["ph"] == "X"]
        self.assertEqual([event["name"] for event in slices],
                         [line["entry_point"] for line in lines if line["event"] == "leave"])
        self.assertEqual([event["name"] for event in trace["traceEvents"] if event["ph"] == "B"], ["stspi_claim"])
        faults = [event for event in trace["traceEvents"] if event["name"] == "fault"]
        self.assertEqual(faults[0]["args"], {"effect": "answer STSIMG_E_NO_SPACE", "line": 7})
        first, left = slices[0], next(line for line in lines if line["event"] == "leave")
        self.assertAlmostEqual(first["dur"] * 1000, left["volatile"]["duration_ns"], delta=1)
        self.assertEqual((first["pid"], first["tid"]), (left["volatile"]["pid"], left["volatile"]["tid"]))

    def test_the_page_needs_nothing_from_elsewhere(self):
        page = simhost("export", "--format", "html", self.sample("j")).stdout.decode()
        self.assertIsNone(re.search(r"https?:|\bsrc=|\bhref=|@import|url\(", page))
        self.assertIn("default-src 'none'", page)
        self.assertNotIn("<b>", page)

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_browser_lists_faults_and_longest_calls(self):
        page = self.directory / "page.html"
        page.write_bytes(simhost("export", "--format", "html", self.sample("j", "other", "running")).stdout)
        done = subprocess.run(
            [BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             f"--user-data-dir={self.directory}/profile", "--dump-dom", f"file://{page}"],
            capture_output=True, check=True, timeout=300)
        shown = done.stdout.decode()
        faults = re.search(r'(?s)<tbody id="faults">(.*?)</tbody>', shown).group(1)
        self.assertIn("<td>stspi_write_image</td>", faults)
        self.assertIn("answer STSIMG_E_NO_SPACE", faults)
        slow = re.search(r'(?s)<tbody id="slow">(.*?)</tbody>', shown).group(1)
        self.assertEqual(slow.count("<tr>"), 12)
        self.assertIn("running", slow)
        self.assertRegex(shown, r'<canvas[^>]*style="height: \d+px')  # it was drawn to its end


class Diff(JournalTest):
    def differences(self, *arguments):
        done = simhost("diff", "--json", *arguments)
        return done.returncode, document_of(done.stdout)["result"]

    def test_runs_of_the_same_calls_are_the_same(self):
        done = simhost("diff", self.sample("a"), self.sample("b"))
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertRegex(done.stdout, rb"^All \d+ calls are the same\.\n$")

    def test_threads_that_begin_in_another_order_are_the_same(self):
        seed = int(os.environ.get("STSPI_SEED", random.randrange(1 << 31)))
        journals = [self.sample(f"j{i}", "threads", STSPI_SEED=str(seed + i)) for i in range(4)]
        for other in journals[1:]:
            with self.subTest(seed=seed, other=other.name):
                status, result = self.differences(journals[0], other)
                self.assertEqual((status, result["same"]), (0, 400), result["differences"])

    def test_each_difference_is_told(self):
        status, result = self.differences(self.sample("a"), self.sample("b", "other"))
        self.assertEqual(status, 1)
        self.assertEqual([(one["kind"], one["entry_point"]) for one in result["differences"]],
                         [("changed", "stspi_get_lsu_prop_byname"), ("changed", "stspi_write_image"),
                          ("only_b", "stspi_unmount_lsu"), ("only_a", "stspi_close_image_list")])
        self.assertEqual(result["differences"][0]["values"],
                         [{"path": "results.info.used_bytes", "a": 2000000, "b": 2000100}])
        self.assertEqual([value["path"] for value in result["differences"][1]["values"]], ["status", "faults"])
        text = simhost("diff", self.directory / "a", self.directory / "b").stdout.decode()
        self.assertIn("results.info.used_bytes\n      A 2000000\n      B 2000100\n", text)
        self.assertIn("B only: call 11, ", text)

    def test_masks_drop_round_and_sort(self):
        masks = self.masks("# known\n"
                           "round on stspi_get_lsu_prop_* results.info.used_bytes 1K # others write there\n"
                           "drop on stspi_write_image status # the disk may be full\n"
                           "drop on stspi_write_image faults # on purpose\n"
                           "drop on stspi_get_image_prop results.nothing # never there\n")
        done = simhost("diff", "--masks", masks, self.sample("a"), self.sample("b", "other"))
        self.assertEqual(done.returncode, 1)
        self.assertNotIn(b"used_bytes", done.stdout)
        self.assertNotIn(b"stspi_write_image", done.stdout)
        self.assertIn(b"masks:5: this mask met nothing", done.stderr)
        shuffled = self.sample("c", "shuffled")
        self.assertEqual(simhost("diff", self.directory / "a", shuffled).returncode, 1)
        masks = self.masks("sort on stspi_list_image results.out_definition.name # in no order\n")
        done = simhost("diff", "--masks", masks, self.directory / "a", shuffled)
        self.assertEqual((done.returncode, done.stderr), (0, b""), done.stdout)

    def test_mistakes_in_masks_are_told_with_their_place(self):
        a = self.sample("a")
        for text, told in (
                ("\nforget on * status # x\n", "masks:2:1: expected drop, sort or round"),
                ("drop at * status # x\n", 'masks:1:6: expected "on"'),
                ("drop on *  # x\n", "masks:1:15: expected a path"),
                ("drop on * status\n", "masks:1:17: expected a reason"),
                ("drop on * status more # x\n", "masks:1:18: expected the reason"),
                ("round on * status # x\n", "masks:1:22: expected a unit"),
                ("round on * status some # x\n", "masks:1:19: expected a number"),
                ("round on * status 0 # x\n", "masks:1:19: nothing is a multiple of 0")):
            done = simhost("diff", "--masks", self.masks(text), a, a)
            self.assertEqual(done.returncode, 2, text)
            self.assertIn(told, done.stderr.decode())
        self.assertEqual(simhost("diff", "--masks", self.directory / "none", a, a).returncode, 2)
        self.assertEqual(simhost("diff", a, self.directory / "none").returncode, 2)

    def test_most_limits_what_is_told(self):
        text = simhost("diff", "--most", "1", self.sample("a"), self.sample("b", "other")).stdout.decode()
        self.assertIn("stspi_get_lsu_prop_byname", text)
        self.assertNotIn("stspi_write_image", text)
        self.assertIn("... and 3 more", text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
