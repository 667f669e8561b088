"""Nothing is lost without a word: data that would go astray, descriptors that are closed, rows that hide others."""

import os
import pty
import signal
import subprocess

from simhost_world import SIMHOST, SimhostTest, main


class OptionsWithLists(SimhostTest):
    """They take one argument, with commas in it, and leave what comes behind them alone."""

    def test_hosts_leave_the_arguments_behind_them(self):
        file = self.root / "numbers"
        file.write_bytes(b"12345")
        put = self.document(self.good("image put", "--json", "--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root",
                                      self.images, "--hosts", "mediaA,mediaB", "one", file))
        self.assertEqual((put["result"]["name"], put["result"]["size_bytes"]), ("one", 5))
        run = self.document(self.good("run", "--json", "--server", "Kelvarpool:x", "--hosts", "mediaA,mediaB", file))
        self.assertEqual(run["result"]["written"]["size_bytes"], 5)

    def test_hosts_may_be_given_again(self):
        done = self.good("pools", "--server", "Kelvarpool:x", "--hosts", "mediaA", "--hosts", "mediaB")
        self.assertEqual([line.split()[0] for line in done.stdout.decode().splitlines()[1:]],
                         ["archive", "pool2", "pool1"])

    def test_hosts_of_init_leave_the_server(self):
        subprocess.run([SIMHOST, "init", "-c", self.root, "--storage-dir", self.storage, "--hosts", "a,b", "Kelvarpool"],
                       check=True, capture_output=True)
        self.assertIn("HOSTS = a,b;", (self.root / "Kelvarpool.sim").read_text())

    def test_servers_of_check_leave_the_file(self):
        file = self.config / "Kelvarpool.sim"
        done = subprocess.run([SIMHOST, "check", "--server", "Kelvarpool:mediaA,Kelvarpool:mediaB", file],
                              capture_output=True, check=False)
        self.expect(0, done)
        done = subprocess.run([SIMHOST, "check", "--server", "Kelvarpool:mediaA,Kelvarpool:none", file],
                              capture_output=True, check=False)
        self.expect(1, done)
        self.assertIn(b"no pool lists host 'none'", done.stdout)


class ClosedDescriptors(SimhostTest):
    def closed(self, which, command, *arguments):
        return subprocess.run(["sh", "-c", f'exec "$@" {which}', "sh", *self.command(command, *arguments)],
                              capture_output=True, stdin=subprocess.DEVNULL, env=self.environment(), check=False)

    def test_a_closed_standard_input_is_no_empty_image(self):
        place = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", self.images)
        done = self.expect(2, self.closed("<&-", "image put", *place, "one"))
        self.assertIn(b"cannot read standard input: it is closed, or open for writing only", done.stderr)
        self.assertEqual(self.tree(self.images), [])
        self.expect(2, self.closed("<&-", "run", "--server", "Kelvarpool:mediaA"))
        self.expect(0, self.closed("<&-", "pools", "--server", "Kelvarpool:mediaA"))
        file = self.root / "data"
        file.write_bytes(b"abc")
        self.expect(0, self.closed("<&-", "image put", *place, "one", file))

    def test_a_closed_standard_input_is_no_empty_file(self):
        for command in ("check", "show"):
            done = subprocess.run(["sh", "-c", 'exec "$@" <&-', "sh", SIMHOST, command, "--as", "array", "-"],
                                  capture_output=True, check=False)
            self.expect(2, done)
            self.assertIn(b"standard input", done.stderr)

    def test_a_closed_standard_output_is_told_before_anything_is_done(self):
        before = self.tree()
        for arguments in (("image get", "one", "--server", "Kelvarpool:mediaA", "--lsu", "pool1"),
                          ("run", "--server", "Kelvarpool:mediaA"), ("pools", "--server", "Kelvarpool:mediaA")):
            done = self.expect(2, self.closed(">&-", *arguments))
            self.assertIn(b"simhost: standard output is closed", done.stderr)
            self.assertNotIn(b"the plug-in printed", done.stderr)
        self.assertEqual(self.tree(), before)

    def test_a_closed_standard_error_holds_no_file(self):
        place = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", self.images)
        self.good("image put", *place, "one", data=b"abc")
        done = self.expect(0, self.closed("2>&-", "image get", *place, "one", "-"))
        self.assertEqual(done.stdout, b"abc")
        file = self.root / "file"
        self.expect(0, self.closed("2>&-", "image get", "-v", *place, "one", file))
        self.assertEqual(file.read_bytes(), b"abc")


class IgnoredSignals(SimhostTest):
    def test_a_signal_that_was_ignored_at_the_start_does_not_stop(self):
        for number in (signal.SIGHUP, signal.SIGINT):
            process = subprocess.Popen(
                self.command("run", "--json", "--server", "Kelvarpool:mediaA"), stdin=subprocess.PIPE,
                stdout=subprocess.PIPE, env=self.environment(), restore_signals=False,
                preexec_fn=lambda number=number: signal.signal(number, signal.SIG_IGN))
            process.stdin.write(b"x" * 2_000_000)  # more than a pipe holds: the program is at work when this returns
            process.stdin.flush()
            process.send_signal(number)
            out, _ = process.communicate(timeout=60)
            self.assertEqual(process.returncode, 0, out)


