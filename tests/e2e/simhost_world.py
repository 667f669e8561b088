"""What the end-to-end tests of simhost share: the programs under test, and a private world for each test."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from json_schema import document_of

SIMHOST, PLUGIN, FAKE_PLUGIN, SOURCE = sys.argv[1:5]
# Another build, to see whether a test fails there.
PLUGIN = os.environ.get("STSPI_UNDER_TEST", PLUGIN)


def main():
    unittest.main(argv=[sys.argv[0]] + sys.argv[5:], verbosity=2)


class SimhostTest(unittest.TestCase):
    """Each test has a directory of its own, with the examples' configuration pointed at it."""

    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="simhost-test-"))
        self.addCleanup(shutil.rmtree, self.root)
        self.config = self.root / "config"
        self.config.mkdir()
        self.images = self.root / "images"
        self.images.mkdir()
        self.temporary = self.root / "tmp"
        self.temporary.mkdir()
        self.storage = self.root / "storage"
        self.storage.mkdir()
        for name in ("Kelvarpool.sim", "copan.sim"):
            text = (pathlib.Path(SOURCE) / "examples" / name).read_text()
            changed = text.replace("/tmp/", f"{self.storage}/")
            self.assertNotEqual(text, changed)
            (self.config / name).write_text(changed)

    def configure(self, name, text):
        (self.config / name).write_text(text)

    def environment(self, **changes):
        environment = dict(os.environ, TMPDIR=str(self.temporary), **changes)
        for name in ("STSIMAGE_ROOT", "NO_COLOR", "FAKE_PLUGIN", "SIMHOST_SERVER", "SIMHOST_CONFIG_DIR"):
            if name not in changes:
                environment.pop(name, None)
        return environment

    def command(self, command, *arguments, plugin=PLUGIN):
        return [SIMHOST, *command.split(), "--plugin", plugin, "--config-dir", str(self.config), *map(str, arguments)]

    def simhost(self, command, *arguments, plugin=PLUGIN, data=b"", faults=None, **environment):
        if faults is not None:
            environment["FAKE_PLUGIN"] = faults
        return subprocess.run(self.command(command, *arguments, plugin=plugin), input=data, capture_output=True,
                              env=self.environment(**environment), timeout=300, check=False)

    def expect(self, status, done):
        self.assertEqual(done.returncode, status, f"stdout:\n{done.stdout.decode(errors='replace')}\n"
                                                  f"stderr:\n{done.stderr.decode(errors='replace')}")
        return done

    def good(self, command, *arguments, **how):
        return self.expect(0, self.simhost(command, *arguments, **how))

    def document(self, done):
        return document_of(done.stdout)

    def tree(self, *directories):
        """Everything that stands in the directories, for comparing before and after. A directory may go meanwhile."""
        return sorted(os.path.join(at, name) for directory in directories or (self.temporary, self.storage, self.images)
                      for at, inner, files in os.walk(directory) for name in (*inner, *files))
