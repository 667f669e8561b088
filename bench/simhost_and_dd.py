#!/usr/bin/env python3
"""simhost beside dd: the same bytes, the same block size, the same file system, in turn within one run.

    bench/simhost_and_dd.py BIN_DIRECTORY [DIRECTORY] [MIB] [PAIRS]

BIN_DIRECTORY holds simhost, its parent's lib/ the libraries. An image of MIB mebibytes (2048) of random bytes is written
and read PAIRS (5) times below DIRECTORY (the temporary directory):

    write      simhost image put FILE            dd if=FILE of=COPY bs=1M conv=fsync
    write 256K the same in calls of 256 KiB
    restore    simhost image get FILE            dd if=FILE of=COPY bs=1M conv=fsync    (what is read is in the page cache)
    restore cold                                 the same, nothing cached
    read cold  simhost image get, to /dev/null   dd if=FILE of=/dev/null bs=1M          nothing cached
    read warm                                    the same, all cached

Whichever was second in one pair is first in the next. A ratio is that of speeds, simhost to dd: 1.11 in time is 0.9. Processor time is that of both programs in user's and in system's mode;
its ratio is that of the smallest times, since a virtual machine that must be given memory first takes several times as long.
"""
import os
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

MEBIBYTE = 1 << 20


def drop(path):
    """Takes a file out of the page cache, without a privilege."""
    file = os.open(path, os.O_RDONLY)
    try:
        os.fsync(file)
        os.posix_fadvise(file, 0, 0, os.POSIX_FADV_DONTNEED)
    finally:
        os.close(file)


def warm(path):
    with open(path, "rb", buffering=0) as file:
        while file.read(MEBIBYTE):
            pass


def processor_time():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def seconds(command):
    """How long it took, and how much processor time."""
    start, used = time.monotonic(), processor_time()
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    taken = time.monotonic() - start, processor_time() - used
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}: {done.stderr.decode()}")
    return taken


class Bench:
    def __init__(self, programs, directory, mebibytes):
        self.simhost = os.path.join(programs, "simhost")
        self.directory = directory
        self.lsu = self.place("lsu")
        os.mkdir(self.lsu)
        with open(self.place("Kelvarpool.sim"), "w", encoding="ascii") as file:
            file.write("DISKGROUP=array1;\nHOSTS=lab1;\nVOLUMES=v1;\n")
        self.source = self.place("source")
        with open(self.source, "wb") as file:
            for _ in range(mebibytes):
                file.write(os.urandom(MEBIBYTE))
        self.copy = self.place("copy")

    def place(self, name):
        return os.path.join(self.directory, name)

    def run(self, *arguments):
        return seconds([self.simhost, "image", *arguments, "-c", self.directory, "-s", "Kelvarpool:lab1", "-l", self.lsu])

    def put(self, name, chunk="1M"):
        return self.run("put", name, self.source, "--replace", "--chunk", chunk)

    def get(self, target):
        return self.run("get", "kept", target, "--replace")

    def dd(self, target, *options, chunk="1M"):
        return seconds(["dd", f"if={self.source}", f"of={target}", f"bs={chunk}", *options])

    def image_file(self):
        """Where the library keeps the image."""
        found = [os.path.join(at, name) for at, _, names in os.walk(self.lsu) for name in names if "kept" in name]
        if len(found) != 1:
            sys.exit(f"the image's file is not to be found below {self.lsu}: {found}")
        return found[0]

    def clear(self):
        """Every transfer begins with nothing left to write and no file to replace."""
        if os.path.exists(self.copy):
            os.remove(self.copy)
        os.sync()

    def pair(self, ours, bare, prepare, ours_first):
        """Both, in this order; what is told is always ours and the other."""
        taken = []
        for transfer in (ours, bare) if ours_first else (bare, ours):
            self.clear()
            prepare()
            taken.append(transfer())
        self.clear()
        return taken if ours_first else taken[::-1]

    def steps(self):
        def all_warm():
            warm(self.source)
            warm(self.image_file())

        def all_cold():
            drop(self.source)
            drop(self.image_file())

        def restore():
            return self.get(self.copy)

        def copy(chunk="1M"):
            return self.dd(self.copy, "conv=fsync", chunk=chunk)

        def read():
            return self.get("/dev/null")

        def bare_read():
            return self.dd("/dev/null")

        def write(chunk="1M"):
            taken = self.put("written", chunk)
            self.run("rm", "written")
            return taken

        return [("write", write, copy, all_warm), ("write 256K", lambda: write("256K"), lambda: copy("256K"), all_warm),
                ("restore", restore, copy, all_warm),
                ("restore cold", restore, copy, all_cold), ("read cold", read, bare_read, all_cold),
                ("read warm", read, bare_read, all_warm)]


def main(programs, directory=None, mebibytes="2048", pairs="5"):
    work = tempfile.mkdtemp(prefix="simhost_and_dd.", dir=directory)
    try:
        bench = Bench(programs, work, int(mebibytes))
        bench.put("kept")
        print(f"{mebibytes} MiB, {pairs} pairs, seconds simhost/dd, ratio of speeds", flush=True)
        for name, ours, bare, prepare in bench.steps():
            # The first pair is not counted: a virtual disk is slow where it is written to for the first time.
            taken = [bench.pair(ours, bare, prepare, pair % 2 == 1) for pair in range(int(pairs) + 1)][1:]
            ratios = [theirs[0] / own[0] for own, theirs in taken]
            shown = "  ".join(f"{own[0]:.2f}/{theirs[0]:.2f}={ratio:.2f}" for (own, theirs), ratio in zip(taken, ratios))
            print(f"{name:<13} median {statistics.median(ratios):.2f}   {shown}", flush=True)
            least_own, least_theirs = (min(used) for used in zip(*((own[1], theirs[1]) for own, theirs in taken)))
            print(f"{'':<13} processor time {least_own:.2f} to {least_theirs:.2f} s, {least_own / least_theirs:.2f} times", flush=True)
    finally:
        shutil.rmtree(work)


if __name__ == "__main__":
    if not 2 <= len(sys.argv) <= 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
