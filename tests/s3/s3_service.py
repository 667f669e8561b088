"""A service for one test: the server of s3_server.py in a process of its own, and what is asked of it beside the requests.

With STSPI_S3_GATEWAY that stands in front of a service that is there, at this address. Tests then find no objects below "test/".
"""

import http.client
import json
import os
import pathlib
import subprocess
import sys
import time

import own_settings  # noqa: F401
from s3_client import S3Client

SERVER = pathlib.Path(__file__).with_name("s3_server.py")
GATEWAY = os.environ.get("STSPI_S3_GATEWAY")
BUCKET = "images"


class S3Service:
    def __init__(self, *options, scheme="http"):
        if GATEWAY:
            options = (*options, "--in-front-of", GATEWAY)
        self.process = subprocess.Popen([sys.executable, str(SERVER), *options], stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline())
        self.endpoint = f"{scheme}://127.0.0.1:{self.port}"
        if GATEWAY:
            self.gateway = S3Client(self.environment(AWS_ENDPOINT_URL=GATEWAY))
            self.change(dict.fromkeys(self.keys("test/")))

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        if GATEWAY:
            self.gateway.connection.close()

    def environment(self, **changes):
        """What a client needs."""
        return {"AWS_ENDPOINT_URL": self.endpoint, "AWS_REGION": "test-region-1", "AWS_ACCESS_KEY_ID": "TESTACCESSKEY",
                "AWS_SECRET_ACCESS_KEY": "test/secret+key", "no_proxy": "127.0.0.1", **changes}

    def ask(self, what, value=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        connection.request("GET" if value is None else "PUT", f"/-/{what}", body=json.dumps(value))
        answer = json.loads(connection.getresponse().read())
        connection.close()
        return answer

    def trouble(self, *wanted):
        self.ask("trouble", list(wanted))

    def unmet(self):
        """The trouble that no request has met yet."""
        return self.ask("unmet")

    def keys(self, beginning=""):
        if GATEWAY:
            return list(self.gateway.keys(BUCKET, beginning))
        return [key for key in self.ask("keys") if key.startswith(beginning)]

    def change(self, data):
        """Gives objects other data, of one byte a character; those with None are taken away."""
        if GATEWAY:
            for key, text in data.items():
                path = f"/{BUCKET}/{key}"
                self.gateway.done(*(("DELETE", path) if text is None else ("PUT", path, text.encode("latin-1"))))
            return
        self.ask("data", data)

    def read(self, key):
        if GATEWAY:
            return self.gateway.done("GET", f"/{BUCKET}/{key}")
        return self.ask("read", key).encode("latin-1")

    def age_of(self, key):
        """How many seconds ago it was written; not of a gateway's."""
        return self.ask("ages")[key]

    def age(self, seconds):
        """Makes all that is there older."""
        if GATEWAY:
            time.sleep(seconds)
            return
        self.ask("age", seconds)
