#!/usr/bin/env python3
"""Checks of the suite's own program: what it says and how it ends, for libraries good and bad."""

import argparse
import fcntl
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree

PATHS = None


class Runner(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.mkdtemp(prefix="check-runner-")
        self.addCleanup(shutil.rmtree, self.scratch, True)
        self.temporary = os.path.join(self.scratch, "tmp")
        os.mkdir(self.temporary)

    def environment(self, more=None):
        return {**os.environ, "TMPDIR": self.temporary, "STSPI_BROKEN_REAL": PATHS.plugin, "STSPI_BROKEN": "", **(more or {})}

    def run_suite(self, *arguments, **more):
        environment = self.environment(more)
        result = subprocess.run([PATHS.suite, *arguments], env=environment, text=True, capture_output=True, timeout=300)
        self.assertEqual(os.listdir(self.temporary), [], "something was left in the temporary directory")
        return result

    def expect(self, result, status, *texts):
        everything = result.stdout + result.stderr
        self.assertEqual(result.returncode, status, everything)
        for text in texts:
            self.assertIn(text, everything)

    # ---- libraries that cannot be tested ----

    def test_missing_library(self):
        self.expect(self.run_suite("/no/such/library.so"), 2, "/no/such/library.so: No such file or directory")

    def test_file_that_is_no_library(self):
        self.expect(self.run_suite("/etc/passwd"), 2, "/etc/passwd: cannot be loaded", "invalid ELF header")

    def test_library_that_is_no_plugin(self):
        self.expect(self.run_suite(PATHS.not_a_plugin), 2, "not a plug-in", "stspi_init", "STSSANDiskEntryPoints2")

    def test_crash_at_load(self):
        result = self.run_suite(PATHS.bad_load, STSPI_BAD_LOAD="crash")
        self.expect(result, 2, "ended by signal 6 (SIGABRT) in dlopen of libstspi_conformance_bad_load.so")

    def test_exit_at_load(self):
        result = self.run_suite(PATHS.bad_load, STSPI_BAD_LOAD="exit")
        self.expect(result, 2, "ended with exit status 3 in dlopen of libstspi_conformance_bad_load.so")

    def test_broken_plugin_that_has_nothing_to_break(self):
        for value, why in (("", "it is not set"), ("/no/such.so", "/no/such.so: cannot open shared object file")):
            result = self.run_suite(PATHS.broken, STSPI_BROKEN_REAL=value)
            self.expect(result, 2, "ended with exit status 1 in dlopen of libstspi_broken.so",
                        "STSPI_BROKEN_REAL must name the plug-in to wrap: " + why)
            self.assertEqual(result.stderr.count("STSPI_BROKEN_REAL"), 1)

    def test_hang_at_load(self):
        result = self.run_suite(PATHS.bad_load, "--timeout", "3", STSPI_BAD_LOAD="hang")
        self.expect(result, 2, "no end within 3 s, in dlopen of libstspi_conformance_bad_load.so")

    # ---- plug-ins that go wrong in a call ----

    def test_exit_in_a_call(self):
        result = self.run_suite(PATHS.broken, "--filter", "claim.*,ioctl.*", STSPI_BROKEN="claim.exits")
        self.expect(result, 1, "ended with exit status 3 in stspi_claim(", "ioctl                4 pass")

    def test_crash_in_a_call(self):
        result = self.run_suite(PATHS.broken, "--filter", "claim.*,ioctl.*", STSPI_BROKEN="claim.crashes")
        self.expect(result, 1, "crash   claim.first-colon", "ended by signal 6 (SIGABRT) in stspi_claim(", "ioctl                4 pass")

    def test_hang_in_a_call(self):
        result = self.run_suite(PATHS.broken, "--filter", "claim.null-or-empty,claim.first-colon,ioctl.*", "--timeout", "3",
                                STSPI_BROKEN="claim.hangs")
        self.expect(result, 1, "timeout claim.first-colon", "no end within 3 s, in stspi_claim(", "ioctl                4 pass")

    def test_exception_out_of_a_call(self):
        result = self.run_suite(PATHS.broken, "--filter", "claim.first-colon", STSPI_BROKEN="claim.throws")
        self.expect(result, 1, "exception", "claim failed")

    # ---- surroundings: the good plug-in passes in all of them ----

    def run_in(self, prepare, tests, **more):
        result = subprocess.run([PATHS.suite, PATHS.plugin, "--filter", tests], env=self.environment(more), text=True,
                                capture_output=True, timeout=300, preexec_fn=prepare)
        self.expect(result, 0, "The plug-in conforms.")
        return result

    def test_any_umask(self):
        for mask in (0o027, 0o077, 0o777):
            self.run_in(lambda mask=mask: os.umask(mask), "mount.existing-directories,mount.success,copan.storage.*,claim.*")

    def test_ignored_and_blocked_signals(self):
        def ignore():
            for number in (signal.SIGCHLD, signal.SIGALRM, signal.SIGTERM, signal.SIGUSR1):
                signal.signal(number, signal.SIG_IGN)
        self.run_in(ignore, "load-process.*")
        self.run_in(lambda: signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGCHLD, signal.SIGALRM, signal.SIGUSR1}),
                    "load-process.*")

    def test_limited_address_space(self):
        tests = "copy-extent.*,include-in-image.*"
        hard = self.run_in(lambda: resource.setrlimit(resource.RLIMIT_AS, (1 << 30, 1 << 30)), tests)
        self.expect(hard, 0, "skip    copy-extent.length-beyond-32-bits", "this process may not have 4296015888 bytes of memory")
        soft = self.run_in(lambda: resource.setrlimit(resource.RLIMIT_AS, (1 << 30, resource.RLIM_INFINITY)), tests)
        self.assertNotIn("skip", soft.stdout)

    def test_temporary_directory_that_no_configuration_can_name(self):
        for name, why in (("a b", "holds no white space"), ("a\nb", "holds no white space"), ("a;b", "ends at ';'"),
                          ("x" * 250 + "/" + "y" * 100, "up to 300 bytes")):
            directory = os.path.join(self.scratch, name)
            os.makedirs(directory)
            result = self.run_in(None, "copan.storage.*,mount.log", TMPDIR=directory)
            self.expect(result, 0, "stspi-conformance: TMPDIR is ", why, "the tests work below /tmp")
            self.assertEqual(os.listdir(directory), [])

    def test_temporary_directory_where_no_program_runs(self):
        if os.geteuid() != 0 or subprocess.run(["unshare", "-m", "true"], capture_output=True).returncode != 0:
            self.skipTest("needs root and mount namespaces")
        script = "mount -t tmpfs -o noexec tmpfs %s && exec %s %s --filter 'claim.*'" % (self.temporary, PATHS.suite, PATHS.plugin)
        result = subprocess.run(["unshare", "-m", "sh", "-c", script], env=self.environment(), text=True, capture_output=True)
        self.expect(result, 2, "lies where no programs are run, as some tests do: set TMPDIR to another place")

    def test_closed_standard_descriptors(self):
        result = subprocess.run(["sh", "-c", "exec %s %s --filter 'claim.*,load-process.*,registration.*' <&- 2>&-" % (PATHS.suite, PATHS.plugin)],
                                env=self.environment(), text=True, capture_output=True, timeout=300)
        self.expect(result, 0, "The plug-in conforms.")

    # ---- reports ----

    def test_finding_says_everything(self):
        result = self.run_suite(PATHS.broken, "--filter", "lsu-list.pool.reverse-order", STSPI_BROKEN="list.file-order")
        self.expect(result, 1, "fail    lsu-list.pool.reverse-order", "demands   Pools come in the reverse",
                    "called    stspi_list_lsu(", "expected  ", "got  ",
                    "alone     stspi-conformance %s --filter lsu-list.pool.reverse-order" % PATHS.broken, "does not conform")
        self.assertIn("0 expected  64 67*33 00 a5", result.stdout)
        self.assertRegex(result.stdout, r"\d+ of 1024 bytes differ")

    def test_finding_shows_the_files(self):
        result = self.run_suite(PATHS.broken, "--filter", "lsu-list.pool.reverse-order", STSPI_BROKEN="list.file-order")
        self.expect(result, 1, "    files\n      Kelvarpool.sim:\n        ENCLOSURE = dg1;\n            HOSTS = h;\n        ENCLOSURE = dg2;\n")
        self.assertEqual(result.stdout.count("Kelvarpool.sim:"), 1, "the same files stand there once")
        many = self.run_suite(PATHS.broken, "--filter", "lsu-list.pool.many", STSPI_BROKEN="list.file-order")
        self.expect(many, 1, "        ENCLOSURE = pool0;\n", "        ... (4000 lines)\n")
        crash = self.run_suite(PATHS.broken, "--filter", "claim.contents-do-not-matter", STSPI_BROKEN="claim.crashes")
        self.expect(crash, 1, "    files\n      lab.sim:\n        =;;;\n        FOO = 1;\n        no equals sign\n")

    def test_finding_names_fields_and_earlier_calls(self):
        pool = self.run_suite(PATHS.broken, "--filter", "lsu-props.pool.record", STSPI_BROKEN="props.pool-capacity-of-one-disk")
        self.expect(pool, 1, '    called    stspi_get_lsu_prop_byname({handle, "g"}, ',
                    "      capacity_bytes (offset 4712) expected 400 (0x190), got 100 (0x64)\n")
        hosts = self.run_suite(PATHS.broken, "--filter", "server-create.hosts.all-read", STSPI_BROKEN="create.last-host-lost")
        self.assertRegex(hosts.stdout, r'before    stspi_create_server\([^\n]*\n    before    stspi_open_lsu_list\(')
        log = self.run_suite(PATHS.broken, "--filter", "server-open.disk-array.log", STSPI_BROKEN="open.disk-array-blank-lost")
        self.assertRegex(log.stdout, r'expected  level 3 context [0-9a-f]+ "KELVARPOOL "\n    got       level 3 context [0-9a-f]+ "KELVARPOOL"\n')
        self.assertRegex(log.stdout, r'\n      \* level 3 context [0-9a-f]+ "KELVARPOOL " +\| level 3 context [0-9a-f]+ "KELVARPOOL"\n')
        self.assertRegex(log.stdout, r'\n        level 3 context [0-9a-f]+ "Kelvarpool:nodeA" +\| level 3 context [0-9a-f]+ "Kelvarpool:nodeA"\n')

    def test_finding_of_a_lost_message_leaves_the_others_beside_each_other(self):
        lost = self.run_suite(PATHS.broken, "--filter", "server-open.copan.log", STSPI_BROKEN="log.entering-missing")
        self.assertRegex(lost.stdout, r'\n      \* [^|\n]*"\+\+\+\+ Entering stspi_open_server\\n" +\| *\n')
        self.assertRegex(lost.stdout, r'\n        [^|\n]*"copan:arr1" +\| [^|\n]*"copan:arr1"\n')

    def test_finding_shows_what_was_written_between_equal_calls(self):
        claim = self.run_suite(PATHS.broken, "--filter", "claim.file-decides", STSPI_BROKEN="claim.first-answer-stays")
        self.expect(claim, 1, '    before    stspi_claim("lab:x") = STS_E_NOT_CLAIMED (2060009)\n    before    (lab.sim written)\n    called    stspi_claim("lab:x")\n')

    def test_what_a_refused_call_wrote_is_told_once(self):
        mount = self.run_suite(PATHS.broken, "--filter", "mount.behavior.already-mounted", STSPI_BROKEN="mount.result-cleared-first")
        self.expect(mount, 1, "    checked   mount result\n    expected  untouched\n    got       1 other byte, the first at offset 0\n")
        self.assertEqual(mount.stdout.count("expected  untouched"), 2, "once for each LSU, whatever the pattern")

    def test_crash_without_a_running_call_names_the_loader(self):
        again = self.run_suite(PATHS.broken, "--filter", "loading.two-hundred-times", STSPI_BROKEN="loading.only-once")
        self.expect(again, 1, "ended by signal 6 (SIGABRT) in dlopen of libstspi_broken.so, after dlclose of libstspi_broken.so\n")

    def test_fork_after_loading(self):
        for side, status in (("parent", 0), ("child", 1)):
            result = self.run_suite(PATHS.broken, "--filter", "load-process.blank", "--fork", side,
                                    STSPI_BROKEN="process.bound-to-its-loader")
            self.assertEqual(result.returncode, status, result.stdout)
        crash = self.run_suite(PATHS.broken, "--filter", "claim.null-or-empty", "--fork", "child", STSPI_BROKEN="claim.null-crashes")
        self.assertRegex(crash.stdout, r"ended by signal 11 \(SIGSEGV\) in stspi_claim")
        self.expect(self.run_suite(PATHS.plugin, "--fork", "sideways"), 2)

    def test_crash_on_another_thread_names_its_call(self):
        crash = self.run_suite(PATHS.broken, "--filter", "threads.handle-moves", STSPI_BROKEN="close.bound-to-its-thread")
        self.assertRegex(crash.stdout, r"ended by signal 6 \(SIGABRT\) in stspi_close_server\(0x[0-9a-f]+\) on another thread\n")

    def test_equal_findings_stand_there_once(self):
        result = self.run_suite(PATHS.broken, "--filter", "claim.file-decides,hostile.all-null.claim", STSPI_BROKEN="claim.everything")
        self.expect(result, 1, "    called    stspi_claim(\"lab:x\")\n    checked   status\n    expected  STS_E_NOT_CLAIMED (2060009)\n    got       0\n")
        self.assertEqual(len(re.findall(r"called    stspi_claim\(0", result.stdout)), 1)
        self.assertIn("    times     10\n", result.stdout)

    def test_process_state_names_its_call(self):
        for breakage, text in (("claim.changes-umask", "umask of the process\n    expected  0022\n    got       0077"),
                               ("claim.ignores-a-signal", "signal dispositions and mask of the process\n    expected  SIGUSR1 default\n    got       SIGUSR1 ignored\n"),
                               ("claim.blocks-a-signal", "signal dispositions and mask of the process\n    expected  SIGUSR2 default\n    got       SIGUSR2 default, blocked\n"),
                               ("claim.changes-locale", "locale of the process\n    expected  C\n    got       LC_CTYPE=C;LC_NUMERIC=C.UTF-8"),
                               ("claim.changes-environment", "environment of the process\n    expected  STSPI_LAST_CLAIM not set\n    got       STSPI_LAST_CLAIM=\"lab:x\"\n"),
                               ("claim.changes-directory", "working directory of the process\n    expected  ")):
            result = self.run_suite(PATHS.broken, "--filter", "claim.contents-do-not-matter,cycle.disk-array", STSPI_BROKEN=breakage)
            self.expect(result, 1, "fail    cycle.disk-array", "called    stspi_claim(\"lab:x\")\n    checked   " + text)

    def test_leak_names_its_call(self):
        result = self.run_suite(PATHS.broken, "--filter", "lsu-list.ten-times", STSPI_BROKEN="list.open-leaves-descriptor")
        self.assertRegex(result.stdout, r"called    stspi_open_lsu_list\([^\n]*\n    checked   descriptors\n    expected  none left behind\n")
        result = self.run_suite(PATHS.broken, "--filter", "claim.first-colon", STSPI_BROKEN="claim.leaves-file")
        self.expect(result, 1, 'called    stspi_claim("lab:")\n    checked   files and links\n')

    def test_growth_names_the_call_that_keeps_memory(self):
        for breakage, test, call in (("list.open-leaks", "growth.copan-sessions", "stspi_open_lsu_list(0x..., 0x..., 0x...)"),
                                     ("open.leaks", "growth.failed-opens", 'stspi_open_server(0x..., "nobody:x", 0x..., 0x..., 0x...)')):
            result = self.run_suite(PATHS.broken, "--filter", test, STSPI_BROKEN=breakage)
            self.expect(result, 1, "called    %s\n    checked   memory that it allocates, after 16 rounds\n" % call,
                        "got       16 blocks with 768 bytes are not")
            self.assertNotIn("called    stspi_close_server", result.stdout)

    def test_what_is_made_outside_is_found_and_removed(self):
        with open(PATHS.broken, "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)  # others may break the same, in the same place
            for place in ("/tmp/enc1", "/tmp/enc1/d1"):
                self.assertFalse(os.path.lexists(place), place)
            result = self.run_suite(PATHS.broken, "--filter", "mount.success,mount.log", "--jobs", "1", STSPI_BROKEN="config.storage-ignored")
            self.assertFalse(os.path.lexists("/tmp/enc1"))
        self.expect(result, 1, "called    stspi_mount_lsu(", "checked   outside the test's directory\n    expected  nothing made\n    got       /tmp/enc1/d1\n")

    def test_slots_by_name_and_modes_in_octal(self):
        slots = self.run_suite(PATHS.broken, "--filter", "tables.first.slots", STSPI_BROKEN="table.slots-swapped")
        self.expect(slots, 1, "checked   slot 30 of STSSanDiskEntryPoints\n    expected  stspi_open_target_server\n    got       stspi_open_image\n")
        modes = self.run_suite(PATHS.broken, "--filter", "mount.success", STSPI_BROKEN="mount.directories-0755")
        self.expect(modes, 1, "    expected  0700\n    got       0755\n")

    def test_directories_of_failing_tests_are_kept(self):
        kept = os.path.join(self.scratch, "kept")
        tests = ["--filter", "mount.success,mount.log,ioctl.refused,claim.contents-do-not-matter", "--keep", kept]
        result = self.run_suite(PATHS.broken, *tests, STSPI_BROKEN="mount.directories-0755")
        self.expect(result, 1)
        self.assertEqual(os.listdir(kept), ["mount.success"])
        test = os.path.join(kept, "mount.success")
        self.assertIn("STORAGE_DIR = ", pathlib.Path(test, "etc", "Kelvarpool.sim").read_text())
        self.assertEqual(stat.S_IMODE(os.stat(os.path.join(test, "work", "s1", "d1")).st_mode), 0o755)
        self.assertTrue(os.path.islink(os.path.join(test, "work", "mnt", "a", "b")))
        self.assertIn("got       0755", pathlib.Path(test, "finding.txt").read_text())
        again = self.run_suite(PATHS.broken, *tests, STSPI_BROKEN="mount.directories-0755")
        self.expect(again, 2, "kept is not empty, and nothing in it is to be replaced")
        kept += "-after-crash"
        tests[-1] = kept
        self.expect(self.run_suite(PATHS.broken, *tests, STSPI_BROKEN="claim.crashes"), 1)
        self.assertIn("FOO = 1;", pathlib.Path(kept, "claim.contents-do-not-matter", "etc", "lab.sim").read_text())
        self.assertIn("SIGABRT", pathlib.Path(kept, "claim.contents-do-not-matter", "finding.txt").read_text())

    def test_wrong_log_is_shown_whole(self):
        result = self.run_suite(PATHS.broken, "--filter", "server-open.disk-array.log", STSPI_BROKEN="open.disk-array-blank-lost")
        self.expect(result, 1, '"KELVARPOOL "', '"KELVARPOOL"', '"++++ Entering stspi_open_server\\n"', "level 3")

    def test_long_lists_are_cut_for_people_and_whole_for_programs(self):
        report = os.path.join(self.scratch, "report.json")
        result = self.run_suite(PATHS.broken, "--filter", "lsu-list.pool.many", "--json", report, STSPI_BROKEN="list.file-order")
        self.expect(result, 1, 'expected  2000 entries; from number 1: "pool1999", "pool1998", "pool1997", "pool1996", ...\n',
                    'got       2000 entries; from number 1: "pool0", "pool1", "pool2", "pool3", ...\n',
                    "the first difference is number 1\n")
        self.assertLess(max(map(len, result.stdout.splitlines())), 200)
        finding = json.loads(pathlib.Path(report).read_text())["tests"][0]["findings"][0]
        names = ['"pool%d"' % number for number in range(2000)]
        self.assertEqual((finding["expected"], finding["got"]), (", ".join(reversed(names)), ", ".join(names)))

    def test_junit_and_json(self):
        junit = os.path.join(self.scratch, "junit.xml")
        report = os.path.join(self.scratch, "report.json")
        self.run_suite(PATHS.broken, "--filter", "claim.*,ioctl.*", "--junit", junit, "--json", report, STSPI_BROKEN="ioctl.accepts-8")
        suite = ElementTree.parse(junit).getroot()[0]
        data = json.loads(pathlib.Path(report).read_text())
        self.assertEqual(int(suite.get("tests")), len(data["tests"]))
        self.assertEqual(int(suite.get("failures")), data["counts"]["fail"])
        failed = {case.get("name") for case in suite if case.find("failure") is not None}
        self.assertEqual(failed, {test["id"] for test in data["tests"] if test["outcome"] == "fail"})
        self.assertIn("ioctl.refused", failed)
        finding = next(test for test in data["tests"] if test["id"] == "ioctl.refused")["findings"][0]
        self.assertEqual(finding["got"], "0")
        self.assertEqual(finding["expected"], "STS_E_NOT_SUPPORTED (2060016)")

    def test_every_report_tells_of_the_run(self):
        json_file, junit, page = (os.path.join(self.scratch, name) for name in ("r.json", "r.xml", "r.html"))
        result = self.run_suite(PATHS.broken, "--filter", "ioctl.*", "--json", json_file, "--junit", junit, "--report", page,
                                STSPI_BROKEN="ioctl.accepts-13")
        data = json.loads(pathlib.Path(json_file).read_text())
        self.assertRegex(data["plugin_hash"], r"^xxh128:[0-9a-f]{32}$")
        for text in (result.stdout, pathlib.Path(junit).read_text(), pathlib.Path(page).read_text()):
            for fact in (data["plugin_hash"], data["suite_version"], data["interface_versions"], data["seed"], data["kernel"]):
                self.assertIn(fact, text)
        other = os.path.join(self.scratch, "other.json")
        self.run_suite(PATHS.plugin, "--filter", "ioctl.*", "--json", other)
        self.assertNotEqual(json.loads(pathlib.Path(other).read_text())["plugin_hash"], data["plugin_hash"])

    def test_page_shows_levels_requirements_and_findings(self):
        page = os.path.join(self.scratch, "r.html")
        self.run_suite(PATHS.broken, "--filter", "ioctl.*,claim.first-colon", "--report", page, STSPI_BROKEN="ioctl.accepts-13")
        text = pathlib.Path(page).read_text()
        self.assertIn("1 tests failed, level 0 of 5", text)
        self.assertIn("called    stspi_ioctl(null, 13 (0xd))\n", text)
        self.assertIn('<tr id="ioctl/refused"><td><code>ioctl/refused</code></td><td>3</td>', text)
        self.assertRegex(text, r'<code>ioctl\.refused</code></td><td>3</td><td><span class="fail">fail</span></td><td><a href="#ioctl/refused">')
        self.assertRegex(text, r'<code>claim\.long-names</code></td><td>4</td><td><span class="not run">not run</span>')
        self.assertEqual(ElementTree.fromstring(text.split("\n", 1)[1].replace('<meta charset="utf-8">', "").replace("<br>", "")).tag, "html")

    def test_finding_begins_with_what_is_required(self):
        result = self.run_suite(PATHS.broken, "--filter", "ioctl.refused", STSPI_BROKEN="ioctl.accepts-13")
        self.assertRegex(result.stdout, r"^fail    ioctl\.refused [^\n]*\n    requires  stspi_ioctl says STS_E_NOT_SUPPORTED [^\n]* \(ioctl/refused\)\n    demands ")

    def test_requirements_in_both_directions(self):
        page = self.run_suite("--requirements")
        self.expect(page, 0, "| `claim/no-colon` | 3 | A name without ':' is its own prefix. | `claim.without-colon` |",
                    "| `claim.without-colon` | 3 | `claim/no-colon` |")
        ids = [line for line in self.run_suite("--list").stdout.splitlines() if not line.startswith(" ")]
        below = page.stdout[page.stdout.index("## Tests and what they hold"):]
        for one in ids:
            self.assertIn("\n| `%s` | " % one, below)

    def test_level_is_told_when_it_ran_whole(self):
        badge = os.path.join(self.scratch, "badge.json")
        part = self.run_suite(PATHS.plugin, "--filter", "ioctl.*", "--badge", badge)
        self.assertNotIn("Passed whole", part.stdout)
        self.assertEqual(json.loads(pathlib.Path(badge).read_text())["message"], "level 0 of 5")

    def test_level_chooses_tests(self):
        listed = [self.run_suite("--list", "--level", str(level)).stdout.count("\n    ") for level in range(1, 6)]
        self.assertEqual(listed, sorted(set(listed)))
        self.assertEqual(listed[4], self.run_suite("--list").stdout.count("\n    "))
        first = self.run_suite("--list", "--level", "1").stdout
        self.assertIn("\nregistration.init.too-old\n", "\n" + first)
        self.assertNotIn("mount.success\n", first)
        self.expect(self.run_suite("--list", "--level", "6"), 2, "--level")
        run = self.run_suite(PATHS.plugin, "--level", "1")
        self.expect(run, 0, "level 1: %d of %d, " % (listed[0], listed[0]), "Passed whole: level 1 of 5.")
        self.assertNotIn("level 2: ", run.stdout)

    def test_unwritable_report(self):
        self.expect(self.run_suite(PATHS.plugin, "--filter", "ioctl.*", "--json", "/no/such/directory/file"), 2, "cannot write /no/such")

    def test_repeat(self):
        report = os.path.join(self.scratch, "report.json")
        self.expect(self.run_suite(PATHS.plugin, "--filter", "ioctl.*", "--repeat", "3", "--json", report), 0, "12 pass")
        rounds = [test["round"] for test in json.loads(pathlib.Path(report).read_text())["tests"]]
        self.assertEqual(rounds, [1] * 4 + [2] * 4 + [3] * 4)

    def test_verbose(self):
        self.expect(self.run_suite(PATHS.plugin, "--filter", "ioctl.refused", "-v"), 0, "pass    ioctl.refused")

    # ---- what is known of a plug-in ----

    def profile(self, text):
        path = os.path.join(self.scratch, "known.profile")
        pathlib.Path(path).write_text(text)
        return path

    def test_listed_failure_fails_nothing_and_is_told(self):
        report, junit = (os.path.join(self.scratch, name) for name in ("r.json", "r.xml"))
        known = self.profile('# of this plug-in\n\nioctl.refused = fail "accepts 13" T-7  # a remark\n')
        result = self.run_suite(PATHS.broken, "--filter", "ioctl.*", "--profile", known, "--json", report, "--junit", junit,
                                STSPI_BROKEN="ioctl.accepts-13")
        self.expect(result, 0, "known   ioctl.refused", "the profile says that it fails: accepts 13 (T-7)",
                    "Nothing failed but what the profile lists. The plug-in does not conform.")
        data = json.loads(pathlib.Path(report).read_text())
        self.assertEqual((data["counts"]["known"], data["counts"]["fail"]), (1, 0))
        suite = ElementTree.parse(junit).getroot()[0]
        self.assertEqual((suite.get("failures"), suite.get("skipped")), ("0", "1"))

    def test_listed_crash_is_known_with_how_it_ended(self):
        known = self.profile('claim.first-colon = fail "crashes"')
        self.expect(self.run_suite(PATHS.broken, "--filter", "claim.first-colon", "--profile", known, STSPI_BROKEN="claim.crashes"), 0,
                    "known   claim.first-colon", "says that it fails: crashes; ended by signal 6 (SIGABRT) in stspi_claim(")

    def test_listed_test_that_passes_is_an_error(self):
        known = self.profile('ioctl.refused = fail "was so once" T-7')
        self.expect(self.run_suite(PATHS.plugin, "--filter", "ioctl.*", "--profile", known), 1, "fail    ioctl.refused",
                    "it passes, and the profile says that it fails: was so once (T-7)", "The plug-in does not conform.")

    def test_skipped_by_profile_is_not_run(self):
        known = self.profile('claim.first-colon = skip "hangs" T-8')
        result = self.run_suite(PATHS.broken, "--filter", "claim.first-colon,ioctl.*", "--profile", known, "--timeout", "3",
                                STSPI_BROKEN="claim.hangs")
        self.expect(result, 0, "skip    claim.first-colon", "the profile says so: hangs (T-8)", "4 pass")

    def test_other_failures_still_fail(self):
        known = self.profile('ioctl.refused = fail "accepts 13"')
        self.expect(self.run_suite(PATHS.broken, "--filter", "ioctl.*,claim.first-colon", "--profile", known, "--timeout", "3",
                                   STSPI_BROKEN="claim.hangs"), 1, "it passes, and the profile", "timeout claim.first-colon")

    def test_wrong_lines_of_a_profile_are_told_with_their_places(self):
        known = self.profile('ioctl.refusd = fail "x"\n  ioctl.refused fail "x"\nioctl.refused = maybe "x"\nioctl.refused = fail\n'
                             'ioctl.refused = fail "x\nioctl.refused = fail " "\nioctl.refused = fail "x" T-1 T-2\n'
                             'ioctl.refused = fail "x"\nioctl.refused = skip "y"\n')
        result = self.run_suite(PATHS.plugin, "--filter", "ioctl.*", "--profile", known)
        self.expect(result, 2, *(known + place for place in (
            ':1:1: there is no test "ioctl.refusd"; is ioctl.refused meant?', ":2:17: '=' behind the test's id is missing",
            ':3:17: "maybe" is neither fail nor skip', ":4:21: the reason, in double quotes, is missing",
            ":5:22: the reason does not end", ":6:22: the reason is empty", ":7:30: nothing may stand behind the ticket",
            ":9:1: ioctl.refused is listed already")))
        self.assertEqual(result.stdout, "")
        self.expect(self.run_suite(PATHS.plugin, "--profile", "/no/such/file"), 2, "cannot read the profile /no/such/file")

    def test_written_profile_makes_the_same_run_pass(self):
        written = os.path.join(self.scratch, "written.profile")
        run = [PATHS.broken, "--filter", "ioctl.*,claim.first-colon,mount.success"]
        self.expect(self.run_suite(*run, "--write-profile", written, STSPI_BROKEN="ioctl.accepts-13"), 1)
        self.assertRegex(pathlib.Path(written).read_text(), r'^#[^\n]*\nioctl\.refused = fail "status: expected STS_E_NOT_SUPPORTED \(2060016\), got 0"\n$')
        # What a person has written there stays; a test that passes by now goes.
        text = 'claim.first-colon = fail "no more"\nioctl.refused = fail "my \\"words\\"" T-9\nmount.success = skip "slow"\n'
        pathlib.Path(written).write_text(text)
        self.expect(self.run_suite(*run, "--profile", written, "--write-profile", written, STSPI_BROKEN="ioctl.accepts-13"), 1)
        lines = pathlib.Path(written).read_text().splitlines()[1:]
        self.assertEqual(lines, text.splitlines()[1:])
        self.expect(self.run_suite(*run, "--profile", written, STSPI_BROKEN="ioctl.accepts-13"), 0)

    # ---- in the suite's own process ----

    def test_in_process(self):
        tests = "claim.*,ioctl.*,mount.success,server-open.without-node-name,threads.messages,load-process.percent,growth.mounts"
        result = self.run_suite(PATHS.plugin, "--in-process", "--filter", tests, "--repeat", "2")
        self.expect(result, 0, "all tests run in this process: a crash, an exit or a hang ends the run", "The plug-in conforms.")
        self.assertNotIn("fail ", result.stdout)
        found = self.run_suite(PATHS.broken, "--in-process", "--filter", "ioctl.*,claim.first-colon", STSPI_BROKEN="ioctl.accepts-13")
        self.expect(found, 1, "called    stspi_ioctl(null, 13 (0xd))", "expected  STS_E_NOT_SUPPORTED (2060016)", "1 fail")
        self.assertNotIn("before    stspi_claim", found.stdout)

    def test_in_process_a_crash_is_the_programs_own(self):
        result = subprocess.run([PATHS.suite, PATHS.broken, "--in-process", "--filter", "claim.first-colon"], text=True,
                                capture_output=True, env=self.environment({"STSPI_BROKEN": "claim.crashes"}))
        self.assertEqual(result.returncode, -signal.SIGABRT)
        for left in os.listdir(self.temporary):
            shutil.rmtree(os.path.join(self.temporary, left))
        self.expect(self.run_suite(PATHS.plugin, "--in-process", "--jobs", "2"), 2, "--jobs excludes --in-process")

    # ---- journals ----

    def test_journals_of_failing_tests_are_kept(self):
        kept = os.path.join(self.scratch, "journals")
        run = [PATHS.broken, "--filter", "claim.first-colon,ioctl.refused,image.out-arguments-reach-caller", "--record", kept]
        self.expect(self.run_suite(*run, STSPI_BROKEN="ioctl.accepts-13"), 1)
        self.assertEqual(os.listdir(kept), ["ioctl.refused"])
        self.assertGreater(os.path.getsize(os.path.join(kept, "ioctl.refused", "calls.stspi")), 65536)
        self.expect(self.run_suite(*run, STSPI_BROKEN="ioctl.accepts-13"), 2, "--record: " + kept + " is not empty")
        run[-1] = kept + "-all"
        self.expect(self.run_suite(*run, "--record-all", STSPI_BROKEN="claim.crashes"), 1)
        self.assertEqual(sorted(os.listdir(run[-1])), ["claim.first-colon", "image.out-arguments-reach-caller", "ioctl.refused"])
        steps = [json.loads(line) for line in
                 pathlib.Path(run[-1], "image.out-arguments-reach-caller", "surroundings.jsonl").read_text().splitlines()]
        self.assertEqual([bytes.fromhex(step["file"]) for step in steps if "file" in step], [b"Kelvarpool.sim", b"copan.sim"])
        self.assertEqual([step["library"] for step in steps if "library" in step],
                         ["stsimg_create_image", "stsimg_open_image", "stsimg_open_image_list"])
        self.assertIn([5, "7707000000000000"], next(step for step in steps if "library" in step)["stored"])

    # ---- command line ----

    def test_list_needs_no_plugin(self):
        result = self.run_suite("--list")
        self.expect(result, 0, "lsu-list.pool.reverse-order\n    Pools come in the reverse")
        ids = [line for line in result.stdout.splitlines() if not line.startswith(" ")]
        self.assertEqual(len(ids), len(set(ids)))
        for one in ids:
            self.assertRegex(one, r"^[a-z0-9-]+(\.[a-z0-9-]+)+$")
        demands = [line for line in result.stdout.splitlines() if line.startswith(" ")]
        self.assertEqual(len(ids), len(demands))

    def test_usage_errors(self):
        for arguments, text in (([], "PLUGIN is required"), (["--no-such-option"], "--no-such-option"),
                                ([PATHS.plugin, "--jobs", "0"], "--jobs"), ([PATHS.plugin, "--timeout", "x"], "--timeout")):
            result = self.run_suite(*arguments)
            self.expect(result, 2, text)
            self.assertTrue(result.stderr.startswith("stspi-conformance: "), result.stderr)

    def test_filter_of_which_a_pattern_matches_nothing(self):
        for patterns in ("no.such.test", "claim.*,no.such.test", "no.such.test,claim.*"):
            for more in ([PATHS.plugin], ["--list"]):
                result = self.run_suite("--filter", patterns, *more)
                self.expect(result, 2, 'stspi-conformance: no test matches "no.such.test"; --list names them')
                self.assertEqual(result.stdout, "")

    def test_pipe_that_nobody_reads(self):
        for arguments in (["--list"], [PATHS.plugin, "--filter", "claim.*", "-v"]):
            read, write = os.pipe()
            os.close(read)
            result = subprocess.run([PATHS.suite, *arguments], env=self.environment(), stdout=write, stderr=subprocess.PIPE)
            os.close(write)
            self.assertEqual((result.returncode, result.stderr), (-signal.SIGPIPE, b""))
            self.assertEqual(os.listdir(self.temporary), [])

    def test_standard_output_that_cannot_be_written(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([PATHS.suite, "--list"], env=self.environment(), stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((result.returncode, result.stderr), (2, b"stspi-conformance: cannot write to standard output\n"))

    def test_help_and_manual_agree(self):
        help_options = set(re.findall(r"--[a-z-]+", self.run_suite("--help").stdout))
        manual = pathlib.Path(PATHS.manual).read_text().replace("\\-", "-")
        manual_options = set(re.findall(r"--[a-z-]+", manual))
        self.assertEqual(help_options, manual_options)

    def test_stopped_by_signal(self):
        process = subprocess.Popen([PATHS.suite, PATHS.broken, "--filter", "claim.*"], env=self.environment({"STSPI_BROKEN": "claim.hangs"}),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        while not os.listdir(self.temporary):
            time.sleep(0.02)
        time.sleep(0.5)
        process.send_signal(signal.SIGTERM)
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 2)
        self.assertIn("stopped by signal 15", errors)
        self.assertEqual(os.listdir(self.temporary), [])

    # ---- the real directory ----

    def in_private_etc(self, script):
        """Runs a shell script as root, with a copy of /etc in the place of /etc."""
        if os.geteuid() != 0:
            self.skipTest("needs root")
        probe = subprocess.run(["unshare", "-m", "true"], capture_output=True)
        if probe.returncode != 0:
            self.skipTest("mount namespaces are not allowed here")
        private = "set -e; mkdir %s/etc; cp -a /etc/. %s/etc/; rm -rf %s/etc/quillmere; mount --bind %s/etc /etc; " % ((self.scratch,) * 4)
        return subprocess.run(["unshare", "-m", "sh", "-c", private + script], env=self.environment(), text=True, capture_output=True)

    def test_real_config(self):
        result = self.in_private_etc(PATHS.suite + " " + PATHS.plugin +
                                     " --real-config --filter 'claim.*,server-*,cycle.*'; test ! -e /etc/quillmere && echo gone")
        self.expect(result, 0, "The plug-in conforms.", "gone")

    def test_real_config_overwrites_nothing(self):
        result = self.in_private_etc("mkdir /etc/quillmere; echo mine > /etc/quillmere/x.sim; " + PATHS.suite + " " + PATHS.plugin +
                                     " --real-config || echo status $?; cat /etc/quillmere/x.sim; ls /etc/quillmere")
        self.expect(result, 0, "overwrites no configuration", "status 2", "mine\nx.sim\n")

    def test_real_config_needs_root(self):
        command = [PATHS.suite, PATHS.plugin, "--real-config"]
        if os.geteuid() == 0:
            if shutil.which("setpriv") is None:
                self.skipTest("needs setpriv")
            command = ["setpriv", "--reuid", "65534", "--clear-groups", *command]
            os.chmod(self.scratch, 0o755)
            os.chmod(self.temporary, 0o777)
        result = subprocess.run(command, env=self.environment(), text=True, capture_output=True)
        if "failed to execute" in result.stderr:
            self.skipTest("the program cannot be reached without root's rights")
        self.expect(result, 2, "--real-config needs root")


def main():
    global PATHS
    parser = argparse.ArgumentParser()
    for name in ("suite", "plugin", "broken", "not-a-plugin", "bad-load", "manual"):
        parser.add_argument("--" + name, required=True)
    PATHS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
