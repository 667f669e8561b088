"""The recipes of docs/faults.md, each run as it stands there, but for where the file lies that ends a hold.

usage: faults_test.py SIMHOST SOURCE
"""

import concurrent.futures
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

SIMHOST, SOURCE = sys.argv.pop(1), pathlib.Path(sys.argv.pop(1))
# A crash is to stay one: sanitizers make an exit of it.
for options in ("ASAN_OPTIONS", "TSAN_OPTIONS"):
    os.environ[options] = os.environ.get(options, "") + ":handle_segv=0"
RECIPES = dict(re.findall(r"(?ms)^```rules ([a-z-]+)\n(.*?)^```", (SOURCE / "docs" / "faults.md").read_text()))


class Recipes(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.path = pathlib.Path(self.directory.name)
        (self.path / "data").write_bytes(os.urandom(3 << 20))
        (self.path / "Kelvarpool.sim").write_text(
            "".join(
                f"ENCLOSURE = {pool};\n\tDISKS = {pool}d1,{pool}d2;\n\tHOSTS = mediaA;\n\tDISK_SIZE = 10G;\n"
                f"\tSTORAGE_DIR = {self.path}/{pool};\n\n"
                for pool in ("pool1", "pool2")
            )
            + "MOUNT_BEHAVIOR = SUCCESS;\n"
        )

    def command(self, recipe, *words):
        rules = self.path / f"{recipe}.rules"
        rules.write_text(RECIPES[recipe].replace("/tmp/go", str(self.path / "go")))
        return subprocess.run(
            [SIMHOST, *words, "--config-dir", self.path, "--image-root", self.path / "images", "--faults", rules,
             "--server", "Kelvarpool:mediaA", "--json"],
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )

    def cycle(self, recipe):
        return self.command(recipe, "run", self.path / "data", "--pool", "pool2", "--image", "simhost-image",
                            "--mount-point", self.path / "mounted")

    def expect(self, recipe, run, status, told=""):
        """The document of a run that ended with this status, told this, and had every rule fire."""
        self.assertEqual(run.returncode, status, run.stdout + run.stderr)
        document = json.loads(run.stdout)
        if told:
            self.assertRegex("\n".join(document["errors"]), told)
        else:
            self.assertEqual(document["errors"], [])
        for rule in document["result"]["faults"]["rules"]:
            self.assertGreater(rule["fired"], 0, rule)
        return document

    def test_every_recipe_is_tried(self):
        self.assertEqual(len(RECIPES), 20)
        tried = {name[5:].replace("_", "-") for name in dir(self) if name.startswith("test_")}
        self.assertEqual(set(RECIPES) - tried, set())

    def test_full_pool(self):
        self.expect("full-pool", self.cycle("full-pool"), 1, "STSIMG_E_NO_SPACE")

    def test_lost_acknowledgement(self):
        self.expect("lost-acknowledgement", self.cycle("lost-acknowledgement"), 1,
                    "stspi_close_image answers STS_E_SYSTEM")
        self.assertEqual(list((self.path / "images").rglob("*.stsimg")), [])

    def test_retry(self):
        self.expect("retry", self.cycle("retry"), 1, "STS_E_NO_SERVER")

    def test_flaky_link(self):
        first, second = (self.expect("flaky-link", self.cycle("flaky-link"), 1, "STS_E_SYSTEM") for _ in range(2))
        self.assertEqual([call["status"] for call in first["calls"]], [call["status"] for call in second["calls"]])

    def test_slow_disk(self):
        self.expect("slow-disk", self.cycle("slow-disk"), 0)

    def test_narrow_link(self):
        self.expect("narrow-link", self.cycle("narrow-link"), 0)

    def test_bit_rot(self):
        self.expect("bit-rot", self.cycle("bit-rot"), 1, "the image differs from the data, first at byte 1000")

    def test_torn_write(self):
        self.expect("torn-write", self.cycle("torn-write"), 1,
                    f"the image differs from the data, first at byte {(1 << 20) + 8192}|first at byte 105")

    def test_lost_write(self):
        self.expect("lost-write", self.cycle("lost-write"), 1, "the image differs from the data")

    def test_short_reads(self):
        self.expect("short-reads", self.cycle("short-reads"), 0)

    def test_missing_entry(self):
        document = self.expect("missing-entry", self.command("missing-entry", "pools"), 0)
        self.assertEqual(self.pools(document), ["pool1"])

    def test_stale_list(self):
        self.expect("stale-list", self.cycle("stale-list"), 1, "is not among the images")

    def test_double_entry(self):
        document = self.expect("double-entry", self.command("double-entry", "pools"), 0)
        self.assertEqual(self.pools(document), ["pool2", "pool2", "pool1"])

    def test_other_order(self):
        document = self.expect("other-order", self.command("other-order", "pools"), 0)
        self.assertEqual(self.pools(document), ["pool1", "pool2"])

    def test_hung_server(self):
        with concurrent.futures.ThreadPoolExecutor() as other:
            run = other.submit(self.cycle, "hung-server")
            try:
                while self.status("hung-server").returncode != 0:
                    self.assertFalse(run.done(), "the rule never fired")
                self.assertFalse(run.done())
            finally:
                (self.path / "go").touch()
        self.expect("hung-server", run.result(), 0)

    def status(self, recipe):
        return subprocess.run([SIMHOST, "faults", "status", self.path / f"{recipe}.rules", "--expect-all"],
                              capture_output=True, text=True, timeout=60, check=False)

    def killed(self, recipe, by):
        self.assertEqual(self.cycle(recipe).returncode, -by)
        status = self.status(recipe)
        self.assertEqual(status.returncode, 0, status.stdout + status.stderr)

    def test_crash_in_close(self):
        self.killed("crash-in-close", signal.SIGSEGV)

    def test_power_cut(self):
        self.killed("power-cut", signal.SIGKILL)

    def test_wrong_size(self):
        document = self.expect("wrong-size", self.command("wrong-size", "lsu", "pool2"), 0)
        self.assertIn(str(1 << 40), json.dumps(document["result"]))

    def test_mounts_fail(self):
        self.expect("mounts-fail", self.cycle("mounts-fail"), 1, "stspi_mount_lsu answers STS_E_SYSTEM")

    def test_complaints(self):
        document = self.expect("complaints", self.cycle("complaints"), 0)
        self.assertIn("the array reports a degraded disk", json.dumps(document["calls"]))

    @staticmethod
    def pools(document):
        return [pool["name"] for pool in document["result"]["pools"]]


unittest.main()
