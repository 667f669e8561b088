"""A load finds a defect that was planted into an image library or a plug-in, and gives it its right name.

usage: planted_defects_test.py SIMHOST PLUGIN IMAGE-LIBRARY PLANTED-PLUGIN PLANTED-IMAGE-LIBRARY DEFECT
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

SIMHOST, PLUGIN, IMAGE_LIBRARY, PLANTED_PLUGIN, PLANTED_LIBRARY, DEFECT = sys.argv[1:7]

# Each defect, and the kinds of findings that name it, all of which must be found.
IN_IMAGE_LIBRARIES = {
    "close-fails-and-loses": {"lost image"},
    # Of an image that was there before, the old content is; of a new one there is nothing.
    "close-lies": {"lost image", "stale block"},
    "comes-back": {"came back"},
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
    "lost-write": {"lost block"},
    "misplaced-read": {"misplaced block"},
    "mixed-generations": {"mixed generations"},
    "short-read": {"short count"},
    "short-read-told-full": {"unfilled buffer"},
    "short-write": {"lost block"},
    "stale-read": {"stale block"},
    "torn-write": {"torn block"},
    "visible-early": {"visible early"},
    "wrong-image": {"foreign block"},
    "wrong-size": {"wrong property"},
}
IN_PLUGINS = {
    "close-forgets": {"lost image", "stale block"},
    "copy-short-told-full": {"lost block"},
    # One image is gone, another is still there.
    "deletes-another": {"lost image", "came back"},
    "handles-deadlock": {"hang"},
    "image-property-stale": {"wrong property"},
    # What one list takes from another, the other lacks.
    "list-static-buffer": {"list skips", "list repeats"},
    # One name stands in place of another.
    "lsu-list-invents": {"list ghost", "list skips"},
    "lsu-list-repeats": {"list repeats"},
    "lsu-list-skips": {"list skips"},
    "lsu-property-stale": {"wrong property"},
    "mount-leads-elsewhere": {"wrong mount"},
    "mount-lies": {"wrong mount"},
    "plugin-crashes": {"death"},
    "plugin-hangs": {"hang"},
    "plugin-leaks-descriptor": {"leak"},
    "plugin-leaks-memory": {"leak"},
    "plugin-leaks-thread": {"leak"},
    "plugin-throws": {"exception"},
    "read-short-told-full": {"unfilled buffer"},
    "server-property-changes": {"wrong property"},
    "static-buffer": {"foreign block"},
    "write-short-told-full": {"lost block"},
    "write-to-other-handle": {"foreign block"},
}

# What else such a defect brings about, and a load then rightly tells as well. These loads do not end with the first finding, which may
# be one of these. No other kind may be found, but rarely.
CONSEQUENCES = {
    # The image is still being written for the library: who writes it anew is refused, and handles add up. Where only a list met it
    # before it was written again, nobody can ask any more whether it was there.
    "close-lies": {"refusal", "leak", "list skips"},
    "close-forgets": {"refusal", "leak", "list skips"},
    # What comes back may take the place of a new content, or hinder who writes it.
    "comes-back": {"stale block", "refusal"},
    # Again where only a list met it.
    "deletes-another": {"list skips", "list ghost"},
    # A list may be told of an image that was deleted before it was opened.
    "list-static-buffer": {"list ghost"},
    # Of a part of a block without its beginning nobody can tell where it belongs.
    "misplaced-read": {"foreign block"},
    # A deleted image can still be opened, and one that is being written anew.
    "stale-read": {"came back", "visible early"},
    # An image is missing where it should be, or holds what it held; and two write one name.
    "wrong-image": {"lost image", "stale block", "list skips", "refusal"},
    # A list gives it; by the time that it is asked for by name it may be closed, so that only the list was early.
    "visible-early": {"list ghost"},
    # The name that is there may be one of no image, or of a deleted one.
    "static-buffer": {"lost image", "came back", "visible early"},
    # The bytes are missing where they belong and go beyond the end of the other image, or into the middle of its blocks; a handle may be closed meanwhile, and the image
    # library does not know that the write failed.
    "write-to-other-handle": {"lost block", "torn block", "wrong property", "refusal", "visible after failure"},
}

# What may be met first, and instead of it, where somebody looks while the image is already being written anew. These loads end with the
# first finding; where it was one of these alone, the defect is looked for again.
MET_WHILE_IT_GOES_ON = {
    # A list gives it or a reader opens it, and by the time that it is looked at the owner has begun again.
    "delete-lies": {"list ghost", "stale block", "visible early"},
    "close-fails-and-loses": {"list skips"},
    # Its size was read before and its content after it was written again.
    "copy-short-told-full": {"wrong property"},
    "lost-write": {"wrong property"},
    "short-write": {"wrong property"},
    "write-short-told-full": {"wrong property"},
}

RIGHT = IN_PLUGINS.get(DEFECT) or IN_IMAGE_LIBRARIES[DEFECT]

# Without copies: what is wrong would be copied, and be wrong elsewhere.
MIX = "backup=30,restore=25,verify=15,expire=10,list=4,properties=10,session=2"

OPTIONS = {
    "close-fails-and-loses": ["--expect", "STS_E_SYSTEM"],
    "copy-short-told-full": ["--mix", "backup,copy,restore"],
    "handles-deadlock": ["--mix", "backup,properties=5,session"],
    "list-static-buffer": ["--mix", "backup=5,expire,list=5"],
    "lsu-list-invents": ["--mix", "session"],
    "lsu-list-repeats": ["--mix", "session"],
    "lsu-list-skips": ["--mix", "session"],
    "mount-leads-elsewhere": ["--mix", "backup,mount"],
    "mount-lies": ["--mix", "backup,mount"],
    "plugin-leaks-descriptor": ["--mix", "session"],
    "plugin-leaks-memory": ["--mix", "session"],
    "plugin-leaks-thread": ["--mix", "session"],
}


# What takes time to show is looked for again, twice as long and from another seed, where a busy machine has done too little in it.
SEEDS = (7, 8, 9)


def load(world, seed, longer):
    """What a load on the defect tells, and its exit status."""
    is_plugin = DEFECT in IN_PLUGINS
    is_leak = "leak" in DEFECT
    goes_on = is_leak or DEFECT in CONSEQUENCES
    command = [SIMHOST, "load", "--json", "--no-progress", "--config-dir", world, "--server", "Kelvarpool:mediaA",
               "--image-root", world / "images", "--plugin", PLANTED_PLUGIN if is_plugin else PLUGIN,
               "--image-library", IMAGE_LIBRARY if is_plugin else PLANTED_LIBRARY, "--images", "4", "--sizes", "8K..64K",
               "--chunk", "16K", "--hang", "2s" if RIGHT == {"hang"} else "10s", "--seed", str(seed),
               "--duration", f"{longer * (6 if is_leak else 4 if goes_on else 25)}s",
               *([] if "--mix" in OPTIONS.get(DEFECT, []) else ["--mix", MIX]), *OPTIONS.get(DEFECT, [])]
    # All streams on one pool, so that they meet; properties of two pools, so that these can be told apart.
    command += [] if DEFECT.startswith("lsu") else ["--lsu", "gold"]
    # What leaks must not run out before the end.
    command += ["--rate", "250"] if is_leak else [] if goes_on else ["--stop-at-first"]
    environment = dict(os.environ, PLANTED_DEFECT=DEFECT, STSIMAGE_BEHIND=IMAGE_LIBRARY, PLUGIN_BEHIND=PLUGIN)
    done = subprocess.run(command, capture_output=True, timeout=longer * 110, check=False, env=environment)
    return json.loads(done.stdout)["result"], done.returncode


def look_for_it(seed, longer):
    """The status of the load, the kinds of findings that are missing, and those that are wrong."""
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as directory:
        world = pathlib.Path(directory)
        (world / "images").mkdir()
        (world / "Kelvarpool.sim").write_text("".join(
            f"ENCLOSURE = {pool};\n\tDISKS = {pool}1;\n\tHOSTS = mediaA;\n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = {world}/{pool};\n\n"
            for pool in ("gold", "silver")) + "MOUNT_BEHAVIOR = SUCCESS;\n")
        result, status = load(world, seed, longer)
    broken = result["broken_promises"]
    print(f"{DEFECT}, seed {seed}: status {status} after {result['seconds']:.1f} s, {broken['kinds']}")
    for finding in broken["first"][:5]:
        print(f"  {finding['seconds']:6.2f} s  {finding['kind']}: {finding['text']}")
    found = set(broken["kinds"])
    other = found - RIGHT - CONSEQUENCES.get(DEFECT, set()) - MET_WHILE_IT_GOES_ON.get(DEFECT, set())
    # Hundreds of findings bring images into more states than can be told ahead: one in twenty may be of another kind.
    others = sum(broken["kinds"][kind] for kind in other)
    if DEFECT in CONSEQUENCES and other and others * 20 <= sum(broken["kinds"].values()):
        print("found as well, but rarely:", *sorted(other))
        other = set()
    return status, RIGHT - found, other


def main():
    for tries, seed in enumerate(SEEDS):
        status, missing, wrong = look_for_it(seed, 2 ** tries)
        if wrong:
            print("found as well, and wrong:", *sorted(wrong))
            return 1
        if not missing:
            return 0 if status == 1 else 1
        print("not found:", *sorted(missing))
    return 1


sys.exit(main())
