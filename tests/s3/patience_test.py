"""What single calls of the image library do while a service that speaks S3 says nothing.

Usage: patience_test.py IMAGE_CALLS [OPTION...]      the program of that name"""

import contextlib
import os
import pathlib
import subprocess
import sys
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "cluster"))

from image_calls import ImageCalls  # noqa: E402
from s3_service import S3Service  # noqa: E402

IMAGE_CALLS = sys.argv.pop(1)
ROOT = "s3://images/test"
NAMES = "test/names/pool1/"
UNKNOWN = 2061114


class Patience(unittest.TestCase):
    """What single calls do while the service says nothing."""
    TIMEOUT = 6

    @contextlib.contextmanager
    def calls(self):
        """Calls, and their service."""
        service = S3Service()
        environment = {**os.environ, **service.environment(STSIMAGE_ROOT=ROOT, STSIMAGE_S3_TIMEOUT=str(self.TIMEOUT))}
        calls = ImageCalls(subprocess.Popen([IMAGE_CALLS], env=environment, text=True, stdin=subprocess.PIPE,
                                            stdout=subprocess.PIPE))
        try:
            yield calls, service
        finally:
            calls.end()
            service.stop()

    def call_in_silence(self, before, wanted, *silence):
        """Makes calls, then one more while the service does not answer. Gives that one's status and seconds."""
        with self.calls() as (calls, service):
            for call in ("create old", "write 2000000", "close", *before):
                calls.good(call)
            service.trouble(*({"what": "hang", "times": 1000, **which} for which in silence or ({},)))
            status, seconds, text = calls.make(wanted)
            print(f"{wanted}: {status} after {seconds} s: {text}")
            return status, seconds

    def test_call_that_nothing_answers_ends_after_two_time_outs(self):
        begun = ("create new", "write 9000000")
        name = {"key": NAMES}
        silences = [((), "create new"), ((), "open old"), ((), "stat old"), ((), "list"), ((), "delete old"), (("open old",), "read 2000000"),
                    (begun, "write 90000000"), (begun, "close"),
                    # An image that gets its name, or loses it, and no look at the name is answered.
                    (("create old", "write 1"), "close", name), ((), "delete old", {**name, "skip": 1}),
                    # A name that was claimed, but cannot be given up any more.
                    ((), "create new", {"method": "PUT", "key": "/loose/"}, {**name, "skip": 2})]
        with ThreadPoolExecutor(len(silences)) as at_once:
            ends = list(at_once.map(lambda silence: self.call_in_silence(*silence), silences))
        for silence, (status, seconds) in zip(silences, ends):
            with self.subTest(silence=silence):
                self.assertEqual(status == UNKNOWN, name in silence or {**name, "skip": 1} in silence)
                self.assertNotEqual(status, 0)
                self.assertGreater(seconds, self.TIMEOUT / 2)
                self.assertLess(seconds, 2.75 * self.TIMEOUT)

    def test_removal_of_a_large_draft_ends_after_two_time_outs_too(self):
        with self.calls() as (calls, service):
            for call in ("create large", "write 300000000"):
                calls.good(call)
            # It is refused its name, and then none of its parts can be removed.
            service.trouble({"method": "PUT", "key": NAMES, "what": "403"}, {"method": "DELETE", "what": "hang", "times": 1000})
            status, seconds, text = calls.make("close")
            self.assertEqual(service.unmet(), [])
            self.assertNotEqual(status, 0)
            self.assertLess(seconds, 2.75 * self.TIMEOUT, text)

    def test_reader_goes_on_where_a_part_was_not_answered(self):
        with self.calls() as (calls, service):
            for call in ("create old", "write 60000000", "close", "open old", "read 1048576", "read 1048576"):
                calls.good(call)
            service.trouble({"what": "hang", "key": "/image/", "times": 1000})
            while calls.make("read 1048576")[0] == 0:
                pass
            service.trouble()
            time.sleep(self.TIMEOUT + 1)  # until what hangs yet has failed
            for _ in range(57):
                calls.good("read 1048576")


if __name__ == "__main__":
    unittest.main(verbosity=2)
