"""simhost day by day: what is told of mistakes and odd names, and what saves typing."""

import os
import pathlib
import shutil
import signal
import struct
import subprocess

from json_schema import document_of
from simhost_world import FAKE_PLUGIN, PLUGIN, SIMHOST, SimhostTest, main


class Told(SimhostTest):
    """What is wrong is said, and as it is."""

    def test_why_a_name_is_not_claimed(self):
        (self.config / "folder.sim").mkdir()
        done = self.expect(1, self.simhost("claim", "copan:x", "other:z", "folder:x"))
        self.assertIn(f"other:z: {self.config}/other.sim cannot be read: No such file or directory".encode(), done.stderr)
        self.assertIn(f"folder:x: {self.config}/folder.sim is a directory".encode(), done.stderr)
        self.assertNotIn(b"copan:x:", done.stderr)
        servers = self.document(self.expect(1, self.simhost("claim", "--json", "copan:x", "other:z")))["result"]["servers"]
        self.assertNotIn("reason", servers[0])
        self.assertTrue(servers[1]["reason"].endswith("No such file or directory"))

    def test_a_directory_of_a_configurations_name(self):
        (self.config / "folder.sim").mkdir()
        done = self.expect(1, self.simhost("pools", "--server", "folder:x"))
        self.assertIn(f"{self.config}/folder.sim is a directory: the plug-in claims its name, and finds nothing in it"
                      .encode(), done.stderr)

    def test_a_mount_to_the_root(self):
        for command in (("mount", "pool1:vol1", "/"), ("mount", "pool1:vol1", "//"), ("run", "--mount-point", "/")):
            done = self.expect(2, self.simhost(command[0], "--server", "Kelvarpool:mediaA", *command[1:]))
            self.assertIn(b"/ cannot be a mount point", done.stderr)

    def test_a_temporary_directory_that_is_missing(self):
        self.temporary.rmdir()
        self.addCleanup(self.temporary.mkdir)
        done = self.expect(2, self.simhost("run", "--server", "Kelvarpool:mediaA"))
        self.assertIn(f"cannot make a private directory {self.temporary}/simhost-XXXXXX: No such file".encode(), done.stderr)

    def library(self, change):
        content = bytearray(pathlib.Path(PLUGIN).read_bytes())
        path = self.root / "changed.so"
        path.write_bytes(change(content))
        return path

    def test_libraries_that_cannot_be_loaded(self):
        def foreign(content):
            content[5] = 1  # little-endian, as the number that follows
            struct.pack_into("<H", content, 18, 243)
            return content
        for change, words in ((foreign, "it is for RISC-V, this program is for "),
                              (lambda content: content[:30_000], "is no shared library: it ends too early"),
                              (lambda content: content[:40], "is no shared library: it ends too early"),
                              (lambda content: b"#!/bin/sh\n", "is no shared library: it is no ELF file")):
            with self.subTest(words=words):
                path = self.library(change)
                for command in (("probe", path), ("pools", "--server", "Kelvarpool:x", "--plugin", path),
                                ("pools", "--server", "Kelvarpool:x", "--image-library", path)):
                    done = subprocess.run([SIMHOST, *map(str, command)], capture_output=True, check=False,
                                          env=self.environment())
                    self.assertIn(words.encode(), self.expect(2, done).stderr)

    def test_an_image_library_that_is_missing(self):
        plugin = self.root / "moved" / "plugin.so"
        plugin.parent.mkdir()
        # A copy whose library path leads nowhere finds no image library.
        content = pathlib.Path(PLUGIN).read_bytes()
        directory = str(pathlib.Path(PLUGIN).resolve().parent).encode()
        self.assertIn(directory, content)
        plugin.write_bytes(content.replace(directory, b"/" + b"x" * (len(directory) - 1)))
        done = self.simhost("pools", "--server", "Kelvarpool:mediaA", plugin=str(plugin))
        if done.returncode == 0:
            self.skipTest("this machine has an image library installed")
        self.assertIn(b"that is the image library: the framework's, or the package libstsimage-substitute",
                      self.expect(2, done).stderr)

    def test_odd_names_do_not_reach_the_terminal(self):
        odd = "a\033]0;title\007\u009b31m\u202egnp"
        raw = os.fsencode(odd) + b"\xff"
        for arguments in ((b"pools", b"--server", b"Kelvarpool:" + raw), (b"check", raw), (b"show", raw + b".sim"),
                          (b"run", b"--server", b"copan:arr1", raw), (b"pools", b"--config-dir", raw),
                          (b"probe", raw), (b"mount", b"--server", b"Kelvarpool:mediaA", b"pool1:" + raw, raw),
                          (b"image", b"ls", b"--server", b"copan:arr1", b"--lsu", raw), (raw,), (b"pools", b"--" + raw),
                          (b"help", raw), (b"umount", raw), (b"init", raw), (b"claim", raw + b":x")):
            with self.subTest(arguments=arguments):
                environment = self.environment(SIMHOST_CONFIG_DIR=str(self.config))
                done = subprocess.run([SIMHOST.encode(), *arguments], capture_output=True, stdin=subprocess.DEVNULL,
                                      cwd=self.root, env=environment, check=False)
                self.assertNotEqual(done.stdout + done.stderr, b"")
                for text in (done.stdout, done.stderr):
                    shown = text.decode()  # UTF-8 throughout
                    for character in "\033\007\u009b\u202e":
                        self.assertNotIn(character, shown)
                    self.assertNotIn("\\\\x1b", shown)

    def test_what_the_image_library_has_escaped_is_not_escaped_again(self):
        for command in (("image stat", "a\033b"), ("run", "--image", "a\033b")):
            done = self.simhost(command[0], "--server", "Kelvarpool:mediaA", "--image-root", self.images,
                                *(("--lsu", "pool1") if command[0] != "run" else ()), *command[1:])
            told = done.stdout + done.stderr
            self.assertIn(b"image library: ", told)
            self.assertIn(b"\\x1b", told)
            self.assertNotIn(b"\\\\x1b", told)

    def test_a_document_of_an_interrupted_command(self):
        process = subprocess.Popen(self.command("run", "--json", "--server", "Kelvarpool:mediaA"), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=self.environment())
        process.stdin.write(b"x" * 3_000_000)
        process.stdin.flush()
        process.send_signal(signal.SIGTERM)
        document = document_of(process.stdout.read())
        process.wait(timeout=60)
        process.stdin.close()
        process.stdout.close()
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.assertEqual((document["exit_status"], document["signal"], document["ok"]), (143, 15, False))

    def test_what_the_cycle_keeps(self):
        done = self.good("run", "--keep", "--server", "Kelvarpool:mediaA", "--image", "kept", data=b"x")
        text = done.stdout.decode()
        private = next(self.temporary.iterdir())
        self.assertIn(f'kept image     "kept" on "pool2", below {private}\n', text)
        self.assertRegex(text, rf"(?m)^kept mount     {private}/volume -> {self.storage}/kelvarpool-pool2/#UDID#KP1#disk21#$")
        self.assertIn(f"made           {self.storage}/kelvarpool-pool2\n", text)
        shutil.rmtree(self.storage / "kelvarpool-pool2")
        document = self.document(self.good("run", "--keep", "--json", "--server", "Kelvarpool:mediaA"))
        self.assertIn(f"{self.storage}/kelvarpool-pool2", document["result"]["kept"]["directories"])
        done = self.expect(1, self.simhost("run", "--keep", "--server", "Kelvarpool:mediaA", plugin=FAKE_PLUGIN,
                                           faults="corrupt:1", data=b"xyz"))
        self.assertIn(b"kept image ", done.stdout)
        self.assertNotIn(b"kept ", self.good("run", "--server", "Kelvarpool:mediaA").stdout)

    def test_a_volume_may_be_named_by_its_disk(self):
        for name in ("disk12", "#UDID#KP1#disk12#"):
            document = self.document(self.good("run", "--json", "--server", "Kelvarpool:mediaA", "--pool", "pool1",
                                               "--volume", name))
            self.assertEqual(document["result"]["mount"]["lsu"], "pool1:#UDID#KP1#disk12#")
        done = self.expect(1, self.simhost("run", "--server", "Kelvarpool:mediaA", "--pool", "pool1", "--volume", "none"))
        self.assertIn(b'the plug-in lists no volume "none"', done.stderr)

    def test_every_size_is_exact_and_in_powers_of_1024(self):
        self.configure("Kelvarpool.sim", "ENCLOSURE = p;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 10G;\n"
                                         f"STORAGE_DIR = {self.storage};\n")
        for command in (("pools",), ("volumes",), ("lsu", "p"), ("lsu", "p:d")):
            text = self.good(command[0], "--server", "Kelvarpool:h", *command[1:]).stdout.decode()
            self.assertRegex(text, r"10737418240 (bytes )?\(10 GiB\)")
            self.assertNotRegex(text, r"\d [kMGT]?B\b")
        run = self.good("run", "--server", "Kelvarpool:h", data=b"x" * 2048).stdout.decode()
        self.assertIn("written        2048 bytes (2 KiB) in ", run)
        self.assertIn("capacity 10737418240 bytes (10 GiB)", run)


