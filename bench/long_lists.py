#!/usr/bin/env python3
"""What the list of an LSU's images costs, from a thousand names on to a million: in a directory, in a pool of a Ceph cluster, or in a bucket.

    bench/long_lists.py BUILD ROOT [--names 1000000]
    tests/cluster/ceph_cluster.py run -- bench/long_lists.py BUILD rados:images/names
    tests/cluster/ceph_cluster.py run --gateways -- bench/long_lists.py BUILD s3://images/names --names 100000

BUILD is one of the preset "bench", for a pool with -DSTSPI_BUILD_RADOS=ON, for a bucket with -DSTSPI_BUILD_S3=ON; ROOT is empty yet. Names are put where the library
looks for them, without images behind them: lists read none, and making a million would measure something else.
"""
import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tests" / "s3"))

from s3_client import make_requests  # noqa: E402

SHARDS = 32


class Directory:
    def __init__(self, root):
        self.lsu = pathlib.Path(root) / "bench"
        self.lsu.mkdir(parents=True)

    def add(self, names):
        for name in names:
            (self.lsu / f"{name}.stsimg").touch()


def shard_of(name):
    state = 2166136261
    for byte in name.encode():
        state = (state ^ byte) * 16777619 & 0xffffffff
    return state % SHARDS


class Pool:
    def __init__(self, location):
        import rados  # of Debian's own Python, where a cluster's programs are
        pool, _, prefix = location.partition("/")
        self.rados = rados
        self.cluster = rados.Rados(conffile=os.environ["CEPH_CONF"])
        self.cluster.connect()
        self.context = self.cluster.open_ioctx(pool)
        self.context.set_namespace(f"stsimage/{prefix}")
        self.context.write_full("lsu/bench", b"")

    def add(self, names):
        waiting = {shard: [] for shard in range(SHARDS)}
        for name in names:
            shard = waiting[shard_of(name)]
            shard.append(f"i:{name}")
            if len(shard) == 2000:
                self.send(waiting)
        self.send(waiting)

    def send(self, waiting):
        for shard, keys in waiting.items():
            if keys:
                with self.rados.WriteOpCtx() as operation:
                    values = (b"0123456789abcdef0123456789abcdef 4096",) * len(keys)
                    self.context.set_omap(operation, tuple(keys), values)
                    self.context.operate_write_op(operation, f"names/bench:{shard:02x}")
                keys.clear()


class Bucket:
    requests_at_once = 16
    record = b" " * 512  # those that are shorter are of deleted images

    def __init__(self, location):
        self.place = f"/{location}"
        self.put([(f"{self.place}/lsu/bench", b"bench")])

    def add(self, names):
        self.put([(f"{self.place}/names/bench/{urllib.parse.quote(name)}", self.record) for name in names])

    def put(self, objects):
        make_requests([lambda client, path=path, body=body: client.done("PUT", path, body) for path, body in objects],
                      self.requests_at_once)


def store_at(root):
    scheme, _, location = root.partition(":")
    if scheme == "rados":
        return Pool(location)
    if scheme == "s3":
        return Bucket(location[2:])
    return Directory(root)


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build")
    arguments.add_argument("root")
    arguments.add_argument("--names", type=int, default=1_000_000)
    chosen = arguments.parse_args()
    store = store_at(chosen.root)
    there, wanted = 0, 1000
    while wanted <= chosen.names:
        store.add(f"image {number}" for number in range(there, wanted))
        there, wanted = wanted, wanted * 10
        found = [subprocess.run([f"{chosen.build}/bin/image_root_bench", "list"], env=dict(os.environ, STSIMAGE_ROOT=chosen.root),
                                check=True, text=True, stdout=subprocess.PIPE).stdout.split() for _ in range(5)]
        assert all(int(names) == there for _, names in found), found
        seconds = statistics.median(float(seconds) for seconds, _ in found)
        print(f"{there} names in {seconds:.3f} s, {seconds / there * 1e6:.2f} microseconds each", flush=True)


if __name__ == "__main__":
    main()
