#!/usr/bin/env python3
"""Images in a cluster that several hosts share: three nodes and two clients on this machine. Needs root.

Usage: cluster_test.py BUILD [NAME...]      BUILD as the preset "cluster" makes it; only the named parts

Parts that leave the cluster as it is run several at a time. Those that kill and cut have another cluster for themselves, at the same time.
"""
import contextlib
import copy
import json
import os
import pathlib
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor

from apart import Apart
from bad_link import BadLink
from ceph_cluster import POOL, CephCluster
from ceph_file_system import CephFileSystem
from image_calls import ImageCalls
from processes import check_names, finish, passes
from s3_gateways import BUCKET, DATA_POOL, S3Gateways

RACES = int(os.environ.get("STSPI_CLUSTER_RACES", "1000"))
FAULTS = os.environ.get("STSPI_CLUSTER_FAULTS", "7")
SOURCE = pathlib.Path(__file__).parents[2]
LIBRARY_SHARDS = 3  # most of the time is waiting
CALM_AT_ONCE = 3
NOT_FOUND = 2060022
PARTS = {}  # name -> what runs it in a world
CALM_PARTS = ("library", "races", "shared_directory", "faults", "left_behind", "mixture", "damaged_part", "stopped_reader",
              "simhost_by_two_hosts")


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


def part(function):
    PARTS[function.__name__] = function
    return function


def part_in(*stores):
    """A part that runs in these stores, at the same time."""
    def note(function):
        def run(world):
            with ThreadPoolExecutor(len(stores)) as at_once:
                list(at_once.map(lambda store: function(world.in_store(store)), stores))
        PARTS[function.__name__] = run
        return function
    return note


