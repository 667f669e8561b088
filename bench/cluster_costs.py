#!/usr/bin/env python3
"""What large images in a small cluster cost beside a plain program that moves as many bytes.

    tests/cluster/ceph_cluster.py run -- bench/cluster_costs.py BUILD pool [--mebibytes 1024] [--pairs 5]
    tests/cluster/ceph_cluster.py run --gateways -- bench/cluster_costs.py BUILD bucket [--mebibytes 1024] [--pairs 5]

BUILD is one of the preset "bench" with -DSTSPI_BUILD_RADOS=ON -DSTSPI_BUILD_S3=ON. Each pair writes and reads by the plain program, in
objects of the size that the library has and as many at once, and by the library, as one image; the order changes from pair to pair. For a
pool the plain program is the cluster's own, "rados bench", for a bucket the client of tests/s3/s3_client.py in threads.
"""
import argparse
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tests" / "s3"))

from s3_client import make_requests  # noqa: E402


def run(*command, **environment):
    return subprocess.run(command, env=dict(os.environ, **environment), check=True, text=True, stdout=subprocess.PIPE).stdout


class Pool:
    name = "rados bench"
    environment = {"STSIMAGE_ROOT": "rados:images/bench"}

    @staticmethod
    def seconds_of_bench(*arguments):
        told = run("rados", "-p", "images", "bench", "600", *arguments)
        return float(re.search(r"Total time run:\s+([\d.]+)", told).group(1))

    def plain_seconds(self, mebibytes):
        write = self.seconds_of_bench("write", "-b", "4M", "-t", "12", "--max-objects", str(mebibytes // 4), "--no-cleanup")
        read = self.seconds_of_bench("seq", "-t", "12")
        run("rados", "-p", "images", "cleanup")
        return write, read


class Bucket:
    name = "a plain client"
    # What was deleted goes soon: the cluster is small.
    environment = {"STSIMAGE_ROOT": "s3://images/bench", "STSIMAGE_S3_TIMEOUT": "20", "STSIMAGE_S3_LEASE": "3"}
    mebibytes_of_object = 8
    threads = {"PUT": 6, "GET": 4, "DELETE": 6}

    def seconds_of_requests(self, method, paths, body_of=lambda number: b""):
        begun = time.monotonic()
        make_requests([lambda client, number=number, path=path: client.done(method, path, body_of(number))
                       for number, path in enumerate(paths)], self.threads[method])
        return time.monotonic() - begun

    def plain_seconds(self, mebibytes):
        paths = [f"/images/plain/{number}" for number in range(mebibytes // self.mebibytes_of_object)]
        data = os.urandom((self.mebibytes_of_object << 20) - 8)
        write = self.seconds_of_requests("PUT", paths, lambda number: number.to_bytes(8, "little") + data)
        read = self.seconds_of_requests("GET", paths)
        self.seconds_of_requests("DELETE", paths)
        return write, read


def image_seconds(program, store, mebibytes):
    def measured(*words):
        return float(run(program, *words, **store.environment).split()[0])
    write = measured("write", "image", str(mebibytes))
    read = measured("read", "image")
    measured("remove", "image")
    return write, read


def compare(program, store, mebibytes, pairs):
    ratios = {"write": [], "read": []}
    for pair in range(pairs + 1):
        kinds = [lambda: store.plain_seconds(mebibytes), lambda: image_seconds(program, store, mebibytes)]
        first, second = (0, 1) if pair % 2 == 0 else (1, 0)
        times = {first: kinds[first](), second: kinds[second]()}
        told = []
        for what, plain, image in zip(ratios, times[0], times[1]):
            told.append(f"{what}: {mebibytes / plain:.0f} MiB/s by {store.name}, {mebibytes / image:.0f} by the library")
            if pair > 0:  # the first is to warm up
                ratios[what].append(plain / image)
        print("; ".join(told), flush=True)
    for what, found in ratios.items():
        print(f"{what}: {statistics.median(found):.2f} times the speed of {store.name} ({min(found):.2f} to {max(found):.2f})", flush=True)


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build")
    arguments.add_argument("store", choices=["pool", "bucket"])
    arguments.add_argument("--mebibytes", type=int, default=1024)
    arguments.add_argument("--pairs", type=int, default=5)
    chosen = arguments.parse_args()
    program = os.path.abspath(f"{chosen.build}/bin/image_root_bench")
    compare(program, {"pool": Pool, "bucket": Bucket}[chosen.store](), chosen.mebibytes, chosen.pairs)


if __name__ == "__main__":
    main()
