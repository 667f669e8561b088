"""Readers and writers that die, stand still, are cut off or come back."""
import json
import signal
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

from image_calls import ImageCalls
from processes import finish
from stores import STORES, Pool
from world import part_in

NOT_FOUND = 2060022


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


@part_in(*STORES)
def killed_reader(world):
    """A reader that died keeps what was deleted meanwhile only until its lease has run out."""
    def image(command, *arguments, **options):
        return world.start(*world.simhost, "image", command, *arguments, root="killed_reader", **options)

    def put(content, **options):
        writer = image("put", *world.place, "name", stdin=subprocess.PIPE, **options)
        writer.communicate(content)
        assert writer.returncode == 0

    put("much " * 8_000_000)
    reader = image("get", *world.place, "name")
    assert reader.stdout.read(1000) == "much " * 200
    finish(image("rm", *world.place, "name", client=2))
    finish(image("fsck", "--remove", *world.plugin, client=2))
    kept = len(world.store.parts("killed_reader"))
    assert kept > 0, "what a live reader reads is gone"
    put("little", client=2)  # it keeps nobody from using the name
    reader.kill()
    reader.wait()
    deadline = time.monotonic() + 120
    while len(world.store.parts("killed_reader")) > 1:  # that of the new image
        finish(image("fsck", "--remove", *world.plugin, client=2))
        assert time.monotonic() < deadline, "the image of a reader that died is kept for ever"
        time.sleep(1)
    assert finish(image("get", *world.place, "name")).startswith("little")


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


@part_in(*STORES)
def ending_processes(world):
    """A process that ends in the middle of calls ends well."""
    def start():
        return ImageCalls(world.start(f"{world.build}/bin/image_calls", root="ending", stdin=subprocess.PIPE))

    writer = start()
    for call in ("create name", "write 9000000", "close"):
        writer.good(call)
    writer.end()

    def let_end(threads):
        calls = start()
        calls.good("open name")
        calls.good("read 1000000")
        calls.exit_amid(threads)

    left = start()
    left.good("create left")
    left.good("write 20000000")
    left.exit_amid(0)
    follower = start()
    follower.good("create left")  # it was given up
    follower.end()

    def look_for_nothing(_):
        looked = world.start(*world.simhost, "image", "stat", *world.place, "none", root="ending")
        told, _ = looked.communicate(timeout=60)
        assert looked.returncode == 1, f"{looked.returncode}: {told}"

    for _ in range(4):
        finish(world.start(f"{world.build}/bin/unloading", f"{world.build}/lib/libstsimage.so", root="ending"))
    with ThreadPoolExecutor(4) as at_once:
        list(at_once.map(let_end, [0, 1, 4, 8] * 8))
        list(at_once.map(look_for_nothing, range(100)))


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
    """A host that is cut off: each call ends after two time-outs, each process soon, what was said of the images is true, and a reader goes
    on afterwards."""
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

    def end_of(calls, silence):
        _, still_done, wanted = silence
        for call in still_done:
            calls.good(call)
        return calls.make(wanted)

    begin(1, "create old", "write 60000000", "close", "create lost", "write 1", "close").end()
    # What a host does before it is cut off, what it still can do then, and what it cannot.
    silences = ((("list",), (), "create new"), (("list",), (), "open old"), (("list",), (), "stat old"), (("list",), (), "list"),
                (("list",), (), "delete lost"), (("open old",), (), "read 20000000"),
                (("open old", *["read 1048576"] * 4), ("read 1048576",), "close"),  # with a part of it under way
                # Each thread needs a table of its own, and one after the other looks for it.
                (("create wide", *("write 1", "skip 8388607") * 6, "close", "open wide"), (), "read_at_once 6"),
                (("create one", "write 90000000"), (), "write 90000000"), (("create two", "write 9000000"), (), "close"))
    hosts = [begin(1, *before) for before, _, _ in silences]
    reader = begin(1, "open old", "read 1048576", "read 1048576")
    leavers = [begin(1, "open old", "read 1048576"), begin(1, "create three", "write 9000000")]

    def leave(calls):
        begun = time.monotonic()
        calls.exit_amid(2)
        return time.monotonic() - begun

    world.cluster.set_link("client1", "down")
    try:
        with ThreadPoolExecutor(len(hosts)) as at_once:
            ends = list(at_once.map(end_of, hosts, silences))
        leavers[1].good("write 9000000")  # which is under way then
        with ThreadPoolExecutor(len(leavers)) as at_once:
            leaving = list(at_once.map(leave, leavers))
        read_until(reader, lambda status: status != 0)
    finally:
        world.cluster.set_link("client1", "up")
    print(f"processes ended after {', '.join(f'{seconds:.1f}' for seconds in leaving)} s", flush=True)
    assert max(leaving) < 2 * time_out + 10, leaving
    for (before, _, wanted), (status, seconds, text) in zip(silences, ends):
        print(f"{wanted}: {status} after {seconds} s: {text}", flush=True)
        is_reader_closed = wanted == "close" and before[0] == "open old"
        assert (status == 0) == is_reader_closed and seconds < 2.75 * time_out, (wanted, status, seconds)
    for _ in range(57):
        read_until(reader, lambda status: status == 0)
    for calls in (*hosts, reader):
        calls.end()
    looker = begin(2, "open old", "read 20000000", "close")
    for name in ("new", "one", "two"):
        status, _, text = looker.make("stat", name)
        assert status == NOT_FOUND, (name, status, text)
    looker.end()
