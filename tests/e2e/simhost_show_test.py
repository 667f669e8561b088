"""simhost show: every format over the corpus, and the page in a browser where there is one."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

SIMHOST, SOURCE = sys.argv[1], pathlib.Path(sys.argv[4])
sys.path.insert(0, str(SOURCE / "tests" / "corpus"))
import golden  # noqa: E402

BROWSER = shutil.which("chromium")
DOT = shutil.which("dot")
ARRAY = SOURCE / "tests" / "corpus" / "show" / "Kelvarpool.sim"
ODD = SOURCE / "tests" / "corpus" / "show" / "array-odd.sim"


def show(*arguments, data=b"", **how):
    return subprocess.run([SIMHOST, "show", *map(str, arguments)], input=data, capture_output=True, check=False, **how)


class Show(unittest.TestCase):
    def test_every_output_is_the_expected_one(self):
        cases = [case for case in golden.cases() if case.file.parent.name == "show"]
        self.assertGreaterEqual(len(cases), 16)
        for case in cases:
            with self.subTest(case.name):
                self.assertTrue(case.expected_file.exists(), "run tests/corpus/update.py and read what it writes")
                self.assertEqual(case.run(SIMHOST).decode(), case.expected_file.read_text())

    def test_standard_input_and_json_document(self):
        done = show("--json", "--as", "copan", "-", data=b"STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = /x;\n")
        document = json.loads(done.stdout)
        self.assertTrue(document["ok"])
        self.assertEqual(document["result"]["servers"][0]["name"], "copan:a")
        self.assertEqual(show("-").returncode, 2)
        self.assertEqual(show("none.sim").returncode, 2)

    def test_errors_of_the_file_are_announced(self):
        done = show("--as", "array", ODD)
        self.assertEqual(done.returncode, 0)
        self.assertIn(b'"simhost check" tells them', done.stderr)
        self.assertEqual(show("--as", "array", "--strict", ODD).returncode, 3)

    def test_the_page_needs_nothing_from_elsewhere(self):
        page = show("--as", "array", "--format", "html", ODD).stdout.decode()
        self.assertIsNone(re.search(r"https?:|\bsrc=|\bhref=|@import|url\(", page))
        self.assertIn("default-src 'none'", page)
        self.assertNotIn("<b>", page)

    def test_graphviz_out_of_reach_is_told(self):
        done = show("--format", "svg", ARRAY, env={"PATH": "/nonexistent"})
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertIn(b"install the package graphviz", done.stderr)

    @unittest.skipUnless(DOT, "Graphviz is not installed")
    def test_graphviz_draws_every_graph(self):
        for file, grammar in ((ARRAY, "array"), (ODD, "array"), (ODD.with_name("copan-odd.sim"), "copan")):
            done = show("--as", grammar, "--format", "svg", file)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertNotIn(b"Error", done.stderr)
            xml.etree.ElementTree.fromstring(done.stdout)

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_browser_shows_what_a_host_sees(self):
        with tempfile.TemporaryDirectory() as directory:
            page = pathlib.Path(directory) / "page.html"
            page.write_bytes(show("--format", "html", ARRAY).stdout)
            done = subprocess.run(
                [BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 f"--user-data-dir={directory}/profile", "--dump-dom", f"file://{page}#mediaA"],
                capture_output=True, check=True, timeout=120)
        shown = dict((name, classes) for classes, name in
                     re.findall(r'<section class="([^"]*)"[^>]*>\s*<h2>([^<]*)</h2>', done.stdout.decode()))
        self.assertEqual(shown, {"archive": "card unseen", "pool2": "card", "pool1": "card"})


unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
