#!/usr/bin/env python3
"""Images in a cluster that several hosts share: three nodes and two clients on this machine. Needs root.

Usage: cluster_test.py BUILD [NAME...]      BUILD as the preset "cluster" makes it; only the named parts
"""
import contextlib
import json
import os
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor

from ceph_cluster import POOL, CephCluster
from ceph_file_system import CephFileSystem

RACES = os.environ.get("STSPI_CLUSTER_RACES", "1000")
FAULTS = os.environ.get("STSPI_CLUSTER_FAULTS", "3")
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
        self.simhost = (f"{self.build}/bin/simhost",)
        self.plugin = ("--plugin", f"{self.build}/lib/libstspi_kelvarpool.so", "--config-dir", "examples")
        self.place = (*self.plugin, "--server", "Kelvarpool:mediaA", "--lsu", "pool1")

    def environment(self, **more):
        return {**os.environ, "CEPH_CONF": self.cluster.configuration, **SETTINGS, **more}

    def start(self, *command, root, client=1, stdin=None, **more):
        environment = self.environment(STSIMAGE_ROOT=f"rados:{POOL}/{root}", **more)
        return subprocess.Popen(self.cluster.within(f"client{client}", *command), env=environment, text=True, errors="replace",
                                stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def rados(self, root, *arguments):
        return self.cluster.within("client1", "rados", "-c", self.cluster.configuration, "-p", POOL, "-N", f"stsimage/{root}", *arguments)

    def put_object(self, root, name, content):
        subprocess.run(self.rados(root, "put", name, "-"), input=content, text=True, check=True)

    def hosts(self, *arguments, root):
        # They enter the networks themselves.
        environment = self.environment(STSIMAGE_ROOT=f"rados:{POOL}/{root}")
        return subprocess.Popen([f"{self.build}/bin/cluster_hosts", *arguments], env=environment, text=True, errors="replace",
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def finish(process, seconds=600):
    try:
        output, _ = process.communicate(timeout=seconds)
    except BaseException:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)  # hosts are a group of their own
        process.kill()
        raise
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
def faults(world):
    """One operation of the cluster after the other fails, once and from then on, in a whole cycle of the library's life."""
    finish(world.start(f"{world.build}/bin/fault_loop", FAULTS, root="faults", STSIMAGE_RADOS_TIMEOUT="30"), 900)


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
    objects = subprocess.run(world.rados("damaged", "ls"), text=True, errors="replace", capture_output=True, check=True)
    first = sorted(name for name in objects.stdout.split() if name.startswith("image/"))[0]
    copy = f"{world.cluster.directory}/part"
    subprocess.run(world.rados("damaged", "get", first, copy), check=True)
    with open(copy, "r+b") as file:
        file.seek((1 << 20) + 3)  # in the first block of data
        byte = file.read(1)
        file.seek((1 << 20) + 3)
        file.write(bytes([byte[0] ^ 1]))
    subprocess.run(world.rados("damaged", "put", first, copy), check=True)
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


# What is done to the cluster while one host writes: for how long that writes, the trouble, how long it lasts, its end.
TROUBLES = {
    "killed_osd": (25, lambda cluster: cluster.kill_daemon("osd.1"), 8, lambda cluster: cluster.start_osd(2)),
    "killed_monitor": (15, lambda cluster: cluster.kill_daemon("mon.2"), 5, lambda cluster: cluster.start_monitor(2)),
    "cut_node": (45, lambda cluster: cluster.set_link("node3", "down"), 30, lambda cluster: cluster.set_link("node3", "up")),
    # Calls end by their time-out; what was acknowledged is there, and what may be there was said to be unknown.
    "cut_client": (50, lambda cluster: cluster.set_link("client1", "down"), 30, lambda cluster: cluster.set_link("client1", "up")),
}


def part_of_trouble(name, seconds, begin, lasting, end):
    def trouble_of(cluster):
        begin(cluster)
        time.sleep(lasting)
        end(cluster)
    PARTS[name] = lambda world: keep_through(world, name, seconds, lambda: trouble_of(world.cluster))


for trouble_name, trouble_row in TROUBLES.items():
    part_of_trouble(trouble_name, *trouble_row)


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
        finish(world.start(*world.simhost, "image", command, *world.place, *arguments, root="full-pool", client=2))

    image("put", "early", __file__)

    def trouble():
        world.cluster.ceph("osd", "pool", "set-quota", POOL, "max_objects", "1")
        time.sleep(15)
        image("rm", "early")
        world.cluster.ceph("osd", "pool", "set-quota", POOL, "max_objects", "0")
    keep_through(world, "full-pool", 40, trouble)


@part
def left_behind(world):
    """What a killed writer left, and parts in nobody's notes, are found and removed by the other host, beside a live writer."""
    root = "left-behind"

    def result_of(client, command, *arguments):
        done = world.start(*world.simhost, "image", command, "--json", *arguments, root=root, client=client)
        told, _ = done.communicate(timeout=300)
        assert done.returncode == 0, told
        return json.loads(told)["result"]

    def fsck(client, *arguments):
        found = result_of(client, "fsck", *world.plugin, *arguments)["leftovers"]
        return {leftover["name"] or leftover["kind"]: leftover["state"] for leftover in found}

    def begin_writer(name):
        writer = world.start(*world.simhost, "image", "put", *world.place, name, root=root, client=1, stdin=subprocess.PIPE)
        writer.stdin.write("begun" * 2_000_000)
        writer.stdin.flush()
        while name not in fsck(2):
            assert writer.poll() is None
        return writer

    live, dead = begin_writer("live"), begin_writer("dead")
    dead.kill()
    dead.wait()
    world.put_object(root, "image/" + "0123456789abcdef" * 2, "late")
    world.put_object(root, "image/" + "fedcba9876543210" * 2 + ".0000000000000005", "late")
    deadline = time.monotonic() + 120
    while (found := fsck(2)) != {"live": "in use", "dead": "not needed", "orphan": "not needed"}:
        assert time.monotonic() < deadline, found
    with ThreadPoolExecutor(2) as both:
        for states in both.map(lambda client: fsck(client, "--remove"), (1, 2)):
            assert states.pop("live") == "in use" and set(states.values()) <= {"removed"}, states
    assert fsck(2) == {"live": "in use"}, fsck(2)
    live.stdin.write("ended")
    live.stdin.close()
    assert live.wait(60) == 0
    assert result_of(2, "stat", *world.place, "live")["image"]["size_bytes"] == 10_000_005
    assert fsck(1, "--verify") == {}


@part
def shared_directory(world):
    """CephFS by two mounts: what it keeps, and what the library makes of it."""
    with CephFileSystem(world.cluster) as mounts:
        finish(subprocess.Popen([f"{world.build}/bin/stsimage-probe", *mounts], text=True, stdout=subprocess.PIPE))
        hosts = [f"{network}:{mount}" for network, mount in zip(world.networks, mounts)]
        finish(world.hosts("race", str(int(RACES) // 20), *hosts, root="unused"))
        finish(world.hosts("mixed", "30", "11", *hosts, root="unused"))


@part
def simhost_by_two_hosts(world):
    """One host puts an image through a plug-in, the other gets it."""
    data = os.urandom(5_000_001)
    for name in ("sent", "got"):
        with open(f"{world.cluster.directory}/{name}", "wb") as file:
            file.write(data if name == "sent" else b"")
    server = ("--image-root", f"rados:{POOL}/simhost", *world.place)
    finish(world.start(*world.simhost, "image", "put", *server, "daily", f"{world.cluster.directory}/sent",
                       root="elsewhere", client=1))
    finish(world.start(*world.simhost, "image", "get", *server, "--replace", "daily", f"{world.cluster.directory}/got",
                       root="elsewhere", client=2))
    with open(f"{world.cluster.directory}/got", "rb") as file:
        assert file.read() == data
    # From the cluster into a directory and, with that alone, into another place in the cluster; then nothing is left to do.
    directory = f"{world.cluster.directory}/migrated"
    for begin, end, copied in ((f"rados:{POOL}/simhost", directory, 1), (directory, f"rados:{POOL}/back", 1),
                               (f"rados:{POOL}/simhost", f"rados:{POOL}/back", 0)):
        told = finish(world.start(*world.simhost, "image", "migrate", *world.place, begin, end, root="elsewhere"))
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
