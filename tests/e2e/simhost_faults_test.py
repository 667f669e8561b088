"""simhost with a plug-in that goes wrong, or a filter that makes it: each fault is told and everything is undone."""

import os
import re
import signal
import subprocess

from json_schema import document_of
from simhost_world import FAKE_PLUGIN, SIMHOST, SimhostTest, main


class Faults(SimhostTest):
    def run_with(self, faults, *arguments, server="Kelvarpool:mediaA", data=b"0123456789"):
        return self.simhost("run", "--server", server, *arguments, plugin=FAKE_PLUGIN, faults=faults, data=data)

    def failing(self, faults, message, *arguments, **how):
        before = self.tree()
        done = self.expect(1, self.run_with(faults, *arguments, **how))
        self.assertIn(message.encode(), done.stderr)
        self.assertEqual(self.tree(), before)
        return done

    def test_without_faults_all_is_well(self):
        for server in ("Kelvarpool:mediaA", "copan:arr1"):
            self.expect(0, self.run_with("", server=server))

    def test_an_unexpected_status_of_any_call_is_told(self):
        calls = ["init", "init2", "claim", "create_server", "open_lsu_list", "list_lsu", "get_lsu_prop_byname",
                 "open_dynamic_lsu_list", "mount_lsu", "create_image", "write_image", "close_image", "open_image",
                 "read_image", "open_image_list", "list_image", "get_image_prop_byname", "delete_image",
                 "close_server", "terminate"]
        for call in calls:
            with self.subTest(call=call):
                self.failing(f"status:{call}=2060022", f"stspi_{call} answers STS_E_NOT_FOUND (2060022)")

    def test_a_list_entry_without_a_name_is_not_used(self):
        rules = self.root / "rules"
        nothing_stored = "stspi_list_lsu answered success and stored no {} name"
        # The list of mediaA's two pools takes three calls; the fourth gives the first volume.
        for call, server, what in ((1, "Kelvarpool:mediaA", "pool"), (4, "Kelvarpool:mediaA", "volume"),
                                   (1, "copan:arr1", "LSU")):
            with self.subTest(call=call, server=server):
                rules.write_text(f"on list_lsu call {call} answer 0\n")
                before = self.tree()
                done = self.expect(1, self.simhost("run", "--server", server, "--faults", rules, data=b"data"))
                self.assertIn(nothing_stored.format(what).encode(), done.stderr)
                self.assertEqual([path for path in self.tree() if path not in before and "pool2" not in path], [])
                self.assertFalse([path for path in self.tree() if path.endswith(":")])
        rules.write_text("on list_lsu call 2 answer 0\n")
        done = self.expect(0, self.simhost("run", "--server", "copan:arr1", "--faults", rules, data=b"data"))
        self.assertIn(nothing_stored.format("LSU").encode(), done.stderr)

    def test_an_unknown_status_is_told_by_number(self):
        self.failing("status:open_lsu_list=-2", "stspi_open_lsu_list answers unknown status (-2)")

    def test_a_server_handle_of_a_failed_opening_is_closed(self):
        done = self.failing("status:open_server=2060026 log:because", "stspi_open_server answers STS_E_INTERNAL",
                            server="copan:arr1")
        self.assertIn(b"stspi_close_server", done.stdout)
        self.assertIn(b"    log 4: because\n", done.stdout)

    def test_a_changed_byte_is_found(self):
        self.failing("corrupt:7", "the image differs from the data: xxh128")
        file = self.root / "data"
        file.write_bytes(b"0123456789" * 100)
        self.failing("corrupt:777", "the image differs from the data, first at byte 777", file)
        self.failing("corrupt:777", "first at byte 777", "--chunk", "10", file)

    def test_missing_bytes_are_found(self):
        self.failing("cut:9", "10 bytes were written, 9 read back")
        self.failing("cut:0", "10 bytes were written, 0 read back")

    def test_a_file_that_changes_while_it_is_backed_up_is_told(self):
        file = self.root / "data"
        file.write_bytes(b"0123456789")
        self.failing(f"rewrite:{file}", "the file changed at byte 1 while it was backed up", file)

    def test_a_read_of_more_than_was_asked_for_is_found(self):
        self.failing("long", "stspi_read_image reports 1048577 bytes at offset 0, 1048576 were asked for")

    def test_the_reason_of_a_failed_mount_is_of_that_call(self):
        self.failing("status:mount_lsu=2060017", "no file-system call failed and the plug-in logs nothing")
        self.failing("status:mount_lsu=2060017 stumble", "no file-system call failed and the plug-in logs nothing")
        self.failing("status:mount_lsu=2060017 say:because", "the plug-in's message says why")

    def test_a_short_write_is_found(self):
        self.failing("short", "stspi_write_image took 9 of 10 bytes at offset 0")

    def test_wrong_properties_are_found(self):
        self.failing("size:11", "the image's properties tell 11 bytes, 10 were written")

    def test_an_image_missing_in_the_list_is_found(self):
        self.failing("forget", "is not among the images")

    def test_a_mount_without_a_link_is_found(self):
        self.failing("nolink", "is no link")

    def test_a_null_slot_is_told(self):
        self.failing("null:11", "slot 11 of the first table (stspi_create_image) is null")

    def test_a_library_that_is_no_plugin_is_refused(self):
        done = self.expect(2, self.simhost("run", "--server", "Kelvarpool:mediaA", plugin="libc.so.6"))
        self.assertIn(b"is not a plug-in", done.stderr)

    def test_a_failing_clean_up_is_a_warning(self):
        done = self.expect(1, self.run_with("status:create_image=1 status:close_server=2"))
        self.assertIn(b"warning: stspi_close_server answers unknown status (2) while releasing", done.stderr)
        self.assertIn(b"stspi_create_image answers unknown status (1)", done.stderr)

    def test_what_is_printed_is_shown_apart(self):
        done = self.expect(0, self.run_with("print:HELLO", "--json"))
        self.assertEqual(document_of(done.stdout)["plugin_output"], ["HELLO"])
        done = self.expect(0, self.run_with("print:HELLO"))
        self.assertIn(b"    printed: HELLO\n", done.stdout)
        self.expect(3, self.run_with("print:HELLO", "--strict"))

    def test_control_characters_do_not_reach_the_terminal(self):
        done = self.expect(0, self.run_with("print:\033[31mred"))
        self.assertNotIn(b"\033", done.stdout)
        self.assertIn(b"\\x1b[31mred", done.stdout)

    def test_directories_that_others_use_stay(self):
        place = self.root / "place"
        place.mkdir()
        done = self.expect(0, self.run_with(f"directory:{place}"))
        self.assertFalse((place / "images").exists())
        self.assertTrue((place / "mounted" / "foreign").exists())
        self.assertIn(f"warning: {place}/mounted was made by this run and is not empty; it stays".encode(),
                      done.stderr)

    def test_a_pipe_that_nobody_reads_ends_a_command_quietly(self):
        before = self.tree()
        for command in (["run", "--server", "Kelvarpool:mediaA"], ["pools", "--json", "--server", "copan:arr1"],
                        ["image get", "one", "--server", "copan:arr1", "--lsu", "vol1"]):
            with self.subTest(command=command):
                read, write = os.pipe()
                os.close(read)
                process = subprocess.run(self.command(*command, plugin=FAKE_PLUGIN), stdin=subprocess.DEVNULL,
                                         stdout=write, stderr=subprocess.PIPE,
                                         env=self.environment(FAKE_PLUGIN="has:one"), check=False)
                os.close(write)
                self.assertEqual((process.returncode, process.stderr), (-signal.SIGPIPE, b""))
                self.assertEqual(self.tree(), before)

    def test_a_pipe_that_nobody_reads_does_not_keep_standard_error_from_being_undone(self):
        before = self.tree()
        read, write = os.pipe()
        os.close(read)
        process = subprocess.run(self.command("run", "-v", "--server", "Kelvarpool:mediaA", plugin=FAKE_PLUGIN),
                                 stdin=subprocess.DEVNULL, stdout=write, stderr=write, env=self.environment(),
                                 check=False)
        os.close(write)
        self.assertEqual(process.returncode, -signal.SIGPIPE)
        self.assertEqual(self.tree(), before)

    def test_a_standard_output_that_cannot_be_written_is_told(self):
        with open("/dev/full", "wb") as full:
            process = subprocess.run(self.command("run", "--server", "Kelvarpool:mediaA", plugin=FAKE_PLUGIN),
                                     stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE,
                                     env=self.environment(), check=False)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"cannot write to standard output", process.stderr)

    def test_the_errors_are_in_the_document(self):
        document = document_of(self.failing("corrupt:1", "differs", "--json").stdout)
        self.assertFalse(document["ok"])
        self.assertEqual(document["exit_status"], 1)
        self.assertIn("differs", document["errors"][0])


