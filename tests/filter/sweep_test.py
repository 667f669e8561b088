"""simhost sweep: the backup cycle stands the failure of each of its calls, and what goes wrong is seen.

usage: sweep_test.py SIMHOST SOURCE
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import unittest

SIMHOST, SOURCE = sys.argv.pop(1), pathlib.Path(sys.argv.pop(1))


class Sweep(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.path = pathlib.Path(directory.name)
        self.config = self.path / "config"
        self.config.mkdir()
        self.storage = self.path / "storage"
        self.storage.mkdir()
        for example in (SOURCE / "examples").glob("*.sim"):
            (self.config / example.name).write_text(example.read_text().replace("/tmp/", f"{self.storage}/"))
        self.temporary = self.path / "temporary"  # told after what stays in the storage
        self.temporary.mkdir()
        (self.path / "data").write_bytes(os.urandom(3000))

    def sweep(self, server, *options, statuses="STS_E_SYSTEM"):
        """The outcome of each run, by number of the call, entry point and place, and the status."""
        run = subprocess.run(
            [SIMHOST, "sweep", "--json", "--faults-only", statuses, "--", "run", "--config-dir", self.config, "--server",
             server, "--image-root", self.path / "images", self.path / "data", *options],
            capture_output=True, text=True, timeout=300, check=False, env=dict(os.environ, TMPDIR=self.temporary))
        result = json.loads(run.stdout)["result"]
        outcomes = {(row["call"], row["entry_point"], row["place"]): row["outcome"] for row in result["runs"]}
        self.assertEqual(len(outcomes), 2 * result["calls"])
        return outcomes, run.returncode

    def files(self):
        return [path for place in ("storage", "images", "temporary") for path in (self.path / place).rglob("*") if path.is_file()]

    def test_each_failure_of_the_cycle_is_told_and_nothing_stays(self):
        for server, mounts in (("Kelvarpool:mediaA", True), ("copan:arr1", False)):
            with self.subTest(server=server):
                outcomes, status = self.sweep(server)
                self.assertEqual({key: outcome for key, outcome in outcomes.items() if outcome != "told well"}, {})
                self.assertEqual(status, 0)
                self.assertEqual(mounts, any(name == "stspi_mount_lsu" for _, name, _ in outcomes))
                self.assertEqual(self.files(), [])

    def test_an_image_in_the_servers_storage_is_seen_and_left_to_its_owner(self):
        outcomes, status = self.sweep("copan:arr1", "--keep")
        self.assertEqual(status, 1)
        left = [outcome for (_, name, _), outcome in outcomes.items() if name == "stspi_open_image"]
        self.assertEqual(len(left), 2)
        for outcome in left:
            path = outcome.removeprefix("LEFT BEHIND: ")
            self.assertIn(f"{self.storage}/copan-arr1/vol1/simhost-", path)
            self.assertTrue(pathlib.Path(path).exists())

    def test_images_that_are_in_no_directory_are_refused(self):
        run = subprocess.run([SIMHOST, "sweep", "--", "run", "--config-dir", self.config, "--server", "copan:arr1"],
                             capture_output=True, text=True, timeout=60, check=False, input="x",
                             env=dict(os.environ, TMPDIR=self.temporary, STSIMAGE_ROOT="rados:pool/prefix"))
        self.assertEqual(run.returncode, 2)
        self.assertIn("rados:pool/prefix", run.stderr)

    def test_images_of_others_stay_as_they_are(self):
        images = self.path / "images"
        (images / "elsewhere").mkdir(parents=True)
        others = {images / "elsewhere" / "foreign": b"another's", images / "notes.txt": b"mine"}
        for path, content in others.items():
            path.write_bytes(content)
        inodes = {path: path.stat().st_ino for path in others}
        ended = threading.Event()

        def add_images():
            while not ended.wait(0.02):
                path = images / "elsewhere" / f"made-meanwhile-{len(others)}"
                path.write_bytes(b"mine, too")
                others[path] = b"mine, too"

        other = threading.Thread(target=add_images)
        other.start()
        try:
            outcomes, status = self.sweep("Kelvarpool:mediaA", "--image", "nightly", "--keep")
        finally:
            ended.set()
            other.join()
        self.assertGreater(len(others), 10)
        self.assertEqual(status, 1)
        left = {outcome for outcome in outcomes.values() if outcome.startswith("LEFT BEHIND: ")}
        self.assertTrue(left)
        for outcome in left:
            self.assertRegex(outcome, "^LEFT BEHIND: (" + str(images) + "/|.*/tmp/)")
        self.assertEqual({path: path.read_bytes() for path in images.rglob("*") if path.is_file()}, others)
        self.assertEqual({path: path.stat().st_ino for path in inodes}, inodes)

    def test_calls_that_images_of_earlier_runs_move_have_their_own_names(self):
        outcomes, _ = self.sweep("copan:arr1", "--keep")
        self.assertEqual({outcome for outcome in outcomes.values() if outcome.startswith("TOLD BADLY")}, set())

    def test_a_call_that_simhost_gives_up_has_its_name(self):
        outcomes, _ = self.sweep("copan:arr1", statuses="0")
        writes = [outcome for (_, name, place), outcome in outcomes.items()
                  if name == "stspi_write_image" and place == "before"]
        self.assertEqual(writes, ["told well"])


unittest.main()