class World:
    def __init__(self, build, cluster, gateways):
        self.build = os.path.abspath(build)
        self.cluster = cluster
        self.gateways = gateways
        self.stores = {Pool: Pool(cluster), Bucket: Bucket(gateways)}
        self.networks = [cluster.namespace("client1"), cluster.namespace("client2")]
        self.simhost = (f"{self.build}/bin/simhost",)
        self.plugin = ("--plugin", f"{self.build}/lib/libstspi_kelvarpool.so", "--config-dir", "examples")
        self.place = (*self.plugin, "--server", "Kelvarpool:mediaA", "--lsu", "pool1")

    def in_store(self, kind):
        """The same, with programs that find their images there."""
        world = copy.copy(self)
        world.store = self.stores[kind]
        return world

    def environment(self, root, **more):
        return {**os.environ, "CEPH_CONF": self.cluster.configuration, **self.store.settings, "STSIMAGE_ROOT": self.store.root(root), **more}

    def start(self, *command, root, client=1, stdin=None, **more):
        return subprocess.Popen(self.cluster.within(f"client{client}", *command), env=self.environment(root, **more), text=True,
                                errors="replace", stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def hosts(self, *arguments, root):
        # They enter the networks themselves.
        return subprocess.Popen([f"{self.build}/bin/cluster_hosts", *arguments], env=self.environment(root), text=True,
                                errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


@part_in(*STORES)
def library(world):
    """The tests of the library itself, as they run on directories."""
    def shard(index):
        root = f"library{index}"
        tests = world.start(f"{world.build}/bin/stsimage_test", "--gtest_brief=1", root=root,
                            STSIMAGE_TEST_STORE=world.store.root(root), STSIMAGE_KILL_ROUNDS="6", STSIMAGE_S3_LEASE="5",
                            STSIMAGE_RADOS_LEASE="5", GTEST_TOTAL_SHARDS=str(LIBRARY_SHARDS), GTEST_SHARD_INDEX=str(index))
        told, _ = tests.communicate()
        wanted = ("FAILED", "PASSED", "SKIPPED", "Failure")
        print("\n".join([world.store.name, *(line for line in told.splitlines() if any(word in line for word in wanted))]), flush=True)
        assert tests.returncode == 0
    with ThreadPoolExecutor(LIBRARY_SHARDS) as at_once:
        list(at_once.map(shard, range(LIBRARY_SHARDS)))


@part_in(*STORES)
def faults(world):
    finish(world.store.start_fault_loop(world), 900)


@part_in(*STORES)
def races(world):
    """Exactly one of two hosts creates, exactly one deletes."""
    finish(world.hosts("race", str(world.store.races), *world.networks, root="races"), 600 + 2 * world.store.races)


@part_in(*STORES)
def mixture(world):
    finish(world.hosts("mixed", "30", "7", *world.networks, root="mixture"))


@part_in(*STORES)
def damaged_part(world):
    """A byte that the cluster gives back wrong is found, by the same checksums as in files."""
    ledger = f"{world.cluster.directory}/damaged.{world.store.name}"
    finish(world.hosts("keep", "2", "9", ledger, world.networks[0], root="damaged"))
    finish(world.hosts("verify", ledger, world.networks[1], root="damaged"))
    for key in world.store.parts("damaged"):  # some are of images that were replaced
        content = bytearray(world.store.read("damaged", key))
        content[min(world.store.place_of_data, len(content) - 1)] ^= 1
        world.store.write("damaged", key, bytes(content))
    checked = world.hosts("verify", ledger, world.networks[1], root="damaged")
    output, _ = checked.communicate(timeout=300)
    assert checked.returncode != 0 and output.count("does not match its checksum") >= 1, output


@part_in(Pool)
def returned_writer(world):
    """A writer that was away for longer than its lease, and goes on, is one that lives."""
    writer = world.start(*world.simhost, "image", "put", *world.place, "name", root="returned", stdin=subprocess.PIPE)

    def write_more():
        writer.stdin.write("begun" * 4_000_000)
        writer.stdin.flush()

    def leftovers():
        told = finish(world.start(*world.simhost, "image", "fsck", "--json", "--remove", *world.plugin, root="returned", client=2))
        return [(leftover["name"], leftover["state"]) for leftover in json.loads(told)["result"]["leftovers"]]

    write_more()
    while leftovers() != [("name", "in use")]:
        assert writer.poll() is None
    world.cluster.set_link("client1", "down")
    time.sleep(30)
    world.cluster.set_link("client1", "up")
    time.sleep(20)  # until its connections are made anew, and it has heard that it was given up
    write_more()
    time.sleep(2)
    assert leftovers() == [("name", "in use")], leftovers()
    writer.stdin.close()
    assert writer.wait(120) == 0, writer.stdout.read()
    told = finish(world.start(*world.simhost, "image", "stat", "--json", *world.place, "name", root="returned", client=2))
    assert json.loads(told)["result"]["image"]["size_bytes"] == 40_000_000


@part_in(Pool)
def stopped_reader(world):
    """A reader that stood still for longer than its lease, and whose image was cleared away, says that it is gone, not damaged."""
    def image(command, *arguments, **options):
        return world.start(*world.simhost, "image", command, *arguments, root="stopped", **options)

    writer = image("put", *world.place, "name", stdin=subprocess.PIPE)
    writer.communicate("much " * 8_000_000)
    assert writer.returncode == 0
    reader = image("get", *world.place, "name")
    assert reader.stdout.read(1000) == "much " * 200  # nobody reads more of it for now
    time.sleep(3)  # until what it reads ahead has come: that would time out
    reader.send_signal(signal.SIGSTOP)
    finish(image("rm", *world.place, "name", client=2))
    deadline = time.monotonic() + 120
    while world.store.parts("stopped"):
        finish(image("fsck", "--remove", *world.plugin, client=2))
        assert time.monotonic() < deadline, "the image of a reader that stands still is kept for ever"
        time.sleep(1)
    reader.send_signal(signal.SIGCONT)
    told, _ = reader.communicate(timeout=300)
    assert reader.returncode == 1 and "Identifier removed" in told[-1000:] and "DAMAGED" not in told[-1000:], told[-1000:]


@part_in(Pool)
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


@part_in(Pool)
def unanswered_calls(world):
    """A host that is cut off: each call ends after two time-outs, what was said of the images is true, and a reader goes on afterwards."""
    time_out = 3
    place = {"root": "unanswered", "STSIMAGE_RADOS_TIMEOUT": str(time_out), "stdin": subprocess.PIPE}

    def begin(client, *before):
        calls = ImageCalls(world.start(f"{world.build}/bin/image_calls", client=client, **place))
        for call in before:
            calls.good(call)
        return calls

    def read_until(reader, is_wanted):
        deadline = time.monotonic() + 60
        while not is_wanted(reader.make("read 1048576")[0]):
            assert time.monotonic() < deadline

    begin(1, "create old", "write 60000000", "close", "create lost", "write 1", "close").end()
    silences = ((("list",), "create new"), (("list",), "open old"), (("list",), "stat old"), (("list",), "list"),
                (("list",), "delete lost"), (("open old",), "read 20000000"), (("open old",), "close"),
                (("create one", "write 90000000"), "write 90000000"), (("create two", "write 9000000"), "close"))
    hosts = [begin(1, *before) for before, _ in silences]
    reader = begin(1, "open old", "read 1048576", "read 1048576")
    world.cluster.set_link("client1", "down")
    try:
        with ThreadPoolExecutor(len(hosts)) as at_once:
            ends = list(at_once.map(lambda calls, silence: calls.make(silence[1]), hosts, silences))
        read_until(reader, lambda status: status != 0)
    finally:
        world.cluster.set_link("client1", "up")
    for (_, wanted), (status, seconds, text) in zip(silences, ends):
        print(f"{wanted}: {status} after {seconds} s: {text}", flush=True)
        assert (status != 0 or wanted == "close") and seconds < 2.75 * time_out, (wanted, status, seconds)
    read_until(reader, lambda status: status == 0)
    for _ in range(57):
        reader.good("read 1048576")
    for calls in (*hosts, reader):
        calls.end()
    looker = begin(2, "open old", "read 20000000", "close")
    for name in ("new", "one", "two"):
        status, _, text = looker.make("stat", name)
        assert status == NOT_FOUND, (name, status, text)
    looker.end()


class Keeper:
    """A host that writes images until it is told to end; then another looks."""

    def __init__(self, place, name, hosts, seed, root):
        self.place, self.other, self.root = place, hosts[1], root
        self.ledger = f"{place.cluster.directory}/{name}"
        self.writer = place.hosts("keep", "300", str(seed), self.ledger, hosts[0], root=root)

    def end(self):
        pathlib.Path(self.ledger + ".end").touch()

    def verify(self):
        print(f"{self.ledger}:", flush=True)
        finish(self.place.hosts("verify", self.ledger, self.other, root=self.root))


def keep_through(keepers, trouble, settle=lambda: None):
    try:
        time.sleep(3)
        trouble()
        time.sleep(3)
    finally:
        for keeper in keepers:
            keeper.end()
    for keeper in keepers:
        finish(keeper.writer)
    settle()
    for keeper in keepers:
        keeper.verify()


def keep_in_stores(world, name, trouble, clients=(1,)):
    """Hosts write to each store while something happens, and for a while after it."""
    keepers = [Keeper(world.in_store(store), f"{name}.{client}.{store.name}", (world.networks[client - 1], world.networks[2 - client]),
                      2 + client, root=name) for store in STORES for client in clients]
    keep_through(keepers, trouble, world.cluster.wait_until_clean)


def kill_in_turn(world, names, start, seconds, is_back):
    """Each is killed, is away for some seconds, and is back before it is the next one's turn."""
    for node, name in enumerate(names, 1):
        world.cluster.kill_daemon(name)
        time.sleep(seconds)
        start(node)
        world.cluster.wait_for(f"{name} to be back", lambda: is_back(node))


@part
def killed_osds(world):
    cluster = world.cluster
    keep_in_stores(world, "killed_osds", lambda: kill_in_turn(
        world, [f"osd.{node - 1}" for node in cluster.nodes], cluster.start_osd, 8,
        lambda _: cluster.status()["osdmap"]["num_up_osds"] == len(cluster.nodes) and cluster.all_is_active()))


@part
def killed_monitors(world):
    cluster = world.cluster
    keep_in_stores(world, "killed_monitors", lambda: kill_in_turn(
        world, [f"mon.{node}" for node in cluster.nodes], cluster.start_monitor, 5,
        lambda _: len(cluster.status()["quorum"]) == len(cluster.nodes)))


@part
def killed_manager(world):
    cluster = world.cluster
    keep_in_stores(world, "killed_manager", lambda: kill_in_turn(
        world, ["mgr.1"], lambda _: cluster.start_manager(), 5, lambda _: cluster.status()["mgrmap"]["available"]))


@part
def killed_gateways(world):
    gateways = world.gateways
    keep_in_stores(world, "killed_gateways", lambda: kill_in_turn(
        world, [gateways.name(node) for node in gateways.nodes], gateways.run, 8, gateways.is_answered), clients=(1, 2))


# Ends of links that are cut, for 30 seconds. Calls end by their time-out; what was acknowledged is there, and what may be there was said to
# be unknown.
CUT_ENDS = ("node1", "client1")  # the first is that of the writer's gateway


def cut_link(world, end):
    world.cluster.set_link(end, "down")
    time.sleep(30)
    world.cluster.set_link(end, "up")


for cut_end in CUT_ENDS:
    PARTS[f"cut_{cut_end[:-1]}"] = lambda world, end=cut_end: keep_in_stores(world, f"cut_{end}", lambda: cut_link(world, end))


@part
def bad_link(world):
    """200 ms of delay and 2 % of loss: large images may take too long, small ones get there."""
    places = [(world.in_store(store), f"{world.cluster.directory}/bad_link.{store.name}") for store in STORES]
    with BadLink(world.cluster, "client1", delay=0.2, loss=0.02, seed=7) as link:
        writers = [place.hosts("keep", "30", "3", ledger, world.networks[0], root="bad_link") for place, ledger in places]
        for writer in writers:
            told = finish(writer)
            assert "acknowledged 0," not in told, "nothing got there at all"
    assert link.lost > 0
    for place, ledger in places:
        finish(place.hosts("verify", ledger, world.networks[1], root="bad_link"))


def keep_without_room(world, name, set_full):
    """What is full refuses at once, what was there stays, and images can be deleted. Gateways before it wait for room, and do late what
    nobody waits for any more."""
    pool = world.in_store(Pool)

    def image(command, *arguments):
        finish(pool.start(*pool.simhost, "image", command, *pool.place, *arguments, root=name, client=2))

    image("put", "early", __file__)

    def trouble():
        set_full(True)
        try:
            time.sleep(15)
            image("rm", "early")
        finally:
            set_full(False)
    keep_in_stores(world, name, trouble)


@part
def full_pool(world):
    """A quota is reached."""
    def set_full(is_full):
        for store in world.stores.values():
            store.set_full(is_full)
    keep_without_room(world, "full_pool", set_full)


@part
def full_disks(world):
    """The disks of all nodes count as full."""
    def set_full(is_full):
        # Of two in the wrong order the greater one would count.
        for ratio, usual in (("nearfull", "0.85"), ("backfillfull", "0.90"), ("full", "0.95")):
            world.cluster.ceph("osd", f"set-{ratio}-ratio", "0.0001" if is_full else usual)
        world.cluster.wait_for("the disks to be told", lambda: ("OSD_FULL" in world.cluster.status()["health"]["checks"]) == is_full)
    keep_without_room(world, "full_disks", set_full)


@part_in(*STORES)
def left_behind(world):
    """What a killed writer left, and parts in nobody's notes, are found and removed by the other host, beside a live writer."""
    root = "left_behind"

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
    for lost in world.store.lost_parts:
        world.store.write(root, lost, b"late")
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


@part_in(Pool)
def shared_directory(world):
    """CephFS by two mounts: what it keeps, and what the library makes of it."""
    files = CephFileSystem(world.cluster)
    with files as mounts:
        finish(subprocess.Popen([f"{world.build}/bin/stsimage-probe", *mounts], text=True, stdout=subprocess.PIPE))
        hosts = [f"{network}:{mount}" for network, mount in zip(world.networks, mounts)]
        finish(world.hosts("race", str(RACES // 50), *hosts, root="unused"))
        finish(world.hosts("mixed", "20", "11", *hosts, root="unused"))
        keeper = Keeper(world, "shared_directory", hosts, 5, root="unused")
        keep_through([keeper], lambda: kill_in_turn(world, [files.server], lambda _: files.run_server(), 5, lambda _: files.is_active()))


@part_in(*STORES)
def simhost_by_two_hosts(world):
    """One host puts an image through a plug-in, the other gets it."""
    data = os.urandom(5_000_001)
    sent, got = (f"{world.cluster.directory}/{name}.{world.store.name}" for name in ("sent", "got"))
    for path, content in ((sent, data), (got, b"")):
        with open(path, "wb") as file:
            file.write(content)
    cluster, back = world.store.root("simhost"), world.store.root("back")
    server = ("--image-root", cluster, *world.place)
    finish(world.start(*world.simhost, "image", "put", *server, "daily", sent,
                       root="elsewhere", client=1))
    finish(world.start(*world.simhost, "image", "get", *server, "--replace", "daily", got,
                       root="elsewhere", client=2))
    with open(got, "rb") as file:
        assert file.read() == data
    # From the cluster into a directory and, with that alone, into another place in the cluster; then nothing is left to do.
    directory = f"{world.cluster.directory}/migrated.{world.store.name}"
    for begin, end, copied in ((cluster, directory, 1), (directory, back, 1), (cluster, back, 0)):
        told = finish(world.start(*world.simhost, "image", "migrate", *world.place, begin, end, root="elsewhere"))
        assert f"{copied} copied" in told


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
