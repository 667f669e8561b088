"""A plug-in that has a function in its table alone, not under its name: the filter hands calls on to it.

usage: function_in_slot_test.py SIMHOST FILTER PLUGIN
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SIMHOST, FILTER, PLUGIN = (sys.argv.pop(1) for _ in range(3))
# Another build, to see whether a test fails there.
PLUGIN = os.environ.get("STSPI_UNDER_TEST", PLUGIN)


class FunctionInSlot(unittest.TestCase):
    def test_call_reaches_it(self):
        with tempfile.TemporaryDirectory() as name:
            directory = pathlib.Path(name)
            image = pathlib.Path(PLUGIN).read_bytes()
            renamed = image.replace(b"\0stspi_claim\0", b"\0xtspi_claim\0")
            self.assertNotEqual(renamed, image)
            (directory / "plugin.so").write_bytes(renamed)
            (directory / "rules").write_text(f"plugin {directory}/plugin.so\n")
            (directory / "lab.sim").write_text("")
            run = subprocess.run([SIMHOST, "claim", "--plugin", FILTER, "--config-dir", name, "lab:a", "other:a"], capture_output=True,
                                 text=True, timeout=120, check=False, env={**os.environ, "STSPI_FILTER": f"{directory}/rules"})
            self.assertRegex(run.stdout, r"lab:a +yes", run.stderr)
            self.assertRegex(run.stdout, r"other:a +no", run.stderr)


unittest.main()
