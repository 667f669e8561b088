"""A load finds a defect that was planted into the image library, and names it.

usage: planted_defects_test.py SIMHOST PLUGIN PLANTED-LIBRARY IMAGE-LIBRARY DEFECT [SECONDS]
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

SIMHOST, PLUGIN, PLANTED, BEHIND, DEFECT = sys.argv[1:6]
SECONDS = int(sys.argv[6]) if len(sys.argv) > 6 else 25

# Each defect and the kinds of broken promises any of which names it.
KINDS = {
    "close-fails-and-loses": {"lost image"},
    "close-lies": {"lost image", "stale block"},
    "comes-back": {"came back", "list ghost"},
    "crash": {"death"},
    "deadlock": {"hang"},
    "delete-lies": {"came back"},
    "flipped-bit": {"flipped bits"},
    "hang": {"hang"},
    "leak-descriptor": {"leak"},
    "leak-memory": {"leak"},
    "leak-thread": {"leak"},
    "list-repeats": {"list repeats"},
    "list-skips": {"list skips"},
    "lost-write": {"lost block", "short count", "wrong property"},
    "misplaced-read": {"misplaced block"},
    "mixed-generations": {"mixed generations"},
    "short-read": {"short count"},
    "short-read-told-full": {"unfilled buffer"},
    "short-write": {"lost block", "torn block", "short count", "wrong property"},
    "stale-read": {"stale block"},
    "torn-write": {"torn block"},
    "visible-early": {"visible early", "list ghost"},
    "wrong-image": {"foreign block", "lost image", "stale block", "came back", "visible early", "list ghost", "wrong property"},
    "wrong-size": {"wrong property"},
}


# Others may meet a consequence first, an old size say: these loads go on until the defect itself was met as well.
SEVERAL_CONSEQUENCES = {"close-lies", "comes-back", "stale-read", "wrong-image"}


def main():
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as directory:
        world = pathlib.Path(directory)
        (world / "images").mkdir()
        (world / "Kelvarpool.sim").write_text(
            f"ENCLOSURE = gold;\n\tDISKS = g1;\n\tHOSTS = mediaA;\n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = {world}/gold;\n\n"
            "MOUNT_BEHAVIOR = SUCCESS;\n")
        leaks = DEFECT.startswith("leak")
        seconds = 6 if leaks else 4 if DEFECT in SEVERAL_CONSEQUENCES else SECONDS
        command = [SIMHOST, "load", "--json", "--no-progress", "--plugin", PLUGIN, "--image-library", PLANTED, "--config-dir", world,
                   "--server", "Kelvarpool:mediaA", "--image-root", world / "images", "--images", "4", "--sizes", "8K..64K",
                   "--chunk", "16K", "--hang", "2s", "--seed", "7", "--duration", f"{seconds}s"]
        command += [] if leaks or DEFECT in SEVERAL_CONSEQUENCES else ["--stop-at-first"]
        command += ["--expect", "STS_E_SYSTEM"] if DEFECT == "close-fails-and-loses" else []
        done = subprocess.run(command, capture_output=True, timeout=110, check=False,
                              env=dict(os.environ, PLANTED_DEFECT=DEFECT, STSIMAGE_BEHIND=BEHIND))
    result = json.loads(done.stdout)["result"]
    broken = result["broken_promises"]
    print(f"{DEFECT}, seed 7: status {done.returncode} after {result['seconds']:.1f} s, {broken['kinds']}")
    for finding in broken["first"][:5]:
        print(f"  {finding['seconds']:6.2f} s  {finding['kind']}: {finding['text']}")
    if DEFECT == "none":
        return 0 if done.returncode == 0 and broken["total"] == 0 else 1
    return 0 if done.returncode == 1 and KINDS[DEFECT] & set(broken["kinds"]) else 1


sys.exit(main())
