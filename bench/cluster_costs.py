#!/usr/bin/env python3
"""What images in a Ceph cluster cost beside that cluster's own measuring program, and what long lists of them cost.

    tests/cluster/ceph_cluster.py run -- bench/cluster_costs.py BUILD [--mebibytes 1024] [--pairs 5] [--names 1000000]

BUILD is one of the preset "bench" with -DSTSPI_BUILD_RADOS=ON. Each pair writes and reads as many bytes by "rados bench", in objects of
4 MiB and 12 at once, as the library does, and then by the library, as one image; the order changes from pair to pair. Names
for lists are put into the library's tables straight away: making a million images would measure something else.
"""
import argparse
import os
import re
import statistics
import subprocess

import rados

POOL = "images"
SHARDS = 32


def run(*command, **environment):
    return subprocess.run(command, env=dict(os.environ, **environment), check=True, text=True, stdout=subprocess.PIPE).stdout


def seconds_of_bench(*arguments):
    told = run("rados", "-p", POOL, "bench", "600", *arguments)
    return float(re.search(r"Total time run:\s+([\d.]+)", told).group(1))


def bench_seconds(objects):
    write = seconds_of_bench("write", "-b", "4M", "-t", "12", "--max-objects", str(objects), "--no-cleanup")
    read = seconds_of_bench("seq", "-t", "12")
    run("rados", "-p", POOL, "cleanup")
    return write, read


def image_seconds(program, mebibytes):
    def measured(*words):
        return float(run(program, *words, STSIMAGE_ROOT=f"rados:{POOL}/bench").split()[0])
    write = measured("write", "image", str(mebibytes))
    read = measured("read", "image")
    measured("remove", "image")
    return write, read


def compare(program, mebibytes, pairs):
    ratios = {"write": [], "read": []}
    for pair in range(pairs + 1):
        kinds = [lambda: bench_seconds(mebibytes // 4), lambda: image_seconds(program, mebibytes)]
        first, second = (0, 1) if pair % 2 == 0 else (1, 0)
        times = {first: kinds[first](), second: kinds[second]()}
        told = []
        for what, bench, image in zip(ratios, times[0], times[1]):
            told.append(f"{what}: {mebibytes / bench:.0f} MiB/s by rados bench, {mebibytes / image:.0f} by the library")
            if pair > 0:  # the first is to warm up
                ratios[what].append(bench / image)
        print("; ".join(told), flush=True)
    for what, found in ratios.items():
        print(f"{what}: {statistics.median(found):.2f} times the speed of rados bench ({min(found):.2f} to {max(found):.2f})", flush=True)


def shard_of(name):
    state = 2166136261
    for byte in name.encode():
        state = (state ^ byte) * 16777619 & 0xffffffff
    return state % SHARDS


def add_names(context, first, last):
    """Names of images that nobody opens."""
    waiting = {shard: [] for shard in range(SHARDS)}

    def send(shard):
        if waiting[shard]:
            with rados.WriteOpCtx() as operation:
                context.set_omap(operation, tuple(f"i:{name}" for name in waiting[shard]),
                                 tuple(b"0123456789abcdef0123456789abcdef 4096" for _ in waiting[shard]))
                context.operate_write_op(operation, f"names/bench:{shard:02x}")
        waiting[shard] = []

    for number in range(first, last):
        name = f"image {number}"
        shard = shard_of(name)
        waiting[shard].append(name)
        if len(waiting[shard]) == 2000:
            send(shard)
    for shard in range(SHARDS):
        send(shard)


def list_names(program, most):
    with rados.Rados(conffile=os.environ["CEPH_CONF"]) as cluster, cluster.open_ioctx(POOL) as context:
        context.set_namespace("stsimage/names")
        context.write_full("lsu/bench", b"")
        there, wanted = 0, 1000
        while wanted <= most:
            add_names(context, there, wanted)
            there, wanted = wanted, wanted * 10
            found = [run(program, "list", STSIMAGE_ROOT=f"rados:{POOL}/names").split() for _ in range(3)]
            assert all(int(names) == there for _, names in found), found
            seconds = statistics.median(float(seconds) for seconds, _ in found)
            print(f"{there} names listed in {seconds:.3f} s, {seconds / there * 1e6:.2f} microseconds each", flush=True)


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build")
    arguments.add_argument("--mebibytes", type=int, default=1024)
    arguments.add_argument("--pairs", type=int, default=5)
    arguments.add_argument("--names", type=int, default=1_000_000)
    chosen = arguments.parse_args()
    program = os.path.abspath(f"{chosen.build}/bin/image_root_bench")
    if chosen.names > 0:
        list_names(program, chosen.names)
    if chosen.pairs > 0:
        compare(program, chosen.mebibytes, chosen.pairs)


if __name__ == "__main__":
    main()
