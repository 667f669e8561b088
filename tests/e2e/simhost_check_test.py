"""simhost check as its users run it: the whole corpus, the choice of the grammar, the formats, the exit statuses."""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SIMHOST, SOURCE = sys.argv[1], pathlib.Path(sys.argv[4])
sys.path.insert(0, str(SOURCE / "tests" / "corpus"))
import golden  # noqa: E402

GOOD_ARRAY = b"ENCLOSURE = a;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 1G;\nSTORAGE_DIR = /x;\n"
GOOD_COPAN = b"STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = /x;\n"
WARNING_COPAN = b"STORAGE_SERVER = a;\nSTORAGE_DIR = /x;\n"
BAD_COPAN = b"STORAGE_SERVER = a;\nVOLUMES = v;\n"


class Corpus(unittest.TestCase):
    def test_every_output_is_the_expected_one(self):
        cases = [case for case in golden.cases() if case.file.parent.name == "check"]
        self.assertGreaterEqual(len(cases), 100)
        for case in cases:
            with self.subTest(case.name):
                self.assertTrue(case.expected_file.exists(), "run tests/corpus/update.py and read what it writes")
                self.assertEqual(case.run(SIMHOST).decode(), case.expected_file.read_text())

    def test_every_finding_has_a_file_and_a_page(self):
        log = json.loads(check("--sarif", "--as", "copan", "-", data=GOOD_COPAN).stdout)
        ids = [rule["id"] for rule in log["runs"][0]["tool"]["driver"]["rules"]]
        expected = "".join(path.read_text() for path in (SOURCE / "tests/corpus/check").glob("*.expected"))
        in_corpus = set(re.findall(r"\[([a-z-]+)\]$", expected, re.M))
        # This one needs an option.
        self.assertEqual(in_corpus | {"server-not-served"}, set(ids))
        page = (SOURCE / "docs" / "check.md").read_text()
        self.assertEqual(re.findall(r"^### `([a-z-]+)`$", page, re.M), ids)

    def test_examples_are_good(self):
        done = check(*sorted(str(path) for path in (SOURCE / "examples").glob("*.sim")), "--strict")
        self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_examples_of_the_pages_say_what_they_promise(self):
        # Every block of docs/check.md that is a whole answer is one of simhost's.
        page = (SOURCE / "docs" / "check.md").read_text()
        blocks = re.findall(r"```\n\$ simhost check ([^\n]+)\n(.*?)```", page, re.S)
        self.assertGreaterEqual(len(blocks), 1)
        for arguments, answer in blocks:
            done = check(*arguments.split(), cwd=SOURCE / "tests" / "corpus" / "check")
            self.assertEqual(done.stdout.decode() + done.stderr.decode(), answer)


def check(*arguments, data=b"", cwd=None):
    return subprocess.run([SIMHOST, "check", *arguments], input=data, capture_output=True, cwd=cwd, check=False)


