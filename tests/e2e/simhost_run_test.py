"""simhost run with the plug-in as built."""

import hashlib
import os
import pathlib
import pty
import re
import select
import signal
import subprocess
import time

from simhost_world import SIMHOST, SimhostTest, main


def calls_of(document):
    return [call["entry_point"] for call in document["calls"]]


class DiskArrayCycle(SimhostTest):
    def test_performs_every_step_in_order(self):
        done = self.good("run", "--server", "Kelvarpool:mediaA", "--json", data=b"some data")
        document = self.document(done)
        self.assertEqual(calls_of(document), [
            "stspi_init", "stspi_init2", "stspi_claim", "stspi_create_server",
            "stspi_open_lsu_list", "stspi_list_lsu", "stspi_close_lsu_list", "stspi_get_lsu_prop_byname",
            "stspi_open_dynamic_lsu_list", "stspi_list_lsu", "stspi_close_lsu_list", "stspi_mount_lsu",
            "stspi_create_image", "stspi_write_image", "stspi_close_image",
            "stspi_open_image", "stspi_read_image", "stspi_close_image",
            "stspi_open_image_list", "stspi_list_image", "stspi_close_image_list", "stspi_get_image_prop_byname",
            "stspi_delete_image", "stspi_unmount_lsu", "stspi_close_server", "stspi_terminate"])
        self.assertTrue(document["ok"])
        self.assertEqual(document["result"]["verdict"], "identical")
        self.assertEqual(document["result"]["written"]["size_bytes"], 9)
        self.assertEqual(document["result"]["read"]["xxh128"], document["result"]["written"]["xxh128"])
        terminate = document["calls"][-1]
        self.assertEqual((terminate["status"], terminate["status_name"], terminate["expected"]),
                         (2060016, "STS_E_NOT_SUPPORTED", True))

    def test_shows_each_call_with_status_and_time(self):
        text = self.good("run", "--server", "Kelvarpool:mediaA", data=b"x").stdout.decode()
        self.assertRegex(text, r'(?m)^stspi_claim +success \(0\) +[0-9.]+ (us|ms)  "Kelvarpool:mediaA"$')
        self.assertRegex(text, r"(?m)^stspi_list_lsu x3 +STS_E_NO_MORE_ENTRIES \(2060013\) .*\n    = 2: pool2, pool1$")
        self.assertRegex(text, r"(?m)^written +1 byte in .*MiB/s, xxh128 [0-9a-f]{32}$")
        self.assertRegex(text, r"(?m)^verdict +what was read back is what was written$")
        self.assertNotIn("\033", text)
        self.assertNotIn("Entering", text)

    def test_verbose_shows_the_plugins_log(self):
        text = self.good("run", "-v", "--server", "Kelvarpool:mediaA").stdout.decode()
        self.assertIn("    log 3: ++++ Entering stspi_create_server\n", text)

    def test_leaves_nothing_behind(self):
        before = self.tree()
        self.good("run", "--server", "Kelvarpool:mediaA", data=b"x", STSIMAGE_ROOT=str(self.images))
        self.assertEqual(self.tree(), before)

    def test_leaves_what_was_there_before(self):
        storage = self.storage / "kelvarpool-pool2"
        storage.mkdir()
        mounts = self.root / "mounts"
        mounts.mkdir()
        before = self.tree(self.temporary, self.storage, self.images, mounts)
        self.good("run", "--server", "Kelvarpool:mediaA", "--mount-point", mounts / "deep" / "er" / "link", data=b"x")
        self.assertEqual(self.tree(self.temporary, self.storage, self.images, mounts), before)

    def test_keep_leaves_image_link_and_directories(self):
        mount = self.root / "mounted"
        document = self.document(self.good(
            "run", "--server", "Kelvarpool:mediaA", "--keep", "--pool", "pool1", "--volume", "#UDID#KP1#disk12#",
            "--mount-point", mount, "--image", "kept", "--image-root", self.images, "--json", data=b"kept data"))
        self.assertEqual(os.readlink(mount), f"{self.storage}/kelvarpool-pool1/#UDID#KP1#disk12#")
        self.assertEqual(document["result"]["mount"]["directory"], os.readlink(mount))
        self.assertTrue(any(path.is_file() for path in (self.images / "pool1").rglob("*")))
        self.assertNotIn("stspi_delete_image", calls_of(document))

    def test_refuses_an_image_that_is_there(self):
        arguments = ("--server", "Kelvarpool:mediaA", "--image", "one", "--image-root", self.images)
        self.good("run", "--keep", *arguments, data=b"first")
        before = self.tree(self.images)
        done = self.expect(2, self.simhost("run", *arguments, data=b"second"))
        self.assertIn(b"is there already", done.stderr)
        self.assertEqual(self.tree(self.images), before)

    def test_refuses_a_mount_point_that_is_there(self):
        precious = self.root / "precious"
        precious.write_text("mine")
        done = self.expect(2, self.simhost("run", "--server", "Kelvarpool:mediaA", "--mount-point", precious))
        self.assertIn(b"is there already", done.stderr)
        self.assertEqual(precious.read_text(), "mine")

    def test_data_of_any_length_and_chunk(self):
        for size in (0, 1, 4095, 4096, 4097, 300_000):
            data = hashlib.shake_128(b"%d" % size).digest(size)
            for chunk in ("1K", "4096", "1M"):
                with self.subTest(size=size, chunk=chunk):
                    document = self.document(self.good("run", "--server", "Kelvarpool:mediaA", "--chunk", chunk,
                                                       "--json", data=data))
                    self.assertEqual(document["result"]["read"]["size_bytes"], size)

    def test_data_from_a_file(self):
        file = self.root / "data"
        file.write_bytes(b"abc" * 100_000)
        document = self.document(self.good("run", "--server", "Kelvarpool:mediaA", "--json", file))
        self.assertEqual(document["result"]["read"]["size_bytes"], 300_000)

    def test_a_hundred_megabytes_in_constant_memory(self):
        file = self.root / "data"
        with open(file, "wb") as stream:
            stream.truncate(100_000_000)
        process = subprocess.Popen(self.command("run", "--server", "Kelvarpool:mediaA", file),
                                   stdout=subprocess.DEVNULL, env=self.environment())
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, 0)
        # A sanitizer's own memory is not simhost's.
        if "ASAN_OPTIONS" not in os.environ and "TSAN_OPTIONS" not in os.environ:
            self.assertLess(usage.ru_maxrss, 60_000)

    def test_what_the_plugin_prints_is_shown_apart(self):
        with open(self.config / "Kelvarpool.sim", "a", encoding="ascii") as config:
            config.write("COLOUR = red;\n")
        done = self.good("run", "--server", "Kelvarpool:mediaA", "--json")
        document = self.document(done)
        self.assertEqual(document["plugin_output"], ["Invalid line: 21"])
        self.expect(3, self.simhost("run", "--server", "Kelvarpool:mediaA", "--strict"))
        text = self.good("run", "--server", "Kelvarpool:mediaA").stdout.decode()
        self.assertIn("    printed: Invalid line: 21\n", text)
        self.assertNotIn("\nInvalid line", text)

    def test_a_mount_that_fails_is_told(self):
        text = (self.config / "Kelvarpool.sim").read_text().replace("SUCCESS", "ALREADY_MOUNTED")
        self.configure("Kelvarpool.sim", text)
        before = self.tree()
        done = self.expect(1, self.simhost("run", "--server", "Kelvarpool:mediaA"))
        self.assertIn(b"stspi_mount_lsu answers STS_E_SYSTEM (2060017)", done.stderr)
        self.assertIn(f"MOUNT_BEHAVIOR in {self.config}/Kelvarpool.sim is not SUCCESS".encode(), done.stderr)
        self.assertEqual(self.tree(), before)

    def test_what_stands_in_the_way_of_a_mount_is_told(self):
        def reason(*arguments):
            document = self.document(self.expect(1, self.simhost("run", "--json", "--server", "Kelvarpool:mediaA",
                                                                 *arguments)))
            call = next(call for call in document["calls"] if call["entry_point"] == "stspi_mount_lsu")
            self.assertTrue(document["errors"][0].endswith(call["reason"]), document["errors"])
            return call["reason"]
        self.assertEqual(reason("--mount-point", "/proc/none"),
                         "the link /proc/none could not be made: No such file or directory")
        (self.storage / "kelvarpool-pool2").write_text("")
        self.assertRegex(reason(), f"^the directory {self.storage}/kelvarpool-pool2/.* could not be made: Not a directory$")

    def test_hosts_decide_which_pools_are_listed(self):
        def pools(*arguments):
            document = self.document(self.good("run", "--json", *arguments))
            listing = next(call for call in document["calls"] if call["entry_point"] == "stspi_list_lsu")
            return listing["result"]
        self.assertEqual(pools("--server", "Kelvarpool:mediaA"), "2: pool2, pool1")
        self.assertEqual(pools("--server", "Kelvarpool:mediaA", "--hosts", "mediaB"), "2: archive, pool1")
        self.assertEqual(pools("--server", "Kelvarpool:x", "--hosts", "mediaA,mediaB"), "3: archive, pool2, pool1")
        done = self.expect(1, self.simhost("run", "--server", "Kelvarpool:stranger"))
        self.assertIn(f"no pool is open to stranger: no HOSTS line of {self.config}/Kelvarpool.sim names it".encode(),
                      done.stderr)
        self.assertIn(b"\n    = 0\n", done.stdout)

    def test_a_pool_that_is_not_listed_is_refused(self):
        done = self.expect(1, self.simhost("run", "--server", "Kelvarpool:mediaA", "--pool", "archive"))
        self.assertIn(b'lists no pool "archive"', done.stderr)
        self.assertIn(b"it lists: pool2, pool1", done.stderr)


