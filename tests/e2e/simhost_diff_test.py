"""simhost diff: what each host would see otherwise."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

from json_schema import document_of

SIMHOST = sys.argv[1]

ARRAY = """ENCLOSURE = gold;
DISKS = g1,g2;
HOSTS = mediaA,mediaB;
DISK_SIZE = 10G;
STORAGE_DIR = /var/tmp/gold;
ENCLOSURE = silver;
DISKS = s1;
HOSTS = mediaB;
DISK_SIZE = 1T;
STORAGE_DIR = /var/tmp/silver;
"""
COPAN = "STORAGE_SERVER = arr1;\nVOLUMES = v1,v2;\nSTORAGE_DIR = /x;\n"


class Diff(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def diff(self, before, after, *options, grammar="array"):
        (self.directory / "a").write_text(before)
        (self.directory / "b").write_text(after)
        return subprocess.run([SIMHOST, "diff", "--as", grammar, *options, "a", "b"], cwd=self.directory,
                              capture_output=True, check=False)

    def expect(self, after, text, before=ARRAY, grammar="array"):
        done = self.diff(before, after, grammar=grammar)
        self.assertEqual(done.stdout.decode(), text)
        self.assertEqual(done.returncode, 0 if text.startswith("no ") else 1, done.stderr)
        document = document_of(self.diff(before, after, "--json", grammar=grammar).stdout)
        self.assertEqual(document["result"]["same"], text.startswith("no "))
        return document["result"]

    def test_what_makes_no_difference(self):
        self.expect(ARRAY, "no host sees anything else\n")
        self.expect("# remark\n" + ARRAY.replace("g1,g2", " g1, g2 ").replace("10G", "10240M"), "no host sees anything else\n")
        self.expect(COPAN, "no server sees anything else\n", before=COPAN, grammar="copan")

    def test_pools_that_come_and_go(self):
        result = self.expect(ARRAY.replace("HOSTS = mediaB", "HOSTS = mediaA"),
                             "host mediaA\n  + pool silver: 1099511627776 bytes (1 TiB), 1 volume\n"
                             "host mediaB\n  - pool silver: 1099511627776 bytes (1 TiB), 1 volume\n")
        self.assertEqual(result["hosts"][0], {"name": "mediaA", "changes": [
            {"what": "pool", "name": "silver", "before": None, "after": "1099511627776 bytes (1 TiB), 1 volume"}]})

    def test_pools_that_change(self):
        self.expect(ARRAY.replace("g1,g2", "g1,g3").replace("10G", "20G").replace("tmp/gold", "tmp/au"),
                    "hosts mediaA, mediaB\n"
                    "  ~ capacity of gold: 21474836480 bytes (20 GiB) -> 42949672960 bytes (40 GiB)\n"
                    "  ~ volume size of gold: 10737418240 bytes (10 GiB) -> 21474836480 bytes (20 GiB)\n"
                    "  - volume gold:g2: 10737418240 bytes (10 GiB)\n"
                    "  + volume gold:g3: 21474836480 bytes (20 GiB)\n"
                    "  ~ directory of gold: /var/tmp/gold -> /var/tmp/au\n")

    def test_identifiers_orders_hosts_and_mounts(self):
        self.expect(ARRAY.replace("g1,g2", "g2,g1") + "UDID_TOKEN = t;\nMOUNT_BEHAVIOR = MOUNT_POINT_USED;\n",
                    "all hosts\n  ~ mounts: carried out -> all fail, with 2061028 inside the simulator (MOUNT_BEHAVIOR is "
                    "'MOUNT_POINT_USED')\n"
                    "host mediaA\n"
                    "  ~ order of volumes of gold: g1, g2 -> g2, g1\n"
                    "  ~ identifiers of gold: g1 -> #UDID#t#g1#\n"
                    "host mediaB\n"
                    "  ~ identifiers of silver: s1 -> #UDID#t#s1#\n"
                    "  ~ order of volumes of gold: g1, g2 -> g2, g1\n"
                    "  ~ identifiers of gold: g1 -> #UDID#t#g1#\n")
        halves = ARRAY.split("ENCLOSURE = silver")
        self.expect("ENCLOSURE = silver" + halves[1] + halves[0],
                    "host mediaB\n  ~ order of pools: silver, gold -> gold, silver\n")
        self.expect(ARRAY.replace("mediaA,mediaB", "mediaA,mediaB,mediaC"),
                    "hosts mediaA, mediaB\n  ~ hosts of gold: mediaA, mediaB -> mediaA, mediaB, mediaC\n"
                    "host mediaC\n  + pool gold: 21474836480 bytes (20 GiB), 2 volumes\n")

    def test_copan(self):
        self.expect(COPAN.replace("v1,v2", "v2,v3").replace("/x", "/y") + COPAN.replace("arr1", "arr2"),
                    "server a:arr1\n".replace("a:", "copan:") +
                    "  - volume copan:arr1:v1: listed\n  + volume copan:arr1:v3: listed\n"
                    "  ~ directory of copan:arr1: /x -> /y\n"
                    "server copan:arr2\n  + server copan:arr2: 2 volumes\n", before=COPAN, grammar="copan")

    def test_the_new_file_gets_the_old_ones_name(self):
        (self.directory / "lab.sim").write_text(COPAN)
        (self.directory / "lab-new.sim").write_text(COPAN.replace("v1", "v9"))
        done = subprocess.run([SIMHOST, "diff", "lab.sim", "lab-new.sim"], cwd=self.directory, capture_output=True, check=False)
        self.assertEqual(done.stdout, b"server lab:arr1\n  - volume lab:arr1:v1: listed\n  + volume lab:arr1:v9: listed\n")

    def test_what_cannot_be_compared(self):
        (self.directory / "Kelvarpool.sim").write_text(ARRAY)
        (self.directory / "copan.sim").write_text(COPAN)
        for arguments, text in ((("Kelvarpool.sim", "copan.sim"), b"one file is a disk array's"),
                                (("copan.sim", "none.sim"), b"none.sim: No such file"),
                                (("--as", "array", "-", "-"), b"one of the files only")):
            done = subprocess.run([SIMHOST, "diff", *arguments], cwd=self.directory, capture_output=True, check=False)
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn(text, done.stderr)

    def test_errors_of_the_files_are_announced(self):
        done = self.diff(ARRAY, ARRAY + "FOO = 1;\n")
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"1 error: \"simhost check\" tells them", done.stderr)
        self.assertEqual(self.diff(ARRAY, ARRAY + "FOO = 1;\n", "--strict").returncode, 3)


unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
