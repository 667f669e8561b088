"""Processes that end in the middle of calls of the image library, on directories and with a service that speaks S3.

Usage: process_end_test.py IMAGE_CALLS UNLOADING LIBRARY [OPTION...]      the programs of these names, and the image library"""

import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "cluster"))

from image_calls import ImageCalls  # noqa: E402
from s3_service import S3Service  # noqa: E402

IMAGE_CALLS, UNLOADING, LIBRARY = (sys.argv.pop(1) for _ in range(3))
TIMES = 24


class Ending:
    """Classes of tests have environment()."""

    def start(self):
        return subprocess.Popen([IMAGE_CALLS], env=self.environment(), text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def test_process_ends_well_that_has_unloaded_the_library(self):
        for _ in range(4):
            done = subprocess.run([UNLOADING, LIBRARY], env=self.environment(), capture_output=True, timeout=60, check=False)
            self.assertEqual(done.returncode, 0, done)

    def test_library_is_loaded_by_a_relative_path_and_the_process_goes_elsewhere(self):
        directory, name = os.path.split(LIBRARY)
        done = subprocess.run([UNLOADING, f"./{name}", "/"], cwd=directory, env=self.environment(), capture_output=True, timeout=60,
                              check=False)
        self.assertEqual(done.returncode, 0, done)

    def begin(self, *before):
        calls = ImageCalls(self.start())
        for call in before:
            calls.good(call)
        return calls

    def test_process_ends_well_amid_calls_of_its_threads(self):
        self.begin("create name", "write 9000000", "close").end()
        with ThreadPoolExecutor(4) as at_once:
            list(at_once.map(lambda time: self.begin("open name", "read 1000000").exit_amid(time % 4 * 2), range(TIMES)))

    def test_what_was_being_written_is_given_up(self):
        self.begin("create name", "write 9000000").exit_amid(0)
        after = self.begin("create name", "write 1", "close", "list", "stat name")
        after.end()


class OnDirectories(Ending, unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = pathlib.Path(directory.name)

    def environment(self):
        return {**os.environ, "STSIMAGE_ROOT": str(self.root)}

    def test_nothing_stays_of_what_was_being_written(self):
        self.begin("create name", "write 9000000").exit_amid(0)
        self.assertEqual(list((self.root / "pool1").glob(".stsimg-unfinished/*")), [])


class InS3(Ending, unittest.TestCase):
    def setUp(self):
        self.service = S3Service()
        self.addCleanup(self.service.stop)

    def environment(self):
        return {**os.environ, **self.service.environment(STSIMAGE_ROOT="s3://images/test", STSIMAGE_S3_TIMEOUT="90")}

    def test_nothing_stays_of_what_was_being_written(self):
        self.begin("create name", "write 9000000").exit_amid(0)
        self.assertEqual(self.service.keys("test/image/"), [])

    def test_what_the_service_does_not_answer_is_waited_for_a_few_seconds(self):
        self.begin("create old", "write 9000000", "close").end()
        for before, silent, *afterwards in ((("create new",), "/image/", "write 9000000"), (("create new", "write 9000000"), "/names/"),
                                            (("open old", "read 1"), "/image/")):
            with self.subTest(before=before, silent=silent):
                calls = self.begin(*before)
                self.service.trouble({"key": silent, "what": "hang", "times": 1000})
                for call in afterwards:
                    calls.good(call)
                begun = time.monotonic()
                calls.exit_amid(2)
                self.assertLess(time.monotonic() - begun, 45)  # it is five and some, and a time-out ninety
                self.service.trouble()
                self.service.age(3600)


if __name__ == "__main__":
    unittest.main(verbosity=2)