class UnknownPlaces(SimhostTest):
    def put(self, lsu, server="Kelvarpool:mediaA", *arguments):
        return self.expect(0, self.simhost("image put", "--replace", "--server", server, "--lsu", lsu, "--image-root",
                                           self.images, *arguments, "one", data=b"x"))

    def test_put_warns_of_what_the_server_does_not_offer(self):
        for server, lsu, words in (
                ("Kelvarpool:mediaA", "golden", '"Kelvarpool:mediaA" has no pool "golden"'),
                ("Kelvarpool:mediaA", "archive", 'the pool "archive" is not open to mediaA'),
                ("Kelvarpool:stranger", "pool1", 'the pool "pool1" is not open to stranger'),
                ("Kelvarpool:mediaA", "pool1:none", 'no pool of "Kelvarpool:mediaA" has a disk or volume "none"')):
            with self.subTest(server=server, lsu=lsu):
                self.assertIn(f"simhost: warning: {words}".encode(), self.put(lsu, server).stderr)

    def test_put_says_nothing_of_what_it_offers(self):
        for server, lsu in (("Kelvarpool:mediaA", "pool1"), ("Kelvarpool:mediaB", "archive"), ("copan:arr1", "vol1"),
                            ("Kelvarpool:mediaA", self.root)):
            self.assertEqual(self.put(lsu, server).stderr, b"")

    def test_copy_warns_of_its_target(self):
        self.put("pool1")
        done = self.good("image copy", "--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", self.images,
                         "--to-lsu", "golden", "one", "two")
        self.assertIn(b'"Kelvarpool:mediaA" has no pool "golden"', done.stderr)

    def images_of(self, lsu):
        return self.simhost("image ls", "--server", "Kelvarpool:mediaA", "--lsu", lsu, "--image-root", self.images)

    def test_the_images_of_an_unused_pool_are_an_empty_list(self):
        self.images.rmdir()
        done = self.expect(0, self.images_of("pool1"))
        self.assertEqual((done.stdout, done.stderr), (b"", b""))
        self.put("pool2")
        self.expect(0, self.images_of("pool1"))
        document = self.document(self.good("image ls", "--json", "--server", "Kelvarpool:mediaA", "--lsu", "pool1",
                                           "--image-root", self.images))
        self.assertEqual(document["result"]["images"], [])

    def test_the_images_of_an_unknown_pool_are_not(self):
        for lsu, words in (("golden", b'has no pool "golden"'), ("archive", b'the pool "archive" is not open to mediaA'),
                           (self.root / "missing", b"No such file or directory")):
            self.assertIn(words, self.expect(1, self.images_of(lsu)).stderr)


class ImageOnATerminal(SimhostTest):
    def get(self, *arguments):
        master, slave = pty.openpty()
        done = subprocess.run(
            self.command("image get", "--no-progress", "--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root",
                         self.images, "one", *arguments),
            stdin=subprocess.DEVNULL, stdout=slave, stderr=subprocess.PIPE, env=self.environment(), check=False)
        done.stdout = b""
        os.close(slave)
        shown = b""
        try:
            shown = os.read(master, 1000)
        except OSError:
            pass
        os.close(master)
        return done, shown

    def test_it_is_not_written_there_unless_told(self):
        self.good("image put", "--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", self.images, "one",
                  data=b"DATA")
        done, shown = self.get()
        self.assertIn(b"standard output is a terminal: name a FILE, or give - or --force", self.expect(2, done).stderr)
        self.assertEqual(shown, b"")
        for arguments in (["--force"], ["-"], ["-o", "-"], ["--output", "-"]):
            done, shown = self.get(*arguments)
            self.expect(0, done)
            self.assertEqual(shown, b"DATA")
        done, _ = self.get("-o", self.root / "file")
        self.expect(0, done)
        self.assertEqual((self.root / "file").read_bytes(), b"DATA")


class RowsThatCame(SimhostTest):
    def test_an_lsu_without_a_name_does_not_hide_the_others(self):
        self.configure("copan.sim", f"STORAGE_SERVER = arr1;\nVOLUMES = a,#,b;\nSTORAGE_DIR = {self.storage}/c;\n")
        done = self.expect(1, self.simhost("pools", "--server", "copan:arr1"))
        self.assertEqual([line.split()[0] for line in done.stdout.decode().splitlines()], ["LSU", "a", '""', "b"])
        self.assertIn(b"the LSU's name is empty", done.stderr)
        self.assertIn(b"1 of 3 LSUs cannot be described", done.stderr)
        document = self.document(self.expect(1, self.simhost("pools", "--json", "--server", "copan:arr1")))
        self.assertEqual([pool["lsu"] for pool in document["result"]["pools"]], ["a", "", "b"])
        self.assertEqual(document["exit_status"], 1)

    def test_a_volume_or_pool_that_cannot_be_described_does_not_hide_the_others(self):
        done = self.expect(1, self.simhost("volumes", "--server", "Kelvarpool:mediaA", "pool1", "none", "pool2"))
        self.assertEqual({line.split()[0] for line in done.stdout.decode().splitlines()}, {"POOL", "pool1", "pool2"})
        self.assertIn(b'none: stspi_open_dynamic_lsu_list answers STS_E_NO_SERVER', done.stderr)


if __name__ == "__main__":
    main()
