#!/usr/bin/env python3
"""A link of an end of a network that delays what the end sends, and loses some of it: what netem does where the kernel has it.

    bad_link.py DELAY LOSS SEED NEAR FAR      hands frames on between two interfaces of this network namespace; those from NEAR come
                                              DELAY seconds late or, with the probability LOSS, never. At its end (SIGTERM) it tells how many of each.
"""
import collections
import random
import select
import signal
import socket
import subprocess
import sys
import time

EVERY_PROTOCOL = 0x0003
SOL_PACKET, IGNORE_OUTGOING = 263, 23  # of <linux/if_packet.h>


class BadLink:
    """In use as a context: the end is joined to the switch by such a link."""

    def __init__(self, network, end, delay, loss, seed):
        self.network = network
        self.end = end
        self.settings = (str(delay), str(loss), str(seed))

    def __enter__(self):
        ip, end = self.network.ip, self.end
        ip("switch", "link", "add", "late", "type", "veth", "peer", "name", "late-far")
        ip("switch", "link", "set", "late", "up")
        ip("switch", "link", "set", "late-far", "master", "bridge0", "up")
        # Frames as they go over a wire: whole ones, with their checksums.
        for namespace, interface in ((end, "eth0"), ("switch", "late-far")):
            subprocess.run(self.network.within(namespace, "ethtool", "-K", interface, "tx", "off"), check=True, stdout=subprocess.DEVNULL)
        ip("switch", "link", "set", end, "nomaster")
        self.process = subprocess.Popen(self.network.within("switch", sys.executable, __file__, *self.settings, end, "late"),
                                        text=True, stdout=subprocess.PIPE)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        counts = self.process.communicate()[0]
        self.late, self.lost = map(int, counts.split())
        print(f"of the frames {self.late} came {self.settings[0]} s late, {self.lost} never", flush=True)
        self.network.ip("switch", "link", "delete", "late")
        self.network.ip("switch", "link", "set", self.end, "master", "bridge0")
        subprocess.run(self.network.within(self.end, "ethtool", "-K", "eth0", "tx", "on"), check=True, stdout=subprocess.DEVNULL)


def wire(interface):
    end = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(EVERY_PROTOCOL))
    end.setsockopt(SOL_PACKET, IGNORE_OUTGOING, 1)
    end.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4 << 20)
    end.bind((interface, 0))
    return end


def hand_on(delay, loss, seed, near, far):
    random.seed(seed)
    near, far = wire(near), wire(far)
    counts = collections.Counter()
    under_way = collections.deque()  # when it is due, and the frame; the earliest first
    ended = False

    def end(*_):
        nonlocal ended
        ended = True
    signal.signal(signal.SIGTERM, end)
    while not ended:
        wait = max(0, under_way[0][0] - time.monotonic()) if under_way else 0.2
        for ready in select.select([near, far], [], [], min(wait, 0.2))[0]:
            frame = ready.recv(65536)
            if ready is far:
                near.send(frame)
            elif random.random() < loss:
                counts["lost"] += 1
            else:
                under_way.append((time.monotonic() + delay, frame))
        while under_way and under_way[0][0] <= time.monotonic():
            far.send(under_way.popleft()[1])
            counts["late"] += 1
    print(counts["late"], counts["lost"])


if __name__ == "__main__":
    hand_on(float(sys.argv[1]), float(sys.argv[2]), int(sys.argv[3]), *sys.argv[4:])
