"""Hosts that write while parts of the cluster die, are cut off, are slow or full."""
import pathlib
import time

from bad_link import BadLink
from processes import finish
from stores import STORES, Pool
from world import PARTS, part


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
