"""simhost show: every format over the corpus, and the page in a browser where there is one."""

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

from json_schema import document_of  # noqa: E402

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
                self.assertEqual(case.run(SIMHOST).decode(), case.expected_file.read_bytes().decode())

    def test_standard_input_and_json_document(self):
        done = show("--json", "--as", "copan", "-", data=b"STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = /x;\n")
        document = document_of(done.stdout)
        self.assertTrue(document["ok"])
        self.assertEqual(document["result"]["servers"][0]["name"], "copan:a")
        self.assertEqual(show("-").returncode, 2)
        self.assertEqual(show("none.sim").returncode, 2)

    def test_both_ways_to_json_are_one(self):
        for path in sorted(ARRAY.parent.glob("*.sim")):
            grammar = ("--as", path.name.split("-")[0]) if "-" in path.name else ()
            done = show(*grammar, "--json", path)
            document_of(done.stdout)
            self.assertEqual(show(*grammar, "--format", "json", path).stdout, done.stdout)

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

    def page_in_browser(self, file, address):
        with tempfile.TemporaryDirectory() as directory:
            page = pathlib.Path(directory) / "page.html"
            page.write_bytes(show("--as", "array", "--format", "html", file).stdout)
            return subprocess.run(
                [BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 f"--user-data-dir={directory}/profile", "--dump-dom", f"file://{page}{address}"],
                capture_output=True, check=True, timeout=240).stdout.decode()

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_browser_shows_what_a_host_sees(self):
        dom = self.page_in_browser(ARRAY, "#mediaA")
        shown = dict((name, classes) for classes, name in
                     re.findall(r'<section class="([^"]*)"[^>]*>\s*<h2>([^<]*)</h2>', dom))
        self.assertEqual(shown, {"archive": "card unseen", "pool2": "card", "pool1": "card"})
        self.assertIn("2 of 3 shown", dom)

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_browser_chooses_among_many_hosts(self):
        with tempfile.NamedTemporaryFile(suffix=".sim") as file:
            file.write("".join(f"ENCLOSURE = p{i};\nDISKS = d{i};\nHOSTS = h{i % 20:02};\nDISK_SIZE = 1G;\nSTORAGE_DIR = /x;\n"
                               for i in range(40)).encode())
            file.flush()
            dom = self.page_in_browser(file.name, "#h03")
        self.assertIn("2 of 40 shown", dom)
        self.assertEqual(re.findall(r"<option[^>]*>([^<]*)</option>", dom)[:3], ["all 20 hosts", "h00", "h01"])

    def test_many_volumes_are_folded_and_tell_their_identifiers(self):
        disks = ",".join(f"d{i}" for i in range(30))
        page = show("--as", "array", "--format", "html", "-", data=(
            f"ENCLOSURE = p;\nDISKS = {disks};\nHOSTS = h;\nDISK_SIZE = 1G;\nSTORAGE_DIR = /x;\nUDID_TOKEN = t;\n"
            "DISKS = d1;\nFOO = <b>;\n").encode()).stdout.decode()
        self.assertEqual(page.count("<li>d"), 31)
        self.assertIn("<details><summary>and 19 more</summary>", page)
        self.assertIn("<li>d3<span>#UDID#t#d3#</span></li>", page)
        self.assertNotIn("title=\"", page)
        self.assertIn("line 8: unknown key &#39;FOO&#39;", page)
        self.assertIn("<code>[duplicate-disk]</code>", page)

    def test_colours_have_the_contrast_that_wcag_aa_asks_for(self):
        page = show("--format", "html", ARRAY).stdout.decode()
        style = page[page.index("<style>"):page.index("</style>")]
        light, dark, paper = [dict(re.findall(r"--([a-z-]+): (#[0-9a-f]{6})", block))
                              for block in re.findall(r":root \{(.*?)\}", style, re.S)]
        for colours in (light, dark, {**light, **paper}):
            for text, ground, least in (
                    ("ink", "page", 4.5), ("ink", "card", 4.5), ("ink", "pale", 4.5), ("ink", "red-pale", 4.5),
                    ("soft", "page", 4.5), ("soft", "card", 4.5), ("soft", "pale", 4.5), ("soft", "red-pale", 4.5),
                    ("blue", "card", 4.5), ("blue", "pale", 4.5), ("blue", "red-pale", 4.5), ("card", "blue", 4.5),
                    ("red", "card", 4.5), ("red", "pale", 4.5), ("red", "red-pale", 4.5),
                    ("edge", "card", 3), ("edge", "page", 3), ("blue", "page", 3)):
                with self.subTest(text=text, ground=ground):
                    self.assertGreaterEqual(contrast(colours[text], colours[ground]), least)

    def test_a_picture_of_much_points_to_the_page(self):
        text = "".join(f"ENCLOSURE = p{i};\nDISKS = d{i};\nHOSTS = h{i % 3};\nDISK_SIZE = 1G;\n"
                       f"STORAGE_DIR = /a/rather/long/path/that/is/cut/in/its/middle/{i};\n" for i in range(31))
        dot = show("--as", "array", "--format", "dot", "-", data=text.encode()).stdout.decode()
        self.assertIn("--format html", dot)
        # One arrow for each host and set of pools.
        self.assertEqual(dot.count(" -> "), 3)
        self.assertIn("…", dot)
        self.assertNotIn("/a/rather/long/path/that/is/cut", dot)
        self.assertIn('bgcolor="#ffffff"', dot)
        few = show("--format", "dot", ARRAY).stdout.decode()
        self.assertNotIn("--format html", few)


def contrast(one, other):
    """As WCAG 2.1 counts it."""
    def luminance(colour):
        parts = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
        linear = [part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]
    lighter, darker = sorted((luminance(one), luminance(other)), reverse=True)
    return (lighter + 0.05) / (darker + 0.05)


unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
