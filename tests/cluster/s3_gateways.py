"""Two gateways that speak S3 in front of a small cluster, each on a node of its own.

All hosts name them by one address, as they would a balancer of loads: the first client reaches by it the gateway of the first node, the second
that of the second.
"""
import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "s3"))

import own_settings  # noqa: E402,F401

BUCKET, DATA_POOL = "images", "default.rgw.buckets.data"
ACCESS_KEY, SECRET_KEY, REGION = "TESTACCESSKEY", "test/secret+key", "test-region-1"  # as of tests/s3/s3_server.py
ADDRESS, PORT = "10.77.1.1", 7480
CLIENTS = (1, 2)
CLIENT = pathlib.Path(__file__).parents[1] / "s3" / "s3_client.py"
SETTINGS = f"""
rgw frontends = beast port={PORT}
rgw thread pool size = 32
rgw rados pool pg num min = 1
rgw run sync thread = false
rgw enable lc threads = false
rgw dynamic resharding = false
rgw gc obj min wait = 30
rgw gc processor period = 30
rgw gc processor max time = 30
"""


class S3Gateways:
    """In use as a context, within that of the cluster."""
    endpoint = f"http://{ADDRESS}:{PORT}"

    def __init__(self, cluster):
        self.cluster = cluster
        self.nodes = cluster.nodes[:len(CLIENTS)]

    def node_of(self, client):
        """The node whose gateway the client reaches."""
        return self.nodes[(client - 1) % len(self.nodes)]

    def name(self, node):
        return f"client.gateway{node}"

    def run(self, node):
        self.cluster.start_daemon(self.name(node), node, "radosgw", "-n", self.name(node))

    def kill(self, node):
        self.cluster.kill_daemon(self.name(node))

    def environment(self):
        """What a program in a client's network needs."""
        return {"AWS_ENDPOINT_URL": self.endpoint, "AWS_REGION": REGION, "AWS_ACCESS_KEY_ID": ACCESS_KEY,
                "AWS_SECRET_ACCESS_KEY": SECRET_KEY, "no_proxy": ADDRESS}

    def ask(self, *words, client=1, **options):
        """What the plain client gives in the network of a host."""
        return subprocess.run(self.cluster.within(f"client{client}", str(CLIENT), *words), stdout=subprocess.PIPE, check=True,
                              env={**os.environ, **self.environment()}, **options).stdout

    def is_answered(self, client):
        try:
            self.ask("make-bucket", BUCKET, client=client, stderr=subprocess.DEVNULL)
        except subprocess.CalledProcessError:
            return False
        return True

    def make_address(self):
        for node in self.nodes:
            self.cluster.ip(f"node{node}", "address", "add", f"{ADDRESS}/32", "dev", "lo")
        for client in CLIENTS:
            self.cluster.ip(f"client{client}", "route", "add", ADDRESS, "via", f"10.77.0.{self.node_of(client)}")

    def configure(self):
        with open(self.cluster.configuration, "a") as out:
            for node in self.nodes:
                out.write(f"[{self.name(node)}]\nrgw data = {self.cluster.directory}\n{SETTINGS}")
        self.cluster.make_pool(DATA_POOL, 16, "rgw")

    def __enter__(self):
        self.make_address()
        self.configure()
        self.cluster.run_in_client("radosgw-admin", "user", "create", "--uid", "stsimage", "--display-name", "stsimage",
                                   "--access-key", ACCESS_KEY, "--secret-key", SECRET_KEY)
        for node in self.nodes:
            self.run(node)
        for client in CLIENTS:
            self.cluster.wait_for(f"the gateway of client {client}", lambda client=client: self.is_answered(client))
        self.cluster.wait_until_clean()
        return self

    def __exit__(self, *_):
        for node in self.nodes:
            if self.name(node) in self.cluster.daemons:
                self.kill(node)
