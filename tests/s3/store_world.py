"""What the tests of the store in S3 share: simhost, and a service of its own for each test."""

import pathlib
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(sys.argv[4]) / "tests" / "e2e"))

from s3_service import GATEWAY, S3Service  # noqa: E402
from simhost_world import SimhostTest, main  # noqa: E402,F401

ROOT = "s3://images/test"
PLACE = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", ROOT)
UNKNOWN = "2061114"
NAMES = "test/names/pool1/"
# Long enough for any machine to tell in time that it lives; a gateway's objects cannot be made older but by waiting.
LEASE = 6 if GATEWAY else 60
TIMEOUT = 10
AGE_OF_LOOSE_PARTS = LEASE + 2 * TIMEOUT + 20
PATIENCE = {"STSIMAGE_S3_TIMEOUT": "90"}  # with a request that is answered late, not to be made twice


class S3Test(SimhostTest):
    options = ()
    scheme = "http"

    def setUp(self):
        super().setUp()
        self.service = S3Service(*self.options, scheme=self.scheme)
        self.addCleanup(self.service.stop)

    def until(self, condition, seconds=120):
        end = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), end, "it does not come to that")
            time.sleep(0.02)

    def start(self, command, *arguments, **environment):
        """A command that runs beside the test, and does not outlive it."""
        process = subprocess.Popen(self.command(command, *arguments), env=self.environment(**environment), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def environment(self, **changes):
        return super().environment(**self.service.environment(
            **{"STSIMAGE_S3_TIMEOUT": str(TIMEOUT), "STSIMAGE_S3_LEASE": str(LEASE), **changes}))

    def put(self, name, data, *arguments, **how):
        return self.simhost("image put", *arguments, *PLACE, name, data=data, **how)

    def get(self, name):
        return self.good("image get", *PLACE, name).stdout

    def names(self):
        listed = self.document(self.good("image ls", "--json", *PLACE))["result"]["images"]
        return [image["name"] for image in listed]