class CopanCycle(SimhostTest):
    def test_performs_every_step_in_order(self):
        document = self.document(self.good("run", "--server", "copan:arr1", "--json", data=b"some data"))
        self.assertEqual(calls_of(document), [
            "stspi_init", "stspi_init2", "stspi_claim", "stspi_open_server",
            "stspi_open_lsu_list", "stspi_list_lsu", "stspi_close_lsu_list", "stspi_get_lsu_prop_byname",
            "stspi_create_image", "stspi_write_image", "stspi_close_image",
            "stspi_open_image", "stspi_read_image", "stspi_close_image",
            "stspi_open_image_list", "stspi_list_image", "stspi_close_image_list", "stspi_get_image_prop_byname",
            "stspi_delete_image", "stspi_close_server", "stspi_terminate"])
        self.assertEqual(document["result"]["image"]["lsu"], "vol1")
        self.assertEqual(document["result"]["verdict"], "identical")

    def test_leaves_nothing_behind(self):
        before = self.tree()
        self.good("run", "--server", "copan:arr2", "--lsu", "weekly", data=b"x")
        self.assertEqual(self.tree(), before)

    def test_an_unknown_array_is_told(self):
        done = self.expect(1, self.simhost("run", "--server", "copan:arr9"))
        self.assertIn(b"stspi_open_server answers STS_E_INTERNAL (2060026): no STORAGE_SERVER line of "
                      + f'{self.config}/copan.sim names "arr9"'.encode(), done.stderr)
        self.assertIn(b"StorageServer not found", done.stdout)

    def test_options_of_disk_arrays_are_refused(self):
        done = self.expect(2, self.simhost("run", "--server", "copan:arr1", "--pool", "p"))
        self.assertIn(b"use --lsu", done.stderr)
        done = self.expect(2, self.simhost("run", "--server", "Kelvarpool:mediaA", "--lsu", "p"))
        self.assertIn(b"use --pool", done.stderr)


