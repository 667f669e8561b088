#!/usr/bin/env python3
"""Images in a directory that two hosts share by NFS 4.2: what that keeps, and what the image library makes of it.

Usage: user_mode_linux.sh nfs_test.py BUILD [NAME...]      BUILD as the preset "cluster" makes it; only the named parts
"""
import contextlib
import json
import os
import subprocess
import sys
import time

from nfs_server import LEASE, NfsMounts, NfsServer
from processes import check_names, finish, passes

RACES = os.environ.get("STSPI_NFS_RACES", "20")
SECONDS = os.environ.get("STSPI_NFS_SECONDS", "5")

# How clients cache, as the options of mount say it.
CACHES = {"as_mounted": "", "noac": "noac", "looked_up_anew": "lookupcache=none,actimeo=0"}


class World:
    def __init__(self, build, server):
        self.bin = os.path.abspath(f"{build}/bin")
        self.plugin = os.path.abspath(f"{build}/lib/libstspi_kelvarpool.so")
        self.server = server

    def start(self, program, *arguments, stdin=None):
        return subprocess.Popen([f"{self.bin}/{program}", *arguments], text=True, stdin=stdin, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)

    def image(self, command, host, *arguments, stdin=None):
        return self.start("simhost", "image", command, "--plugin", self.plugin, "--config-dir", "examples", "--server", "Kelvarpool:mediaA",
                          "--image-root", directory_of(host), "--lsu", "pool1", *arguments, stdin=stdin)


def directory_of(host):
    return host.partition(":")[2]


def share(world, options):
    with NfsMounts(world.server, options) as hosts:
        finish(world.start("stsimage-probe", *map(directory_of, hosts)))
        finish(world.start("cluster_hosts", "race", RACES, *hosts))
        finish(world.start("cluster_hosts", "mixed", SECONDS, "11", *hosts))


def server_away(world):
    """A host writes while the server is cut off and, later, started again; then the other looks. On a mount that waits and on one that does
    not, at the same time."""
    with contextlib.ExitStack() as mounted:
        writers = []
        for seed, options in (("3", "hard"), ("4", "softerr,timeo=20,retrans=1")):
            writer, reader = mounted.enter_context(NfsMounts(world.server, options))
            ledger = f"{world.server.directory}/{options}.ledger"
            writers.append((world.start("cluster_hosts", "keep", "40", seed, ledger, writer), ledger, reader))
        time.sleep(3)
        world.server.set_link("server", "down")
        time.sleep(20)
        world.server.set_link("server", "up")
        time.sleep(3)
        world.server.stop_threads()
        time.sleep(3)
        world.server.start_threads()
        for writer, ledger, reader in writers:
            finish(writer)
            finish(world.start("cluster_hosts", "verify", ledger, reader))


def dead_host(world):
    """The name that a host was writing when it was cut off is free when its lease has run out; that host's close then fails."""
    with NfsMounts(world.server, "") as (one, other):
        def put_by_other():
            late = world.image("put", other, "held", stdin=subprocess.DEVNULL)
            return late.communicate()[0], late.returncode

        with world.image("put", one, "held", stdin=subprocess.PIPE) as writer:
            writer.stdin.write("begun" * 2_000_000)
            writer.stdin.flush()
            told, status = put_by_other()
            assert status != 0 and "is being written already" in told, told
            world.server.set_link("client1", "down")
            try:
                deadline = time.monotonic() + 10 * LEASE
                while status != 0:
                    assert time.monotonic() < deadline, told
                    told, status = put_by_other()
            finally:
                world.server.set_link("client1", "up")
            told, _ = writer.communicate("ended")
            print(told.rstrip())
            assert writer.returncode != 0, "what had lost its lock was closed all the same"
        told, _ = world.image("stat", other, "--json", "held").communicate()
        assert json.loads(told)["result"]["image"]["size_bytes"] == 0, told


PARTS = {name: lambda world, options=options: share(world, options) for name, options in CACHES.items()}
PARTS |= {part.__name__: part for part in (server_away, dead_host)}


def main():
    with open("/proc/cpuinfo") as file:
        if "User Mode Linux" not in file.read():
            sys.exit("nfs_test.py: it sets up the NFS server of the kernel that it runs under: start it by user_mode_linux.sh")
    build, *chosen = sys.argv[1:]
    check_names(PARTS, chosen)
    server = NfsServer()
    server.start()
    world = World(build, server)
    sys.exit(0 if all([passes(PARTS, world, name) for name in chosen or PARTS]) else 1)


if __name__ == "__main__":
    main()
