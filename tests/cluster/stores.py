"""Where the hosts of the test keep images, and how to look behind the library's back there."""
import os
import pathlib
import subprocess
import sys

from ceph_cluster import POOL
from s3_gateways import BUCKET, DATA_POOL

RACES = int(os.environ.get("STSPI_CLUSTER_RACES", "1000"))
MIXTURE_SECONDS = int(os.environ.get("STSPI_CLUSTER_SECONDS", "30"))
FAULTS = os.environ.get("STSPI_CLUSTER_FAULTS", "7")
SOURCE = pathlib.Path(__file__).parents[2]


class Pool:
    """A pool of the cluster, by its own protocol."""
    name = "pool"
    settings = {"STSIMAGE_RADOS_TIMEOUT": "10", "STSIMAGE_RADOS_LEASE": "15"}
    races = RACES

    def __init__(self, cluster):
        self.cluster = cluster

    def root(self, name):
        return f"rados:{POOL}/{name}"

    def rados(self, name, *arguments, **options):
        return subprocess.run(self.cluster.within("client1", "rados", "-c", self.cluster.configuration, "-p", POOL, "-N", f"stsimage/{name}",
                                                  *arguments), check=True, stdout=subprocess.PIPE, **options).stdout

    def parts(self, name):
        return sorted(key for key in self.rados(name, "ls").decode().split() if key.startswith("image/"))

    def read(self, name, key):
        return self.rados(name, "get", key, "-")

    def write(self, name, key, content):
        self.rados(name, "put", key, "-", input=content)

    lost_parts = ("image/" + "0123456789abcdef" * 2, "image/" + "fedcba9876543210" * 2 + ".0000000000000005")
    place_of_data = (1 << 20) + 3  # in the first part

    def start_fault_loop(self, world):
        """One operation of the cluster after the other fails, once and from then on, in a whole cycle of the library's life."""
        return world.start(f"{world.build}/bin/fault_loop", FAULTS, root="faults", STSIMAGE_RADOS_TIMEOUT="30")

    def set_full(self, is_full):
        self.cluster.ceph("osd", "pool", "set-quota", POOL, "max_objects", "1" if is_full else "0")


class Bucket:
    """A bucket, by two gateways before the same cluster."""
    name = "bucket"
    settings = {"STSIMAGE_S3_TIMEOUT": "10", "STSIMAGE_S3_LEASE": "10"}
    races = RACES // 5  # a round of it takes as much longer

    def __init__(self, gateways):
        self.gateways = gateways
        self.settings = {**self.settings, **gateways.environment()}

    def root(self, name):
        return f"s3://{BUCKET}/{name}"

    def parts(self, name):
        keys = self.gateways.ask("list", BUCKET, f"{name}/image/").decode().split()
        return sorted(key[len(name) + 1:] for key in keys)

    def read(self, name, key):
        return self.gateways.ask("get", BUCKET, f"{name}/{key}")

    def write(self, name, key, content):
        self.gateways.ask("put", BUCKET, f"{name}/{key}", input=content)

    lost_parts = tuple("image/" + digits * 2 + "/000000000005" for digits in ("0123456789abcdef", "fedcba9876543210"))
    place_of_data = 3

    def start_fault_loop(self, world):
        """The tests of trouble with a service that take the least time, with something before the gateway that makes it."""
        return world.start(sys.executable, f"{SOURCE}/tests/s3/store_test.py", *world.simhost, f"{world.build}/lib/libstspi_kelvarpool.so",
                           "-", str(SOURCE), "-k", "whoever_is_later", "-k", "never_answered", root="unused",
                           STSPI_S3_GATEWAY=self.gateways.endpoint)

    def set_full(self, is_full):
        # The gateways wait for room, and do late what nobody waits for any more.
        self.gateways.cluster.ceph("osd", "pool", "set-quota", DATA_POOL, "max_objects", "1" if is_full else "0")


STORES = (Pool, Bucket)
