#!/usr/bin/env python3
"""Backups through the array plug-in and the substitute image library beside plain files, written and flushed by as many streams.

    bench/load_and_files.py BIN_DIRECTORY [DIRECTORY] [PAIRS]

BIN_DIRECTORY holds simhost, its parent's lib/ the libraries. "simhost load" writes images below DIRECTORY (the temporary
directory), in calls of 1 MiB at most; beside it as many threads write files of the same size with write() calls of the same size, and
flush each with fsync() before the next. Both sides run in turns, PAIRS (5) times. What is told are medians; a ratio is that of speeds,
image library to plain files.
"""
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

MEBIBYTE = 1 << 20

# Bytes of an image, streams, images that each stream writes.
CASES = [(64 * MEBIBYTE, 1, 8), (64 * MEBIBYTE, 4, 2), (64 * MEBIBYTE, 16, 1), (MEBIBYTE, 4, 250), (MEBIBYTE, 16, 64),
         (65536, 1, 1000), (65536, 4, 1000), (65536, 16, 400), (65536, 64, 100)]


class Bench:
    def __init__(self, programs, directory):
        self.simhost = os.path.join(programs, "simhost")
        self.directory = pathlib.Path(directory)
        (self.directory / "Kelvarpool.sim").write_text(
            f"ENCLOSURE = gold;\n\tDISKS = g1;\n\tHOSTS = mediaA;\n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = {directory}/gold;\n")

    def images(self, size, streams, count):
        """Seconds that a load takes; every image of a stream is a new one or replaces one of its four."""
        root = self.directory / "images"
        root.mkdir()
        done = subprocess.run(
            [self.simhost, "load", "--json", "--no-progress", "--config-dir", self.directory, "--server", "Kelvarpool:mediaA",
             "--image-root", root, "--mix", "backup", "--sizes", str(size), "--chunk", "1M", "--images", "4", "--streams",
             str(streams), "--operations", str(count)], stdout=subprocess.PIPE, check=False)
        result = json.loads(done.stdout)["result"]
        shutil.rmtree(root)
        if done.returncode != 0 or result["bytes_written"] != size * streams * count:
            sys.exit(f"a load went wrong: status {done.returncode}, {result['broken_promises']}")
        return result["seconds"]

    def files(self, size, streams, count):
        root = self.directory / "files"
        root.mkdir()
        block = os.urandom(min(size, MEBIBYTE))

        def write_files(stream):
            for number in range(count):
                file = os.open(root / f"{stream}-{number % 4}", os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
                for _ in range(size // len(block)):
                    os.write(file, block)
                os.fsync(file)
                os.close(file)

        threads = [threading.Thread(target=write_files, args=(stream,)) for stream in range(streams)]
        start = time.monotonic()
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        taken = time.monotonic() - start
        shutil.rmtree(root)
        return taken

    def pairs(self, pairs, *case):
        taken = []
        # The first pair is not counted: a virtual disk is slow where it is written to for the first time.
        for number in range(pairs + 1):
            sides = {}
            for side in (self.images, self.files) if number % 2 == 0 else (self.files, self.images):
                os.sync()
                sides[side] = side(*case)
            taken.append((sides[self.images], sides[self.files]))
        return taken[1:]


def main(programs, directory=None, pairs="5"):
    work = tempfile.mkdtemp(prefix="load_and_files.", dir=directory)
    try:
        bench = Bench(programs, work)
        print(f"{'image':>9} {'streams':>7} {'images, MiB/s':>13} {'files, MiB/s':>12} {'ratio':>6}  ratios", flush=True)
        for size, streams, count in CASES:
            taken = bench.pairs(int(pairs), size, streams, count)
            moved = size * streams * count / MEBIBYTE
            ratios = [files / images for images, files in taken]
            print(f"{size:9} {streams:7} {statistics.median(moved / images for images, _ in taken):13.1f} "
                  f"{statistics.median(moved / files for _, files in taken):12.1f} {statistics.median(ratios):6.2f}  "
                  + " ".join(f"{ratio:.2f}" for ratio in ratios), flush=True)
    finally:
        shutil.rmtree(work)


if __name__ == "__main__":
    if not 2 <= len(sys.argv) <= 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