class Helped(SimhostTest):
    def run_simhost(self, *arguments, **environment):
        return subprocess.run([SIMHOST, *map(str, arguments)], capture_output=True, check=False, stdin=subprocess.DEVNULL,
                              env=self.environment(**environment))

    def test_help_is_the_commands_own(self):
        for command in ([], ["pools"], ["image"], ["image", "put"], ["help"]):
            with self.subTest(command=command):
                asked = self.expect(0, self.run_simhost("help", *command))
                self.assertEqual(asked.stdout, self.expect(0, self.run_simhost(*command, "--help")).stdout)
        done = self.expect(2, self.run_simhost("help", "pool"))
        self.assertEqual(done.stderr, b'simhost: unknown command "pool"; did you mean pools?\n')
        self.expect(2, self.run_simhost("help", "image", "nothing"))

    def test_the_environment_stands_in_for_options(self):
        done = self.expect(0, self.run_simhost("pools", "--plugin", PLUGIN, SIMHOST_SERVER="Kelvarpool:mediaB",
                                               SIMHOST_CONFIG_DIR=str(self.config)))
        self.assertIn(b"archive", done.stdout)
        done = self.expect(0, self.run_simhost("pools", "--plugin", PLUGIN, "--server", "Kelvarpool:mediaA",
                                               SIMHOST_SERVER="Kelvarpool:mediaB", SIMHOST_CONFIG_DIR=str(self.config)))
        self.assertNotIn(b"archive", done.stdout)
        done = self.expect(2, self.run_simhost("pools", "--plugin", PLUGIN, SIMHOST_CONFIG_DIR=str(self.config)))
        self.assertIn(b"--server is required: name one, PREFIX:HOST, here or in the environment as SIMHOST_SERVER",
                      done.stderr)
        done = self.expect(2, self.run_simhost("pools", SIMHOST_SERVER="a:b", SIMHOST_CONFIG_DIR="/none"))
        self.assertIn(b"/none", done.stderr)
        self.expect(0, self.run_simhost("init", "lab", "--storage-dir", self.storage, SIMHOST_CONFIG_DIR=str(self.config)))
        self.assertTrue((self.config / "lab.sim").exists())

    def test_umount_undoes_a_mount(self):
        place = self.root / "mnt"
        self.good("mount", "--server", "Kelvarpool:mediaA", "pool1:vol1", place)
        volume = self.storage / "kelvarpool-pool1" / "vol1"
        (volume / "data").write_text("mine")
        done = self.good("umount", "-v", place)
        self.assertEqual(done.stdout.decode(), f"{place} removed; {volume} stays\n")
        self.assertIn(b"stspi_unmount_lsu", done.stderr)
        self.assertFalse(place.is_symlink())
        self.assertEqual((volume / "data").read_text(), "mine")

    def test_umount_removes_links_only(self):
        directory = self.root / "directory"
        directory.mkdir()
        for place in (directory, self.root / "none"):
            done = self.expect(2, self.simhost("umount", place))
            self.assertIn(b"is no link: no volume is mounted there", done.stderr)
        self.assertTrue(directory.is_dir())
        place = self.root / "mnt"
        for target in ("directory", self.root / "nowhere", __file__):
            place.symlink_to(target)
            done = self.expect(2, self.simhost("umount", place))
            self.assertIn(f"leads to {target}, which does not look like a volume's directory".encode(), done.stderr)
            self.assertTrue(place.is_symlink())
            self.good("umount", "--force", place)
            self.assertFalse(place.is_symlink())
        place.symlink_to(directory)
        done = self.expect(1, self.simhost("umount", place, plugin=FAKE_PLUGIN, faults="status:unmount_lsu=2060017"))
        self.assertTrue(place.is_symlink())


if __name__ == "__main__":
    main()
