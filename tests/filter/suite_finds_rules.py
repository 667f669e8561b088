"""Each of these rules spoils something that the interface demands, and the suite must find it in the area named here:
it proves the rule to act, and the rule proves the suite to look.

usage: suite_finds_rules.py SUITE FILTER PLUGIN
"""

import concurrent.futures
import json
import os
import subprocess
import sys
import tempfile

RULES = [
    ("on claim answer 0", "claim"),
    ("on claim answer STS_E_NOT_CLAIMED", "claim"),
    ("on claim returned STS_E_NOT_CLAIMED answer STS_E_SYSTEM", "claim"),
    ("on init returned success answer STS_E_VERSION", "registration"),
    ('on init set prefix "Other:"', "registration"),
    ("on init set label other", "registration"),
    ("on init set flag_1 0", "registration"),
    ("on init2 set api_version 8", "registration"),
    ("on terminate after answer success", "registration"),
    ("on terminate lose", "registration"),
    ("on ioctl answer success", "ioctl"),
    ("on ioctl calls 2..40 answer STS_E_NOT_SUPPORTED", "ioctl"),
    ("on async_flush answer success", "not-supported"),
    ("on unmount_lsu answer STS_E_NOT_SUPPORTED", "not-supported"),
    ("on get_storel call 7 answer success", "not-supported"),
    ("on open_server answer STS_E_NO_SERVER", "server-open"),
    ("on open_server returned error answer success", "server-open"),
    ("on close_server lose", "server-close"),
    ("on close_server after answer STS_E_SYSTEM", "server-close"),
    ("on create_server answer STS_E_INTERNAL", "server-create"),
    ("on create_server returned error answer success", "server-create"),
    ("on open_target_server answer STS_E_INTERNAL", "server-target"),
    ("on open_target_server returned error answer success", "server-target"),
    ("on get_server_prop set server_type 9", "server-props"),
    ("on get_server_prop_byname stale", "server-props"),
    ("on get_server_prop,get_server_prop_byname set server_name other", "server-props"),
    ("on open_lsu_list answer STS_E_INTERNAL", "lsu-list"),
    ("on list_lsu call 1 each process omit", "lsu-list"),
    ("on list_lsu call 1 each process repeat", "lsu-list"),
    ("on list_lsu reverse", "lsu-list"),
    ("on list_lsu set name other", "lsu-list"),
    ("on get_lsu_prop_byname set capacity_bytes 1", "lsu-props"),
    ('on get_lsu_prop_byname set property_text ""', "lsu-props"),
    ("on get_lsu_prop_byname stale", "lsu-props"),
    ("on mount_lsu lose", "mount"),
    ("on mount_lsu set result other", "mount"),
    ("on mount_lsu returned error answer success", "mount"),
    ("on create_image,open_image,delete_image after answer STSIMG_E_BUSY", "image"),
    ("on open_image_list answer success", "image"),
    ("on copy_extent short 1", "copy-extent"),
    ("on include_in_image lose", "include-in-image"),
    ("on read_image after answer 5", "pass-through"),
    ("on write_image lose", "pass-through"),
    ("on load_process answer 1", "load-process"),
    ('on open_server log "out of order"', "logging"),
]


def failures(suite, filter_library, plugin, rule, area):
    with tempfile.TemporaryDirectory() as directory:
        settings = os.path.join(directory, "filter.conf")
        with open(settings, "w", encoding="utf-8") as file:
            file.write(f"plugin {plugin}\n{rule}\n")
        answer = os.path.join(directory, "answer.json")
        subprocess.run([suite, filter_library, "--filter", f"{area}.*", "--json", answer],
                       env=dict(os.environ, STSPI_FILTER=settings), stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)
        with open(answer, encoding="utf-8") as file:
            tests = json.load(file)["tests"]
    return [test["id"] for test in tests if test["outcome"] in ("fail", "crash", "timeout")]


def main():
    suite, filter_library, plugin = sys.argv[1:]
    # Another build, to see whether a test fails there.
    plugin = os.environ.get("STSPI_UNDER_TEST", plugin)
    missed = []
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        found = pool.map(lambda each: failures(suite, filter_library, plugin, *each), RULES)
        for (rule, area), failed in zip(RULES, found):
            print(f"{area:18}{len(failed):4} failures   {rule}", flush=True)
            if not failed:
                missed.append(rule)
    if missed:
        sys.exit(f"not found by the suite: {missed}")


main()