class Usage(SimhostTest):
    def test_errors_end_with_status_2(self):
        for arguments, words in (([], "command"), (["unknown"], "unknown"), (["run"], "--server"),
                                 (["run", "--server"], "--server"), (["run", "--server", "x:y", "--unknown"], "--unknown"),
                                 (["run", "--server", "x:y", "--config-dir", "/does/not/exist"], "/does/not/exist"),
                                 (["run", "--server", "x:y", "--chunk", "0"], "from 1 to 1G"),
                                 (["run", "--server", "x:y", "--chunk", "1025M"], "from 1 to 1G"),
                                 (["run", "--server", "x:y", "--chunk", "12Q"], "12Q"),
                                 (["run", "--server", "x:y", "--plugin", "/does/not/exist.so"], "/does/not/exist.so"),
                                 (["run", "--server", "x:y", "/does/not/exist"], "cannot open /does/not/exist"),
                                 (["run", "--server", "x:y", "/"], "cannot ")):
            with self.subTest(arguments=arguments):
                done = subprocess.run([SIMHOST, *arguments], capture_output=True, stdin=subprocess.DEVNULL,
                                      env=self.environment(), check=False)
                self.assertEqual(done.returncode, 2, done)
                self.assertTrue(done.stderr.startswith(b"simhost: "), done)
                self.assertIn(words.encode(), done.stderr.splitlines()[0])
                self.assertFalse(done.stdout, done)

    def test_what_is_not_understood_is_named(self):
        for arguments, error, help_command in (
                ([], "a command is missing", "simhost"),
                (["lsus"], 'unknown command "lsus"; did you mean lsu?', "simhost"),
                (["image"], "a command is missing", "simhost image"),
                (["image", "nothing"], 'unknown command "nothing"', "simhost image"),
                (["pools", "--jsn"], 'unknown option "--jsn"; did you mean --json?', "simhost pools"),
                (["pools", "-s", "x:y", "more"], 'unexpected argument "more"', "simhost pools"),
                (["pools"], "--server is required: name one, PREFIX:HOST, here or in the environment as SIMHOST_SERVER",
                 "simhost pools")):
            done = subprocess.run([SIMHOST, *arguments], capture_output=True, check=False, text=True)
            self.assertEqual((done.returncode, done.stderr),
                             (2, f'simhost: {error}\nRun "{help_command} --help" for more information.\n'))

    def test_help_ends_with_status_0(self):
        for arguments in (["--help"], ["run", "--help"], ["--version"]):
            done = subprocess.run([SIMHOST, *arguments], capture_output=True, check=False)
            self.assertEqual(done.returncode, 0)
            self.assertTrue(done.stdout)
            self.assertLessEqual(max(map(len, done.stdout.splitlines())), 80)

    def test_an_unclaimed_server_is_told(self):
        done = self.expect(1, self.simhost("run", "--server", "other:x"))
        self.assertIn(f"{self.config}/other.sim cannot be read: No such file or directory".encode(), done.stderr)

    def test_a_server_name_without_one_of_its_parts_is_refused(self):
        for name, part in (("Kelvarpool", "HOST"), ("Kelvarpool:", "HOST"), ("copan:", "HOST"), (":mediaA", "PREFIX"),
                           ("", "PREFIX")):
            for command in (["run"], ["pools"], ["server"], ["server", "--by-name"], ["volumes"], ["lsu", "x"],
                            ["mount", "pool1:disk11", str(self.root / "mnt")], ["image", "ls", "--lsu", "x"]):
                with self.subTest(name=name, command=command):
                    done = subprocess.run([SIMHOST, *command, "--config-dir", str(self.config), "--server", name],
                                          capture_output=True, stdin=subprocess.DEVNULL, env=self.environment(),
                                          check=False)
                    self.assertEqual(done.returncode, 2, done)
                    self.assertIn(f'the server name "{name}" lacks {part}: it must be PREFIX:HOST'.encode(), done.stderr)

    def test_names_that_do_not_fit_are_refused(self):
        done = self.expect(2, self.simhost("run", "--server", "Kelvarpool:mediaA", "--image", "x" * 1024))
        self.assertIn(b"the image name is too long: 1024 bytes, 1023 fit", done.stderr)
        done = self.expect(2, self.simhost("run", "--server", "Kelvarpool:mediaA", "--hosts", "x" * 2056))
        self.assertIn(b"a host name is too long", done.stderr)


