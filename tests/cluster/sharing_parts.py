"""Hosts that use the same images at once, in a cluster that is well."""
import json
import os
import subprocess
from concurrent.futures import ThreadPoolExecutor

from ceph_file_system import CephFileSystem
from processes import finish
from stores import MIXTURE_SECONDS, RACES, STORES, Pool
from trouble_parts import Keeper, keep_through, kill_in_turn
from world import part_in

LIBRARY_SHARDS = 3  # most of the time is waiting


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
    finish(world.hosts("mixed", str(MIXTURE_SECONDS), "7", *world.networks, root="mixture"), 600 + MIXTURE_SECONDS)


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


@part_in(*STORES)
def simhost_by_two_hosts(world):
    """One host puts an image through a plug-in, the other gets it. Each runs a backup cycle and a load whose processes are killed."""
    data = os.urandom(5_000_001)
    sent, got = (f"{world.cluster.directory}/{name}.{world.store.name}" for name in ("sent", "got"))
    for path, content in ((sent, data), (got, b"")):
        with open(path, "wb") as file:
            file.write(content)
    cluster, back = world.store.root("simhost"), world.store.root("back")
    server = ("--image-root", cluster, *world.place)
    finish(world.start(*world.simhost, "image", "put", *server, "daily", sent,
                       root="elsewhere", client=1))
    # The same root, whoever wrote it down.
    finish(world.start(*world.simhost, "image", "get", "--image-root", f"{cluster}/", *world.place, "--replace", "daily", got,
                       root="elsewhere", client=2))
    with open(got, "rb") as file:
        assert file.read() == data
    # From the cluster into a directory and, with that alone, into another place in the cluster; then nothing is left to do.
    directory = f"{world.cluster.directory}/migrated.{world.store.name}"
    for begin, end, copied in ((cluster, directory, 1), (directory, back, 1), (cluster, back, 0)):
        told = finish(world.start(*world.simhost, "image", "migrate", *world.place, begin, end, root="elsewhere"))
        assert f"{copied} copied" in told
    cycles = [world.start(*world.simhost, "run", *world.plugin, "--server", "Kelvarpool:mediaA", "--image-root", world.store.root(f"cycle{client}"),
                          sent, root="elsewhere", client=client) for client in (1, 2)]
    loads = [world.start(*world.simhost, "load", *world.plugin, "--server", "Kelvarpool:mediaA", "--image-root", world.store.root("load"),
                         "--seed", str(client), "--duration", "6s", "--processes", "2", "--streams", "2", "--sizes", "100K..2M",
                         "--kill-every", "2s", "--expect", "STSIMG_E_BUSY", root="elsewhere", client=client) for client in (1, 2)]
    for running in cycles + loads:
        finish(running)


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


@part_in(Pool)
def hostile_names(world):
    """Whatever stands in the records of names: calls end, with words, no record leads to another image's end, and others are right."""
    root, right = "hostile", "right " * 1000

    def image(command, *arguments, said=None, content=None):
        done = world.start(*world.simhost, "image", command, *arguments, root=root, stdin=subprocess.PIPE)
        told, _ = done.communicate(content, timeout=60)
        assert done.returncode == (0 if said is None else 1) and (said or "") in told, f"{command} {arguments}: {done.returncode}: {told}"
        return told

    def check_list(said=None):
        assert {"name", "other"} <= set(image("ls", *world.place, said=said).split())

    def shard(name):
        digest = 2166136261
        for byte in name.encode():
            digest = (digest ^ byte) * 16777619 & 0xffffffff
        return f"names/pool1:{digest % 32:02x}"

    def record(key):
        lines = world.store.rados(root, "getomapval", shard("name"), key, "/dev/stdout").decode()
        return lines[lines.rindex("\n", 0, -1) + 1:] if "\n" in lines.strip() else lines

    for name in ("name", "other"):
        image("put", *world.place, name, content=right)
    mine = record("i:name")
    number = mine.split()[0]
    for value in ("", " ", "no record", number, number + " ", number + " -1", number + "  6000", number + " 06000", number + " 6000 ",
                  number + " 99999999999999999999", number[:-1] + " 6000", number[:-1] + "G 6000", "../" + mine, mine * 1000):
        world.store.rados(root, "setomapval", shard("name"), "i:name", input=value.encode())
        for command in ("get", "stat", "rm"):
            image(command, *world.place, "name", said="the record of the name is damaged")
        image("put", *world.place, "name", said="the record of the name is damaged", content="more")
        check_list("1 of 2 images cannot be described")
        image("fsck", "--verify", *world.plugin, said="the record of the name is damaged")
    for value in (f"{number} 1", f"{number} {2**64 - 1}", f"{'0' * 32} 6000"):  # records, but wrong ones
        world.store.rados(root, "setomapval", shard("name"), "i:name", input=value.encode())
        image("get", *world.place, "name", said="name")
    world.store.rados(root, "setomapval", shard("name"), "i:name", input=mine.encode())
    for key, value in (("w:name", "junk"), ("z:name", "junk"), ("g:", "?"), ("g:../x", "18446744073709551615"), ("i:" + "long " * 1000, mine)):
        world.store.rados(root, "setomapval", shard("name"), key, input=value.encode())
        check_list("1 of " if key.startswith(("i:", "w:")) else None)
        world.store.rados(root, "rmomapkey", shard("name"), key)
    for name in ("name", "other"):
        assert image("get", *world.place, name).startswith(right)
        image("rm", *world.place, name)
    assert image("fsck", *world.plugin).split()[:1] != [], "nothing is said"
