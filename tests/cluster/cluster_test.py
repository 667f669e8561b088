#!/usr/bin/env python3
"""Images in a cluster that several hosts share: three nodes and two clients on this machine. Needs root.

Usage: cluster_test.py BUILD [NAME...]      BUILD as the preset "cluster" makes it; only the named parts

Parts that leave the cluster as it is run several at a time. Those that kill and cut have another cluster for themselves, at the same time.
"""
import contextlib
import signal
import sys
import time

import life_parts  # noqa: F401
import sharing_parts  # noqa: F401
import trouble_parts  # noqa: F401
from apart import Apart
from ceph_cluster import CephCluster
from processes import check_names, passes
from s3_gateways import S3Gateways
from world import PARTS, World

CALM_AT_ONCE = 3
CALM_PARTS = ("library", "races", "shared_directory", "faults", "left_behind", "mixture", "damaged_part", "stopped_reader",
              "killed_reader", "hostile_names", "ending_processes", "simhost_by_two_hosts")


def passes_as_guest(world, name):
    """The cluster's daemons are another process's; those of the part go with it."""
    world.cluster.daemons = {}
    try:
        return passes(PARTS, world, name)
    finally:
        for daemon in list(world.cluster.daemons):
            world.cluster.kill_daemon(daemon)


def all_pass_apart(world, names, at_once):
    waiting, ended = list(names), []
    with contextlib.ExitStack() as stack:
        running = []
        while waiting or running:
            while waiting and len(running) < at_once:
                name = waiting.pop(0)
                running.append(stack.enter_context(Apart(lambda name=name: passes_as_guest(world, name))))
            time.sleep(0.2)
            ends = [(part, part.ends(patience=False)) for part in running]
            running = [part for part, end in ends if end is None]
            ended += [end for _, end in ends if end is not None]
    return all(ended)


def all_pass(build, names, at_once):
    """In a cluster of their own."""
    with CephCluster() as cluster, S3Gateways(cluster) as gateways:
        world = World(build, cluster, gateways)
        print(f"the cluster runs: {cluster.configuration}", flush=True)
        if at_once == 1:
            return all([passes(PARTS, world, name) for name in names])
        return all_pass_apart(world, names, at_once)


def main():
    build, *chosen = sys.argv[1:]
    check_names(PARTS, chosen)
    calm = [name for name in CALM_PARTS if not chosen or name in chosen]
    troubles = [name for name in PARTS if name not in CALM_PARTS and (not chosen or name in chosen)]
    if not calm or not troubles:
        well = all_pass(build, calm or troubles, CALM_AT_ONCE if calm else 1)
    else:
        with Apart(lambda: all_pass(build, calm, CALM_AT_ONCE)) as calm_parts:
            well = all_pass(build, troubles, 1)
            well = calm_parts.ends() and well
    sys.exit(0 if well else 1)


if __name__ == "__main__":
    for ending in (signal.SIGTERM, signal.SIGINT):
        signal.signal(ending, lambda *_: sys.exit(130))
    main()
