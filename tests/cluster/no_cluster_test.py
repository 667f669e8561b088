"""Images in a pool whose cluster is not there: what simhost says, and that it ends."""

import pathlib
import socket
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(sys.argv[4]) / "tests" / "e2e"))

from simhost_world import SimhostTest, main  # noqa: E402

PLACE = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", "rados:images/site")
COMMANDS = (("image put", *PLACE, "name"), ("image get", *PLACE, "name"), ("image ls", *PLACE), ("image stat", *PLACE, "name"),
            ("image rm", *PLACE, "name"), ("image fsck", *PLACE[4:]))


class NoCluster(SimhostTest):
    def refused(self, command, configuration, words):
        done = self.simhost(*command, data=b"data", CEPH_CONF=str(configuration), STSIMAGE_RADOS_TIMEOUT="1")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn(words, done.stderr)
        # librados has words of its own for such things, which are not for a framework's output.
        for line in done.stderr.splitlines():
            self.assertTrue(line.startswith(b"simhost: "), line)

    def configuration(self, port):
        path = self.root / "ceph.conf"
        path.write_text(f"[global]\nfsid = {'0' * 8}-0000-0000-0000-{'0' * 12}\nmon host = v2:127.0.0.1:{port}\n"
                        "auth client required = none\n")
        return path

    def test_configuration_that_is_not_there(self):
        self.refused(COMMANDS[0], self.root / "none", b"cannot read the cluster's configuration (CEPH_CONF")

    def test_monitor_that_refuses_connections(self):
        with socket.socket() as unheard:
            unheard.bind(("127.0.0.1", 0))
            path = self.configuration(unheard.getsockname()[1])
            for command in COMMANDS:
                with self.subTest(command=command[0]):
                    self.refused(command, path, b"cannot connect to the cluster of \"rados:images/site\": Timer expired")

    def test_monitor_that_says_nothing(self):
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            self.refused(COMMANDS[2], self.configuration(silent.getsockname()[1]), b"Timer expired")

    def test_key_that_is_not_there(self):
        path = self.configuration(1)
        path.write_text(path.read_text().replace("required = none", f"required = cephx\nkeyring = {self.root}/none"))
        self.refused(COMMANDS[2], path, b"cannot connect to the cluster")


if __name__ == "__main__":
    main()