class Rules(SimhostTest):
    def rules(self, text, name="rules"):
        path = self.root / name
        path.write_text(text, encoding="utf-8")
        return path

    def pools(self, rules, *words):
        return self.simhost("pools", "--server", "Kelvarpool:mediaA", "--faults", rules, *words)

    def faults(self, *words, status=0):
        done = subprocess.run([SIMHOST, "faults", *map(str, words)], capture_output=True, check=False,
                              env=self.environment(), timeout=60)
        return self.expect(status, done)

    def test_programs_are_told_when_a_rule_fired_first_and_last(self):
        rules = self.rules("on list_lsu delay 1ms\non close_server call 9 answer 5\n")
        self.expect(0, self.pools(rules))
        for done in (self.pools(rules, "--json"), self.faults("status", rules, "--json")):
            fired, never = document_of(done.stdout)["result"]["faults"]["rules"]
            self.assertRegex(fired["first_fired"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            self.assertLessEqual(fired["first_fired"], fired["last_fired"])
            self.assertNotIn("first_fired", never)
            self.assertNotIn("last_fired", never)

    def test_times_of_another_day_have_their_date(self):
        rules = self.rules("on list_lsu delay 1ms\n")
        self.expect(0, self.pools(rules))
        ledger = self.root / "rules.ledger"
        bytes_now = bytearray(ledger.read_bytes())
        # Twelve numbers stand before a rule's text: the ninth is the time of its first firing.
        place = bytes_now.index(b"on list_lsu delay 1ms") - 4 * 8
        first = int.from_bytes(bytes_now[place:place + 8], "little")
        bytes_now[place:place + 8] = (first - 3 * 86400 * 10**9).to_bytes(8, "little")
        ledger.write_bytes(bytes_now)
        told = self.faults("status", rules).stdout.decode()
        self.assertEqual(len(re.findall(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} ", told)), 1, told)

    def test_a_file_that_cannot_be_read_is_told_with_the_reason(self):
        for path, reason in ((self.root / "none", b"No such file or directory"), (self.root, b"Is a directory")):
            self.assertIn(b": " + reason, self.faults("check", path, status=2).stderr)

    def test_the_mark_stands_below_the_mistake_behind_wide_and_accented_letters(self):
        for name, columns in (("b\u00e4r", 3), ("\u78c1\u76d8", 4), ("e\u0301", 1)):
            rules = self.rules(f'on open_server server "{name}" wrong\n')
            told = self.faults("check", rules, status=1).stdout.decode()
            self.assertIn(f"\n      | {' ' * (len('on open_server server ') + columns + 3)}^~~~~\n", told)
            rules = self.rules(f"on {name}{name}\n")
            told = self.faults("check", rules, status=1).stdout.decode()
            self.assertIn(f"\n      |    ^{'~' * (2 * columns - 1)}\n", told)

    def test_the_directory_of_a_journals_data_is_not_the_plugins(self):
        journal = self.root / "calls.stspi"
        rules = self.rules(f"journal {journal} 16M bytes\n")
        done = self.expect(0, self.simhost("run", "--server", "Kelvarpool:mediaA", "--faults", rules, "--strict",
                                           data=b"0123456789" * 1000))
        self.assertNotIn(b"was made by this run", done.stderr)
        self.assertTrue(any((self.root / "calls.stspi.data").iterdir()))

    def test_why_a_rule_that_asks_for_a_status_never_fired(self):
        rules = self.rules("on open_lsu_list returned error answer 5\n"
                           "on open_lsu_list server Kelvar* returned error answer 5\n"
                           "on close_server after answer 0\n"
                           "on close_server answer 0\n")
        told = self.pools(rules).stdout.decode()
        self.assertRegex(told, "NEVER FIRED: called [a-z0-9 ]+, but that status never came back, or another rule answered\n")
        self.assertIn("but names, numbers or status never matched, or another rule answered\n", told)
        self.assertRegex(told, "on close_server after answer 0   <- NEVER FIRED: there was nothing to act on, or another "
                               "rule answered\n")

    def test_apply_keeps_link_owner_and_mode(self):
        settings = self.rules("on close_server answer 5\n", "real")
        settings.chmod(0o640)
        if os.geteuid() == 0:
            os.chown(settings, 1234, 2345)
        before = settings.stat()
        link = self.root / "filter.conf"
        link.symlink_to(settings)
        new = self.rules("on close_server answer 6\n", "new")
        self.faults("apply", new, "--settings", link)
        self.assertTrue(link.is_symlink())
        self.assertEqual(settings.read_text(), new.read_text())
        after = settings.stat()
        self.assertEqual((after.st_mode, after.st_uid, after.st_gid), (before.st_mode, before.st_uid, before.st_gid))
        self.assertEqual(sorted(path.name for path in self.root.glob("real*")), ["real"])

    def test_apply_makes_a_settings_file_where_there_is_none(self):
        new = self.rules("on close_server answer 6\n", "new")
        self.faults("apply", new, "--settings", self.root / "filter.conf")
        self.assertEqual((self.root / "filter.conf").read_text(), new.read_text())
        self.assertEqual((self.root / "filter.conf").stat().st_mode, new.stat().st_mode)

    def test_apply_demands_the_plugin_line_that_the_settings_have(self):
        settings = self.rules("plugin /some/plugin.so\n", "filter.conf")
        new = self.rules("on close_server answer 6\n", "new")
        done = self.faults("apply", new, "--settings", settings, status=2)
        self.assertIn(f'{new}: no line says which plug-in to wrap, as {settings} does (write "plugin /some/plugin.so")'
                      .encode(), done.stderr)
        self.assertEqual(settings.read_text(), "plugin /some/plugin.so\n")

    def test_apply_replaces_files_only(self):
        new = self.rules("on close_server answer 6\n", "new")
        pipe = self.root / "pipe"
        os.mkfifo(pipe)
        self.assertIn(b"is no file that can be replaced", self.faults("apply", new, "--settings", pipe, status=2).stderr)


if __name__ == "__main__":
    main()
