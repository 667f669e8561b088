"""simhost check as its users run it: the whole corpus, the choice of the grammar, the formats, the exit statuses."""

import os
import pathlib
import re
import subprocess
import stat
import sys
import tempfile
import unittest

SIMHOST, SOURCE = sys.argv[1], pathlib.Path(sys.argv[4])
sys.path.insert(0, str(SOURCE / "tests" / "corpus"))
import golden  # noqa: E402

from json_schema import document_of, sarif_of  # noqa: E402

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
                self.assertEqual(case.run(SIMHOST).decode(), case.expected_file.read_bytes().decode())

    def test_every_finding_has_a_file_and_a_page(self):
        log = sarif_of(check("--sarif", "--as", "copan", "-", data=GOOD_COPAN).stdout)
        ids = [rule["id"] for rule in log["runs"][0]["tool"]["driver"]["rules"]]
        expected = "".join(path.read_text() for path in (SOURCE / "tests/corpus/check").glob("*.expected"))
        in_corpus = set(re.findall(r"\[([a-z0-9-]+)\]$", expected, re.M))
        need_an_option = {"server-not-served", "not-as-expected", "missing-parent", "name-taken", "no-permission"}
        self.assertEqual(in_corpus | need_an_option, set(ids))
        self.assertFalse(in_corpus & need_an_option)
        page = (SOURCE / "docs" / "check.md").read_text()
        self.assertEqual(re.findall(r"^### `([a-z0-9-]+)`$", page, re.M), ids)

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


