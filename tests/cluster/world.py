"""What the parts of the test run in."""
import copy
import os
import subprocess
from concurrent.futures import ThreadPoolExecutor

from stores import Bucket, Pool

PARTS = {}  # name -> what runs it in a world


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
        return {**self.cluster.environment(), **self.store.settings, "STSIMAGE_ROOT": self.store.root(root), **more}

    def start(self, *command, root, client=1, stdin=None, **more):
        return subprocess.Popen(self.cluster.within(f"client{client}", *command), env=self.environment(root, **more), text=True,
                                errors="replace", stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def hosts(self, *arguments, root):
        # They enter the networks themselves.
        return subprocess.Popen([f"{self.build}/bin/cluster_hosts", *arguments], env=self.environment(root), text=True,
                                errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