class Interrupts(SimhostTest):
    def interrupted(self, *arguments, number=signal.SIGINT):
        before = self.tree()
        process = subprocess.Popen(self.command("run", *arguments), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment())
        process.stdin.write(b"x" * 3_000_000)
        process.stdin.flush()
        # The third chunk of data cannot have been taken before the image was created.
        for line in iter(process.stdout.readline, b""):
            if line.startswith(b"stspi_create_image"):
                break
        process.send_signal(number)
        out, err = process.communicate(timeout=120) if process.stdin.closed else self.drain(process)
        self.assertEqual(process.returncode, -number, (out, err))
        self.assertIn(b"simhost: interrupted", err)
        self.assertIn(b"stspi_close_server", out)
        self.assertIn(b"stspi_terminate", out)
        self.assertEqual(self.tree(), before)

    @staticmethod
    def drain(process):
        # Standard input stays open: only the signal can end the wait for data.
        out = process.stdout.read()
        err = process.stderr.read()
        process.wait(timeout=120)
        process.stdin.close()
        process.stdout.close()
        process.stderr.close()
        return out, err

    def test_everything_is_undone(self):
        self.interrupted("--server", "Kelvarpool:mediaA")
        self.interrupted("--server", "copan:arr1", number=signal.SIGTERM)
        self.interrupted("--server", "copan:arr1", number=signal.SIGHUP)


