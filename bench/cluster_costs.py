#!/usr/bin/env python3
"""What large images in a Ceph cluster cost beside that cluster's own measuring program.

    tests/cluster/ceph_cluster.py run -- bench/cluster_costs.py BUILD [--mebibytes 1024] [--pairs 5]

BUILD is one of the preset "bench" with -DSTSPI_BUILD_RADOS=ON. Each pair writes and reads as many bytes by "rados bench", in objects of
4 MiB and 12 at once, as the library does, and by the library, as one image; the order changes from pair to pair.
"""
import argparse
import os
import re
import statistics
import subprocess

POOL = "images"


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


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build")
    arguments.add_argument("--mebibytes", type=int, default=1024)
    arguments.add_argument("--pairs", type=int, default=5)
    chosen = arguments.parse_args()
    program = os.path.abspath(f"{chosen.build}/bin/image_root_bench")
    compare(program, chosen.mebibytes, chosen.pairs)


if __name__ == "__main__":
    main()
