#!/usr/bin/env python3
"""Images in a cluster that several hosts share: three nodes and two clients on this machine. Needs root.

Usage: cluster_test.py BUILD [NAME...]      BUILD as the preset "cluster" makes it; only the named parts
"""
import os
import signal
import subprocess
import sys
import time

from ceph_cluster import POOL, CephCluster

RACES = os.environ.get("STSPI_CLUSTER_RACES", "1000")
SETTINGS = {"STSIMAGE_RADOS_TIMEOUT": "10", "STSIMAGE_RADOS_LEASE": "15"}
PARTS = {}


def part(function):
    PARTS[function.__name__] = function
    return function


class World:
    def __init__(self, build, cluster):
        self.build = os.path.abspath(build)
        self.cluster = cluster
        self.networks = [cluster.namespace("client1"), cluster.namespace("client2")]

    def environment(self, **more):
        return {**os.environ, "CEPH_CONF": self.cluster.configuration, **SETTINGS, **more}

    def start(self, *command, root, client=1, **more):
        environment = self.environment(STSIMAGE_ROOT=f"rados:{POOL}/{root}", **more)
        return subprocess.Popen(self.cluster.within(f"client{client}", *command), env=environment, text=True, errors="replace",
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def hosts(self, *arguments, root):
        # They enter the networks themselves.
        environment = self.environment(STSIMAGE_ROOT=f"rados:{POOL}/{root}")
        return subprocess.Popen([f"{self.build}/bin/cluster_hosts", *arguments], env=environment, text=True, errors="replace",
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def finish(process, seconds=600):
    output, _ = process.communicate(timeout=seconds)
    print(output.rstrip(), flush=True)
    if process.returncode != 0:
        raise AssertionError(f"{' '.join(process.args)} ended with {process.returncode}")
    return output


@part
def library(world):
    """The tests of the library itself, as they run on directories."""
    environment = world.environment(STSIMAGE_TEST_STORE=f"rados:{POOL}", STSIMAGE_KILL_ROUNDS="6")
    done = subprocess.run(world.cluster.within("client1", f"{world.build}/bin/stsimage_test", "--gtest_brief=1"),
                          env=environment, text=True, errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    wanted = ("FAILED", "PASSED", "SKIPPED", "Failure")
    print("\n".join(line for line in done.stdout.splitlines() if any(word in line for word in wanted)))
    assert done.returncode == 0


@part
def races(world):
    """Exactly one of two hosts creates, exactly one deletes."""
    finish(world.hosts("race", RACES, *world.networks, root="races"))


@part
def mixture(world):
    finish(world.hosts("mixed", "30", "7", *world.networks, root="mixture"))


@part
def damaged_part(world):
    """A byte that the cluster gives back wrong is found, by the same checksums as in files."""
    ledger = f"{world.cluster.directory}/damaged.ledger"
    finish(world.hosts("keep", "2", "9", ledger, world.networks[0], root="damaged"))
    finish(world.hosts("verify", ledger, world.networks[1], root="damaged"))
    rados = ("rados", "-c", world.cluster.configuration, "-p", POOL, "-N", "stsimage/damaged")
    objects = subprocess.run(world.cluster.within("client1", *rados, "ls"), text=True, errors="replace", capture_output=True, check=True)
    first = sorted(name for name in objects.stdout.split() if name.startswith("image/"))[0]
    copy = f"{world.cluster.directory}/part"
    subprocess.run(world.cluster.within("client1", *rados, "get", first, copy), check=True)
    with open(copy, "r+b") as file:
        file.seek((1 << 20) + 3)  # in the first block of data
        byte = file.read(1)
        file.seek((1 << 20) + 3)
        file.write(bytes([byte[0] ^ 1]))
    subprocess.run(world.cluster.within("client1", *rados, "put", first, copy), check=True)
    checked = world.hosts("verify", ledger, world.networks[1], root="damaged")
    output, _ = checked.communicate(timeout=300)
    assert checked.returncode != 0 and output.count("does not match its checksum") >= 1, output


@part
def unanswered_closes(world):
    """A close whose answer is lost says so, what it says is true, and the name is free again."""
    program = f"{world.build}/bin/unanswered_close"
    cut_off = ("ip", "-n", world.cluster.namespace("switch"), "link", "set", "client1", "down")
    for how, cut, ends in (("settled", (), {"is there"}), ("done", cut_off, {"is there"}), ("lost", cut_off, {"is there", "is not there"})):
        place = {"root": f"unanswered-{how}", "STSIMAGE_RADOS_TIMEOUT": "3"}
        try:
            finish(world.start(program, how, *cut, **place))
        finally:
            world.cluster.set_link("client1", "up")
        end = finish(world.start(program, "look", client=2, **place)).strip()
        assert end in ends, f"{how}: {end}"
        finish(world.start(program, "answered", client=2, **place))
        assert finish(world.start(program, "look", **place)).strip() == "is there"


def keep_through(world, name, seconds, trouble):
    """One host writes while something happens; then the other looks."""
    ledger = f"{world.cluster.directory}/{name}.ledger"
    writer = world.hosts("keep", str(seconds), "3", ledger, world.networks[0], root=name)
    time.sleep(3)
    trouble()
    finish(writer)
    world.cluster.wait_until_clean()
    finish(world.hosts("verify", ledger, world.networks[1], root=name))


@part
def killed_osd(world):
    def trouble():
        world.cluster.kill_daemon("osd.1")
        time.sleep(8)
        world.cluster.start_osd(2)
    keep_through(world, "killed-osd", 25, trouble)


@part
def killed_monitor(world):
    def trouble():
        world.cluster.kill_daemon("mon.2")
        time.sleep(5)
        world.cluster.start_monitor(2)
    keep_through(world, "killed-monitor", 15, trouble)


@part
def cut_node(world):
    def trouble():
        world.cluster.set_link("node3", "down")
        time.sleep(30)
        world.cluster.set_link("node3", "up")
    keep_through(world, "cut-node", 45, trouble)


@part
def cut_client(world):
    """Calls end by their time-out; what was acknowledged is there, and what may be there was said to be unknown."""
    def trouble():
        world.cluster.set_link("client1", "down")
        time.sleep(30)
        world.cluster.set_link("client1", "up")
    keep_through(world, "cut-client", 50, trouble)


@part
def bad_link(world):
    """200 ms of delay and 2 % of loss."""
    client = world.cluster.namespace("client1")
    worse = ["tc", "-n", client, "qdisc", "add", "dev", "eth0", "root", "netem", "delay", "200ms", "loss", "2%"]
    as_before = ["tc", "-n", client, "qdisc", "delete", "dev", "eth0", "root"]
    if subprocess.run(worse, check=False).returncode != 0:
        return "SKIPPED, this kernel delays no links (netem)"
    subprocess.run(as_before, check=True)
    try:
        keep_through(world, "bad-link", 30, lambda: subprocess.run(worse, check=True))
    finally:
        subprocess.run(as_before, check=False)
    return "passed"


@part
def full_pool(world):
    """A pool that is full refuses at once, what was there stays, and images can be deleted."""
    def image(command, *arguments):
        finish(world.start(f"{world.build}/bin/simhost", "image", command, "--plugin", f"{world.build}/lib/libstspi_kelvarpool.so",
                           "-c", "examples", "-s", "Kelvarpool:mediaA", "--lsu", "pool1", *arguments, root="full-pool", client=2))

    image("put", "early", __file__)

    def trouble():
        world.cluster.ceph("osd", "pool", "set-quota", POOL, "max_objects", "1")
        time.sleep(15)
        image("rm", "early")
        world.cluster.ceph("osd", "pool", "set-quota", POOL, "max_objects", "0")
    keep_through(world, "full-pool", 40, trouble)


@part
def simhost_by_two_hosts(world):
    """One host puts an image through a plug-in, the other gets it."""
    data = os.urandom(5_000_001)
    for name in ("sent", "got"):
        with open(f"{world.cluster.directory}/{name}", "wb") as file:
            file.write(data if name == "sent" else b"")
    simhost = (f"{world.build}/bin/simhost",)
    server = ("--image-root", f"rados:{POOL}/simhost", "--plugin", f"{world.build}/lib/libstspi_kelvarpool.so", "-c", "examples", "-s", "Kelvarpool:mediaA", "--lsu", "pool1")
    finish(world.start(*simhost, "image", "put", *server, "daily", f"{world.cluster.directory}/sent",
                       root="elsewhere", client=1))
    finish(world.start(*simhost, "image", "get", *server, "--replace", "daily", f"{world.cluster.directory}/got",
                       root="elsewhere", client=2))
    with open(f"{world.cluster.directory}/got", "rb") as file:
        assert file.read() == data
    # From the cluster into a directory and, with that alone, into another place in the cluster; then nothing is left to do.
    place = server[2:]
    directory = f"{world.cluster.directory}/migrated"
    for begin, end, copied in ((f"rados:{POOL}/simhost", directory, 1), (directory, f"rados:{POOL}/back", 1),
                               (f"rados:{POOL}/simhost", f"rados:{POOL}/back", 0)):
        told = finish(world.start(*simhost, "image", "migrate", *place, begin, end, root="elsewhere"))
        assert f"{copied} copied" in told


def main():
    build, *chosen = sys.argv[1:]
    unknown = [name for name in chosen if name not in PARTS]
    if unknown:
        sys.exit(f"cluster_test.py: there is no part {' '.join(unknown)}: {' '.join(PARTS)}")
    failed = []
    with CephCluster() as cluster:
        world = World(build, cluster)
        print(f"the cluster runs: {cluster.configuration}", flush=True)
        for name in chosen or PARTS:
            begin = time.monotonic()
            try:
                ended = PARTS[name](world) or "passed"
            except Exception as trouble:  # whatever it is, the next part shall run
                ended = f"FAILED: {trouble}"
                failed.append(name)
            print(f"=== {name}: {ended} ({time.monotonic() - begin:.0f} s)", flush=True)
    sys.exit(f"failed: {' '.join(failed)}" if failed else 0)


if __name__ == "__main__":
    for ending in (signal.SIGTERM, signal.SIGINT):
        signal.signal(ending, lambda *_: sys.exit(130))
    main()