class Terminal(SimhostTest):
    def on_terminal(self, *arguments, **environment):
        """Runs simhost with its standard error (and output) on a terminal; gives all that appears there."""
        master, slave = pty.openpty()
        process = subprocess.Popen(self.command("run", *arguments), stdin=subprocess.DEVNULL, stdout=slave,
                                   stderr=slave, env=self.environment(TERM="xterm", **environment))
        os.close(slave)
        shown = b""
        while True:
            try:
                piece = os.read(master, 65536)
            except OSError:
                break
            if not piece:
                break
            shown += piece
        os.close(master)
        self.assertEqual(process.wait(timeout=120), 0, shown)
        return shown.decode()

    def test_a_bar_is_drawn_while_data_flows_and_taken_away(self):
        file = self.root / "data"
        file.write_bytes(os.urandom(2_000_000))
        shown = self.on_terminal("--server", "Kelvarpool:mediaA", file)
        self.assertRegex(shown, r"\rwrite  \[[#.]+\] +\d+%  .* of 1\.9 MiB")
        self.assertRegex(shown, r"\rread   \[[#.]+\] +\d+%")
        self.assertIn("\r\033[K", shown)

    def test_no_bar_when_not_wanted(self):
        file = self.root / "data"
        file.write_bytes(os.urandom(2_000_000))
        self.assertNotIn("[#", self.on_terminal("--no-progress", "--server", "Kelvarpool:mediaA", file))

    def test_colours_only_on_a_terminal_and_without_no_color(self):
        self.assertIn("\033[32m", self.on_terminal("--server", "copan:arr1"))
        self.assertNotIn("\033[32m", self.on_terminal("--server", "copan:arr1", NO_COLOR="1"))
        self.assertNotIn("\033[32m", self.on_terminal("--server", "copan:arr1", "--json"))


if __name__ == "__main__":
    main()