class Check(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def file(self, name, content):
        path = self.directory / name
        path.write_bytes(content)
        return str(path)

    def expect(self, status, done):
        self.assertEqual(done.returncode, status, done)
        return done.stdout.decode()

    def test_the_name_decides_on_the_grammar(self):
        self.assertIn("disk array, 1 pool", self.expect(0, check(self.file("Kelvarpool.sim", GOOD_ARRAY))))
        self.assertIn("Copan array, 1 server", self.expect(0, check(self.file("lab.sim", GOOD_COPAN))))
        self.assertIn("[wrong-grammar]", self.expect(1, check(self.file("kelvarpool.sim", GOOD_ARRAY))))

    def test_as_overrides_the_name(self):
        self.assertIn("disk array, 1 pool", self.expect(0, check("--as", "array", self.file("lab.sim", GOOD_ARRAY))))
        self.assertIn("Copan array", self.expect(0, check("--as", "copan", self.file("Kelvarpool.sim", GOOD_COPAN))))

    def test_names_that_the_plugin_never_reads_need_as(self):
        path = self.file("Kelvarpool.sim.new", GOOD_ARRAY)
        done = check(path)
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertIn(b"add --as array or --as copan", done.stderr)
        self.expect(0, check("--as", "array", path))

    def test_standard_input(self):
        self.assertIn("<stdin>: Copan array", self.expect(0, check("--as", "copan", "-", data=GOOD_COPAN)))
        self.assertIn("<stdin>:", self.expect(1, check("--as", "copan", "-", data=BAD_COPAN)))
        self.assertEqual(check("-", data=GOOD_COPAN).returncode, 2)

    def test_a_file_that_cannot_be_read_does_not_keep_the_others_from_being_checked(self):
        bad = self.file("bad.sim", BAD_COPAN)
        done = check(str(self.directory / "none.sim"), bad, str(self.directory))
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"[no-storage-dir]", done.stdout)
        self.assertIn(b"none.sim: No such file or directory", done.stderr)
        directory = self.directory / "directory.sim"
        directory.mkdir()
        self.assertIn(b"directory.sim: Is a directory", check(str(directory)).stderr)

    def test_strict(self):
        path = self.file("lab.sim", WARNING_COPAN)
        self.expect(0, check(path))
        self.expect(3, check("--strict", path))
        self.expect(3, check("--strict", "--sarif", path))
        self.expect(1, check("--strict", path, self.file("bad.sim", BAD_COPAN)))
        self.expect(0, check("--strict", self.file("good.sim", GOOD_COPAN)))

    def test_starting_files_are_good(self):
        for server in ("Kelvarpool:mediaA", "copan:arr1"):
            subprocess.run([SIMHOST, "init", "--config-dir", str(self.directory), server], capture_output=True, check=True)
        files = sorted(str(path) for path in self.directory.glob("*.sim"))
        self.assertEqual(len(files), 2)
        self.expect(0, check("--strict", *files))

    def test_server(self):
        array = self.file("Kelvarpool.sim", GOOD_ARRAY.replace(b"= h;", b"= mediaA;"))
        copan = self.file("copan.sim", GOOD_COPAN.replace(b"= a;", b"= arr1.lab;"))
        self.expect(0, check("--server", "Kelvarpool:mediaA", array))
        self.assertIn("error: 'Kelvarpool:mediaB' is not served: no pool lists host 'mediaB' [server-not-served]\n"
                      "      = did you mean mediaA?", self.expect(1, check("--server", "Kelvarpool:mediaB", array)))
        self.expect(0, check("--server", "copan:arr1.elsewhere", copan))
        self.assertIn("error: 'copan:arr2' is not served: no STORAGE_SERVER is named 'arr2' [server-not-served]",
                      self.expect(1, check("--server", "copan:arr2", copan)))

    def test_server_of_another_file(self):
        array = self.file("Kelvarpool.sim", GOOD_ARRAY)
        copan = self.file("copan.sim", GOOD_COPAN)
        for arguments, prefix, served in (((array,), "copan", "Kelvarpool"), ((copan,), "x", "copan"),
                                          ((copan,), "Kelvarpool", "copan"),
                                          (("--as", "array", self.file("new", GOOD_ARRAY)), "new", "Kelvarpool")):
            name = f"{prefix}:a" if served == "copan" else f"{prefix}:h"
            self.assertIn(f"error: '{name}' is not served: names that begin with '{prefix}:' are not of this file, which "
                          f"serves '{served}:' [server-not-served]",
                          self.expect(1, check("--server", name, *arguments)))
        # A name that tells no prefix leaves it open.
        self.expect(0, check("--as", "copan", "--server", "any:a", self.file("new", GOOD_COPAN)))
        self.assertIn("only Kelvarpool.sim serves names that begin with 'Kelvarpool:'",
                      self.expect(1, check("--as", "copan", "--server", "Kelvarpool:a", self.file("new", GOOD_COPAN))))

    def test_server_that_is_no_name(self):
        path = self.file("copan.sim", GOOD_COPAN)
        for name in ("a", "copan:", ":a", ""):
            done = check("--server", name, path)
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn(f'the server name "{name}" lacks '.encode(), done.stderr)

    def test_json(self):
        good, bad = self.file("good.sim", GOOD_COPAN), self.file("bad.sim", BAD_COPAN)
        done = check("--json", good, bad)
        document = json.loads(self.expect(1, done))
        self.assertFalse(document["ok"])
        files = document["result"]["files"]
        self.assertEqual([file["errors"] for file in files], [0, 1])
        self.assertEqual(files[0]["contents"]["servers"], [{"name": "a", "volumes": ["v"]}])
        self.assertEqual(files[1]["findings"][0]["id"], "no-storage-dir")

    def test_sarif(self):
        log = json.loads(self.expect(1, check("--sarif", self.file("bad.sim", BAD_COPAN))))
        result = log["runs"][0]["results"][0]
        self.assertEqual((result["ruleId"], result["level"]), ("no-storage-dir", "error"))
        self.assertEqual(check("--sarif", "--json", "x.sim").returncode, 2)

    def test_bytes_that_are_no_text(self):
        path = self.file("lab.sim", bytes(range(256)) * 20)
        self.assertEqual(check(path).returncode, 1)
        json.loads(self.expect(1, check("--json", path)))
        json.loads(self.expect(1, check("--sarif", path)))


unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