def check(*arguments, data=b"", cwd=None, env=None):
    return subprocess.run([SIMHOST, "check", *arguments], input=data, capture_output=True, cwd=cwd, env=env, check=False)


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
        done = check(str(self.directory / "none.sim"), bad)
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"[no-storage-dir]", done.stdout)
        self.assertIn(b"none.sim: No such file or directory", done.stderr)
        self.assertIn(b"not checked: 1 file", done.stderr)

    def test_unread_files_have_their_place_among_the_files(self):
        bad, none = self.file("bad.sim", BAD_COPAN), str(self.directory / "none.sim")
        document = document_of(check("--json", none, bad).stdout)
        self.assertEqual(document["exit_status"], 2)
        self.assertEqual([file["file"] for file in document["result"]["files"]], [bad, none])
        self.assertIn("No such file or directory", document["result"]["files"][1]["unreadable"])
        run = sarif_of(check("--sarif", none, bad).stdout)["runs"][0]
        invocation = run["invocations"][0]
        self.assertEqual((invocation["executionSuccessful"], invocation["exitCode"]), (False, 2))
        self.assertIn("No such file", invocation["toolExecutionNotifications"][0]["message"]["text"])
        self.assertEqual(len(run["results"]), 1)

    def test_exit_code_of_sarif_is_that_of_the_program(self):
        warning = self.file("lab.sim", WARNING_COPAN)
        for options in ((), ("--strict",), ("--ignore", "no-volumes", "--strict")):
            done = check("--sarif", *options, warning)
            self.assertEqual(sarif_of(done.stdout)["runs"][0]["invocations"][0]["exitCode"], done.returncode)

    def test_directories_stand_for_the_files_in_them(self):
        self.file("Kelvarpool.sim", GOOD_ARRAY)
        self.file("copan.sim", BAD_COPAN)
        for name in ("copan.sim~", "notes.txt", ".sim", "a:b.sim"):
            self.file(name, b"nothing")
        for arguments, environment in (((self.directory,), {}), (("--config-dir", self.directory), {}),
                                       ((), {"SIMHOST_CONFIG_DIR": str(self.directory)})):
            done = check(*map(str, arguments), env={**os.environ, **environment})
            self.assertEqual(done.returncode, 1)
            self.assertEqual([line.split(b": ")[0] for line in done.stdout.splitlines() if b" array, " in line],
                             [f"{self.directory}/{name}".encode() for name in ("Kelvarpool.sim", "copan.sim")])
        for arguments in (("--config-dir", "/none"), ("/none",)):
            done = check(*arguments)
            self.assertEqual(done.returncode, 2)
            self.assertIn(b"/none: No such file or directory", done.stderr)
        empty = self.directory / "empty.sim"
        empty.mkdir()
        done = check(str(empty))
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"no file in this directory is called NAME.sim", done.stderr)
        # In a directory it is what the plug-in would try to read.
        done = check(str(self.directory))
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"no file in this directory is called NAME.sim", check("-c", str(self.directory / "empty.sim")).stderr)
        self.assertIn(b"empty.sim: Is a directory", done.stderr)

    def test_some_findings_only(self):
        path = self.file("lab.sim", b"STORAGE_SERVER = a;\nFOO = 1;\nVOLUMES = v;\n# = x\n")
        self.assertEqual(self.ids(path), ["no-storage-dir", "unknown-key", "comment"])
        self.assertEqual(self.ids(path, "--select", "comment"), ["comment"])
        self.assertEqual(self.ids(path, "--ignore", "comment,unknown-key"), ["no-storage-dir"])
        self.assertEqual(self.ids(path, "--ignore", "comment", "--ignore", "unknown-key"), ["no-storage-dir"])
        done = check("--select", "comment", path)
        self.assertIn("1 warning, 2 ignored", self.expect(0, done))
        self.assertIn("good, 3 ignored", self.expect(0, check("--strict", "--select", "nul-byte", path)))
        done = check("--ignore", "unknwon-key", path)
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertIn(b"did you mean unknown-key?", done.stderr)

    def ids(self, path, *options):
        document = document_of(check("--json", *options, path).stdout)
        return [finding["id"] for finding in document["result"]["files"][0]["findings"]]

    def test_explain(self):
        page = (SOURCE / "docs" / "check.md").read_text()
        for name in re.findall(r"^### `([a-z0-9-]+)`$", page, re.M):
            text = self.expect(0, check("--explain", name))
            self.assertTrue(text.startswith(f"{name}\n\n"), text)
            self.assertIn("\nDo: ", text)
            self.assertNotIn("](", text)
            self.assertNotIn("###", text)
        self.assertIn("did you mean comment?", check("--explain", "coment").stderr.decode())
        self.assertEqual(check("--explain", "comment", "x.sim").returncode, 2)
        self.assertIn("There are no comments", document_of(check("--explain", "comment", "--json").stdout)["result"]["explanation"])

    def test_expect(self):
        array = self.file("Kelvarpool.sim", GOOD_ARRAY + GOOD_ARRAY.replace(b"= a;", b"= b;").replace(b"= d;", b"= e;"))
        self.expect(0, check("--expect", "h=a,b", "--expect", "nobody=", array))
        self.expect(0, check("--expect", "h=b,a", array, self.file("copan.sim", GOOD_COPAN)))
        self.assertIn("error: host 'h' sees 'a', 'b', but is to see 'a' [not-as-expected]",
                      self.expect(1, check("--expect", "h=a", array)))
        for wrong in ("h", "=a", ""):
            self.assertIn(b"write HOST=POOL,POOL", check("--expect", wrong, array).stderr)
        done = check("--expect", "h=a", self.file("copan.sim", GOOD_COPAN))
        self.assertEqual((done.returncode, done.stdout), (2, b""))

    def test_here(self):
        path = self.file("copan.sim", GOOD_COPAN.replace(b"/x", str(self.directory / "none" / "deeper").encode()))
        self.expect(0, check(path))
        self.assertIn("[missing-parent]", self.expect(1, check("--here", path)))
        (self.directory / "none").mkdir()
        self.expect(0, check("--here", path))
        self.assertEqual(list((self.directory / "none").iterdir()), [])

    def test_fix(self):
        broken = GOOD_ARRAY.replace(b"= d;", b"= d").replace(b"DISK_SIZE", b"disk_size")
        path = self.file("Kelvarpool.sim", broken)
        os.chmod(path, 0o640)
        link = self.directory / "link.sim"
        link.symlink_to(path)
        text = self.expect(0, check("--fix", "--as", "array", str(link)))
        self.assertIn(f"the file as it was is {path}.orig\n", text)
        self.assertIn("@@ line 2 @@\n-DISKS = d\n+DISKS = d;\n", text)
        self.assertIn("-disk_size = 1G;\n+DISK_SIZE = 1G;\n", text)
        self.assertIn(": good\n", text)
        self.assertEqual(pathlib.Path(path).read_bytes(), GOOD_ARRAY)
        self.assertEqual(pathlib.Path(path + ".orig").read_bytes(), broken)
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o640)
        self.assertTrue(link.is_symlink())
        # A second time: nothing to do, nothing kept. A third: the first copy stays.
        self.assertNotIn("mended", self.expect(0, check("--fix", path)))
        pathlib.Path(path).write_bytes(broken)
        document = document_of(check("--fix", "--json", path).stdout)
        self.assertEqual([mended["kept"] for mended in document["result"]["mended"]], [path + ".orig.1"])
        self.assertEqual(sorted(file.name for file in self.directory.iterdir()),
                         ["Kelvarpool.sim", "Kelvarpool.sim.orig", "Kelvarpool.sim.orig.1", "link.sim"])

    def test_fix_of_what_cannot_be_mended(self):
        path = self.file("copan.sim", BAD_COPAN)
        self.assertNotIn("mended", self.expect(1, check("--fix", path)))
        self.assertEqual(sorted(file.name for file in self.directory.iterdir()), ["copan.sim"])
        self.assertIn(b"standard input cannot be mended", check("--fix", "--as", "copan", "-", data=b"VOLUMES = a").stderr)

    def test_endless_files(self):
        done = check("--as", "array", "/dev/zero")
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertIn(b"/dev/zero: more than 64 MiB: this is no configuration file", done.stderr)

    def test_file_names_are_escaped_once(self):
        path = self.file("a\x1b[31m\nb.sim", BAD_COPAN)
        text = self.expect(1, check(path))
        self.assertNotIn("\x1b", text)
        self.assertIn("a\\x1b[31m\\nb.sim:1:18: error", text)
        missing = check(path + "\x07.sim").stderr.decode()
        self.assertIn("a\\x1b[31m\\nb.sim\\x07.sim: No such file", missing)

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
        document = document_of(self.expect(1, done))
        self.assertFalse(document["ok"])
        files = document["result"]["files"]
        self.assertEqual([file["errors"] for file in files], [0, 1])
        self.assertEqual(files[0]["contents"]["servers"], [{"name": "a", "volumes": ["v"]}])
        self.assertEqual(files[1]["findings"][0]["id"], "no-storage-dir")

    def test_sarif(self):
        log = sarif_of(self.expect(1, check("--sarif", self.file("bad.sim", BAD_COPAN))))
        result = log["runs"][0]["results"][0]
        self.assertEqual((result["ruleId"], result["level"]), ("no-storage-dir", "error"))
        self.assertEqual(check("--sarif", "--json", "x.sim").returncode, 2)

    def test_bytes_that_are_no_text(self):
        path = self.file("lab.sim", bytes(range(256)) * 20)
        self.assertEqual(check(path).returncode, 1)
        document_of(self.expect(1, check("--json", path)))
        sarif_of(self.expect(1, check("--sarif", path)))


unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
