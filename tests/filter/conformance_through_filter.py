"""Without rules nothing tells the filter from the plug-in behind it: the whole suite passes through it.

Two filters are tried in a child that was forked when they were loaded, the journal in a parent.

usage: conformance_through_filter.py one|two|journal SUITE FILTER PLUGIN [OPTION OF THE SUITE...]
"""

import os
import shutil
import subprocess
import sys
import tempfile


def main():
    way, suite, filter_library, plugin, *options = sys.argv[1:]
    # Another build, to see whether a test fails there.
    plugin = os.environ.get("STSPI_UNDER_TEST", plugin)
    with tempfile.TemporaryDirectory() as directory:
        settings = os.path.join(directory, "filter.conf")
        lines = []
        if way == "two":
            # The loader takes one file for one library, wherever it is opened from.
            second = os.path.join(directory, "second_filter.so")
            shutil.copy(filter_library, second)
            lines.append(f"plugin {second}")
        lines.append(f"plugin {plugin}")
        if way == "journal":
            lines.append(f"journal {directory}/journal 16M")
        with open(settings, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        environment = dict(os.environ, STSPI_FILTER=settings)
        # Millions of calls, each written down, take their time on a busy machine: the limit is there for hangs.
        fork = {"one": [], "two": ["--fork", "child"], "journal": ["--fork", "parent"]}[way]
        status = subprocess.run([suite, filter_library, "--jobs", "2", "--timeout", "200", *fork, *options], env=environment,
                                check=False).returncode
        if way == "journal" and not os.path.getsize(os.path.join(directory, "journal")) > 0:
            sys.exit("nothing was written to the journal")
        sys.exit(status)


main()
