"""A service for one test: the server of s3_server.py in a process of its own, and what is asked of it beside the requests."""

import http.client
import json
import pathlib
import subprocess
import sys

SERVER = pathlib.Path(__file__).with_name("s3_server.py")


class S3Service:
    def __init__(self, *options, scheme="http"):
        self.process = subprocess.Popen([sys.executable, str(SERVER), *options], stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline())
        self.endpoint = f"{scheme}://127.0.0.1:{self.port}"

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

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
        return [key for key in self.ask("keys") if key.startswith(beginning)]

    def change(self, data):
        """Gives objects other data, of one byte a character; those with None are taken away."""
        self.ask("data", data)

    def read(self, key):
        return self.ask("read", key).encode("latin-1")

    def age(self, seconds):
        """Makes all that is there older."""
        self.ask("age", seconds)
