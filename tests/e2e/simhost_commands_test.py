"""The commands of simhost besides run, with the plug-in as built."""

import os
import pathlib
import re
import signal
import subprocess

from simhost_world import FAKE_PLUGIN, PLUGIN, SIMHOST, SimhostTest, main


def rows(done):
    return [line.split() for line in done.stdout.decode().splitlines()]


class Claim(SimhostTest):
    def test_tells_which_names_are_claimed(self):
        done = self.expect(1, self.simhost("claim", "Kelvarpool:x", "copan:y", "other:z"))
        self.assertEqual(rows(done)[1:], [["Kelvarpool:x", "yes"], ["copan:y", "yes"], ["other:z", "no"]])
        self.assertIn(b"1 of 3 names not claimed", done.stderr)

    def test_ends_well_when_all_are(self):
        document = self.document(self.good("claim", "--json", "Kelvarpool:x"))
        self.assertEqual(document["result"]["servers"], [{"server": "Kelvarpool:x", "claimed": True}])


class Server(SimhostTest):
    def words(self, *arguments):
        document = self.document(self.good("server", "--json", *arguments))
        return document["result"], {word["offset"]: word for word in document["result"]["capabilities"]}

    def test_explains_a_disk_arrays_bits(self):
        result, words = self.words("--server", "Kelvarpool:mediaA")
        self.assertTrue(result["name"].endswith(".quillmere.local"))
        self.assertEqual(result["type"], 0)
        self.assertEqual(words[1176], {"offset": 1176, "value": 0x80100400, "every_server": 0x400,
                                       "disk_arrays": 0x80100000})
        for word in words.values():
            self.assertEqual(word["value"], word["every_server"] | word["disk_arrays"], word)

    def test_explains_a_copan_arrays_bits(self):
        result, words = self.words("--server", "copan:arr1")
        self.assertEqual((result["name"], result["type"]), ("arr1", 4))
        self.assertTrue(all(word["disk_arrays"] == 0 for word in words.values()))

    def test_an_array_that_is_not_served_is_told(self):
        for arguments in ((), ("--by-name",)):
            done = self.expect(1, self.simhost("server", "--server", "copan:none", *arguments))
            self.assertIn(f'no STORAGE_SERVER line of {self.config}/copan.sim names "none"'.encode(), done.stderr)

    def test_by_name_the_host_part_is_the_name(self):
        result, _ = self.words("--server", "Kelvarpool:mediaA", "--by-name")
        self.assertEqual(result["name"], "mediaA")

    def test_for_people(self):
        text = self.good("server", "--server", "copan:arr1").stdout.decode()
        self.assertIn("type          4 (Copan array)\n", text)
        self.assertIn("  1040    0x10040100  8, 18, 28  every server\n", text)


class Pools(SimhostTest):
    def test_lists_pools_in_the_plugins_order(self):
        done = self.good("pools", "--server", "Kelvarpool:mediaA", "--hosts", "mediaA,mediaB")
        self.assertEqual(rows(done), [["POOL", "CAPACITY", "IN", "BYTES", "DISKS", "VOLUMES", "HOSTS"],
                                      ["archive", str(16 * 2**40), "(16", "TiB)", "1", "1", "mediaB"],
                                      ["pool2", str(4 * 2**40), "(4", "TiB)", "2", "2", "mediaA"],
                                      ["pool1", str(2000 * 2**30), "(2.0", "TiB)", "4", "4", "mediaA,mediaB"]])
        document = self.document(self.good("pools", "--server", "Kelvarpool:mediaB", "--json"))
        self.assertEqual([pool["name"] for pool in document["result"]["pools"]], ["archive", "pool1"])
        self.assertEqual(document["result"]["pools"][1]["properties"]["Hosts"], "mediaA,mediaB")

    def test_lists_a_copan_arrays_lsus_and_leaves_no_directories(self):
        before = self.tree()
        done = self.good("pools", "--server", "copan:arr2")
        self.assertEqual([row[0] for row in rows(done)], ["LSU", "nightly", "weekly"])
        self.assertEqual(self.tree(), before)

    def test_warns_when_there_are_none(self):
        done = self.good("pools", "--server", "Kelvarpool:stranger")
        self.assertIn(b"no pool is open to stranger", done.stderr)
        self.expect(3, self.simhost("pools", "--server", "Kelvarpool:stranger", "--strict"))

    def test_hosts_are_for_disk_arrays_and_have_names(self):
        for server, hosts, words in (("copan:arr1", "mediaA", b"--hosts is for disk arrays"),
                                     ("Kelvarpool:mediaA", "", b"simhost: --hosts: a host has no name")):
            done = self.expect(2, self.simhost("pools", "--server", server, "--hosts", hosts))
            self.assertIn(words, done.stderr)
        self.expect(2, self.simhost("server", "--by-name", "--server", "Kelvarpool:mediaA", "--hosts", "mediaA"))

    def test_calls_are_shown_on_standard_error_with_verbose(self):
        done = self.good("pools", "-v", "--server", "Kelvarpool:mediaA")
        self.assertIn(b"stspi_create_server", done.stderr)
        self.assertIn(b"Entering stspi_open_lsu_list", done.stderr)
        self.assertNotIn(b"stspi_", done.stdout)

    def test_what_the_plugin_prints_does_not_reach_the_answer(self):
        self.configure("Kelvarpool.sim", "COLOUR = red;\n" + (self.config / "Kelvarpool.sim").read_text())
        done = self.good("pools", "--server", "Kelvarpool:mediaA")
        self.assertNotIn(b"Invalid", done.stdout)
        self.assertIn(b"simhost: the plug-in printed: Invalid line: 1\n", done.stderr)


class Volumes(SimhostTest):
    def test_lists_all_pools_or_those_named(self):
        done = self.good("volumes", "--server", "Kelvarpool:mediaA")
        self.assertEqual([row[:3] for row in rows(done)][:3],
                         [["POOL", "VOLUME", "DISK"], ["pool2", "#UDID#KP1#disk21#", "disk21"],
                          ["pool2", "#UDID#KP1#disk22#", "disk22"]])
        self.assertEqual(len(rows(done)), 7)
        document = self.document(self.good("volumes", "--server", "Kelvarpool:mediaA", "--json", "pool1"))
        self.assertEqual([volume["name"] for volume in document["result"]["volumes"]],
                         ["disk11", "disk12", "disk13", "disk14"])

    def test_an_unknown_pool_is_told(self):
        done = self.expect(1, self.simhost("volumes", "--server", "Kelvarpool:mediaA", "none"))
        self.assertIn(b'STS_E_NO_SERVER (2061034): "Kelvarpool:mediaA" has no pool "none"; "simhost pools" lists',
                      done.stderr)

    def test_that_there_are_none_is_explained(self):
        done = self.expect(3, self.simhost("volumes", "--strict", "--server", "Kelvarpool:stranger"))
        self.assertIn(b"no pool is open to stranger", done.stderr)
        self.configure("Kelvarpool.sim", "ENCLOSURE = bare;\nHOSTS = mediaA;\n")
        done = self.good("volumes", "--server", "Kelvarpool:mediaA")
        self.assertIn(b"no disks in bare", done.stderr)

    def test_a_copan_array_has_none(self):
        self.expect(2, self.simhost("volumes", "--server", "copan:arr1"))


class Lsu(SimhostTest):
    def properties(self, lsu, server="Kelvarpool:mediaA"):
        return self.document(self.good("lsu", "--json", "--server", server, lsu))["result"]["properties"]

    def test_tells_all_four_kinds(self):
        pool = self.properties("pool1")
        self.assertEqual((pool["class"], pool["capacity_bytes"]), (3, 4 * 500 * 2**30))
        for disk in ("pool1:disk12", "pool1:#UDID#KP1#disk12#"):
            found = self.properties(disk)
            self.assertEqual((found["class"], found["name"], found["used_bytes"]), (2, "disk12", 250 * 2**30))
        path = self.properties(str(self.root))
        space = os.statvfs(self.root)
        self.assertEqual((path["class"], path["capacity_bytes"], path["block_size_bytes"]),
                         (1, space.f_frsize * space.f_blocks, space.f_frsize))
        copan = self.properties("vol2", server="copan:arr1")
        self.assertEqual((copan["class"], copan["name"], copan["server_name"]), (1, "vol2", "arr1"))

    def test_for_people(self):
        text = self.good("lsu", "--server", "Kelvarpool:mediaA", "pool1").stdout.decode()
        self.assertIn("class          3 (pool)\nflags          0x1 (standard)\n", text)
        self.assertIn("Hosts          mediaA,mediaB\n", text)

    def test_an_unknown_one_is_told_in_the_plugins_words(self):
        done = self.expect(1, self.simhost("lsu", "--server", "Kelvarpool:mediaA", "pool1:none"))
        self.assertIn(b"the plug-in says: pool1:none not found", done.stderr)
        self.assertIn(b"STS_E_NO_SERVER (2061034)", done.stderr)

    def test_an_unknown_one_is_told_with_its_server_and_the_command_that_lists(self):
        for server, lsu, words in (
                ("Kelvarpool:mediaA", "none", '"Kelvarpool:mediaA" has no pool "none"; "simhost pools" lists those'),
                ("Kelvarpool:mediaA", "pool1:none",
                 'no pool of "Kelvarpool:mediaA" has a disk or volume "none"; "simhost volumes" lists them'),
                ("Kelvarpool:mediaA", ":none", '":none" names no pool in front of its \':\''),
                ("Kelvarpool:mediaA", "/none/such", "/none/such: No such file or directory"),
                ("copan:arr1", "none", '"copan:arr1" has no LSU "none"; "simhost pools" lists those it has'),
                ("copan:arr1", "", "the LSU's name is empty")):
            with self.subTest(server=server, lsu=lsu):
                done = self.expect(1, self.simhost("lsu", "--server", server, lsu))
                self.assertRegex(done.stderr.decode(), rf"stspi_get_lsu_prop_byname answers .*: {re.escape(words)}")

    def test_a_pool_without_hosts_is_told(self):
        self.configure("Kelvarpool.sim", "ENCLOSURE = bare;\nDISKS = d;\n")
        done = self.expect(1, self.simhost("lsu", "--server", "Kelvarpool:mediaA", "bare"))
        self.assertIn(b'answers STS_E_NOT_FOUND (2060022): the pool "bare" has no HOSTS', done.stderr)

    def test_a_directory_that_cannot_be_made_is_told(self):
        self.storage.rmdir()
        self.addCleanup(self.storage.mkdir)
        words = f"the directory {self.storage}/copan-arr1 could not be made: No such file or directory".encode()
        self.assertIn(words, self.expect(1, self.simhost("lsu", "--server", "copan:arr1", "vol1")).stderr)
        self.assertIn(words, self.expect(1, self.simhost("image ls", "--server", "copan:arr1", "--lsu", "vol1")).stderr)


class Mount(SimhostTest):
    def mount(self, *arguments):
        return self.simhost("mount", "--server", "Kelvarpool:mediaA", *arguments)

    def test_leaves_the_link(self):
        place = self.root / "deep" / "mnt"
        document = self.document(self.expect(0, self.mount("--json", "pool1:vol1", place)))
        self.assertEqual(os.readlink(place), f"{self.storage}/kelvarpool-pool1/vol1")
        self.assertEqual(document["result"]["answer"], f"pool1:vol1,{place}")
        self.assertIn(str(self.root / "deep"), document["result"]["made_directories"])

    def test_points_a_link_elsewhere(self):
        place = self.root / "mnt"
        self.expect(0, self.mount("pool1:vol1", place))
        done = self.expect(0, self.mount("pool1:vol2", place))
        self.assertEqual(done.stdout.decode(), f"{place} -> {self.storage}/kelvarpool-pool1/vol2\n")

    def test_takes_a_place_with_a_slash_at_its_end(self):
        place = self.root / "mnt"
        done = self.expect(0, self.mount("pool1:vol1", f"{place}/"))
        self.assertEqual(done.stdout.decode(), f"{place} -> {self.storage}/kelvarpool-pool1/vol1\n")
        done = self.expect(2, self.mount("pool1:vol1", ""))
        self.assertIn(b"the mount point has no name", done.stderr)

    def test_does_not_destroy_a_file(self):
        place = self.root / "file"
        place.write_text("mine")
        done = self.expect(2, self.mount("pool1:vol1", place))
        self.assertIn(b"is a file", done.stderr)
        self.assertEqual(place.read_text(), "mine")

    def failing(self, reason, *arguments):
        before = self.tree(self.root)
        done = self.expect(1, self.mount(*arguments))
        self.assertIn(f"stspi_mount_lsu answers STS_E_SYSTEM (2060017): {reason}".encode(), done.stderr)
        self.assertEqual(self.tree(self.root), before)

    def test_tells_why_it_failed(self):
        self.failing(f"{self.storage} could not be replaced: Is a directory", "pool1:vol1", self.storage)
        self.failing("the link /proc/mnt could not be made: No such file or directory", "pool1:vol1", "/proc/mnt")
        (self.root / "file").write_text("")
        self.failing(f"the directory {self.root}/file/x could not be made: Not a directory", "pool1:vol1",
                     self.root / "file" / "x" / "mnt")
        (self.storage / "kelvarpool-pool2").write_text("")
        self.failing(f"the directory {self.storage}/kelvarpool-pool2/vol1 could not be made: Not a directory",
                     "pool2:vol1", self.root / "mnt")
        self.configure("Kelvarpool.sim",
                       (self.config / "Kelvarpool.sim").read_text().replace("SUCCESS", "MOUNT_POINT_USED"))
        self.failing("no file-system call failed and the plug-in logs nothing: "
                     f"MOUNT_BEHAVIOR in {self.config}/Kelvarpool.sim is not SUCCESS", "pool1:vol1", self.root / "mnt")

    def test_an_unknown_pool_is_told_and_an_unknown_volume_warned_of(self):
        place = self.root / "mnt"
        done = self.expect(1, self.mount("none:disk11", place))
        self.assertIn(b'"Kelvarpool:mediaA" has no pool "none"; "simhost pools" lists', done.stderr)
        self.assertFalse(place.exists())
        for lsu in ("pool1", "pool1:", ":disk11"):
            done = self.expect(2, self.mount(lsu, place))
            self.assertIn(f'the LSU "{lsu}" is no volume: name one as POOL:VOLUME'.encode(), done.stderr)
        done = self.expect(3, self.mount("pool1:none", place, "--strict"))
        self.assertIn(b'has a disk or volume "none"', done.stderr)
        for volume in ("disk11", "#UDID#KP1#disk11#"):
            done = self.expect(0, self.mount(f"pool1:{volume}", place, "--strict"))
            self.assertEqual(done.stderr, b"")

    def test_what_the_plugin_prints_is_told_once(self):
        self.configure("Kelvarpool.sim", "COLOUR = red;\n" + (self.config / "Kelvarpool.sim").read_text())
        done = self.expect(0, self.mount("pool1:disk11", self.root / "mnt"))
        self.assertEqual(done.stderr.count(b"Invalid line: 1\n"), 1)

    def test_a_copan_arrays_lsus_are_not_mounted(self):
        self.expect(2, self.simhost("mount", "--server", "copan:arr1", "vol1", self.root / "mnt"))


class Image(SimhostTest):
    def image(self, command, *arguments, **how):
        return self.simhost(f"image {command}", "--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root",
                            self.images, *arguments, **how)

    def names(self):
        document = self.document(self.expect(0, self.image("ls", "--json")))
        return [image["name"] for image in document["result"]["images"]]

    def test_what_is_put_comes_back(self):
        data = os.urandom(3_000_000)
        put = self.document(self.expect(0, self.image("put", "one", "--json", data=data)))
        self.assertEqual(put["result"]["size_bytes"], 3_000_000)
        got = self.expect(0, self.image("get", "one"))
        self.assertEqual(got.stdout, data)
        self.assertIn(put["result"]["xxh128"].encode(), got.stderr)
        file = self.root / "file"
        self.expect(0, self.image("get", "one", file, "--chunk", "1000"))
        self.assertEqual(file.read_bytes(), data)
        self.assertEqual(file.stat().st_mode & 0o777, 0o666 & ~self.mask())
        stat = self.document(self.expect(0, self.image("stat", "one", "--hash", "--json")))
        self.assertEqual(stat["result"]["image"]["xxh128"], put["result"]["xxh128"])
        self.assertEqual(stat["result"]["image"]["size_bytes"], 3_000_000)

    @staticmethod
    def mask():
        mask = os.umask(0)
        os.umask(mask)
        return mask

    def test_ls_is_sorted_and_rm_removes(self):
        for name in ("b", "c", "a"):
            self.expect(0, self.image("put", name, data=name.encode()))
        self.assertEqual(self.names(), ["a", "b", "c"])
        self.assertEqual([row[:2] for row in rows(self.expect(0, self.image("ls")))],
                         [["IMAGE", "BYTES"], ["a", "1"], ["b", "1"], ["c", "1"]])
        done = self.expect(1, self.image("rm", "a", "none", "c"))
        self.assertEqual(done.stdout, b"deleted a\ndeleted c\n")
        self.assertIn(b"none: stspi_delete_image answers STS_E_NOT_FOUND (2060022): image library: there is no image",
                      done.stderr)
        self.assertEqual(self.names(), ["b"])

    def rules(self, *lines):
        path = self.root / "rules"
        path.write_text("".join(f"{line}\n" for line in lines))
        return path

    def test_rm_tells_apart_what_it_does_not_know(self):
        for name in ("stays", "goes", "third"):
            self.expect(0, self.image("put", name, data=b"x"))
        rules = self.rules("on delete_image image stays answer STSIMG_E_OUTCOME_UNKNOWN",
                           "on delete_image image goes after answer STSIMG_E_OUTCOME_UNKNOWN")
        done = self.expect(1, self.image("rm", "stays", "none", "third", "--faults", rules))
        self.assertEqual(re.findall(rb"(?m)^deleted .*", done.stdout), [b"deleted third"])
        self.assertIn(b"whether stays was deleted is not known: stspi_delete_image answers STSIMG_E_OUTCOME_UNKNOWN (2061114)",
                      done.stderr)
        self.assertIn(b"simhost: none: stspi_delete_image answers STS_E_NOT_FOUND", done.stderr)
        self.assertIn(b"1 of 3 images could not be deleted, of 1 it is not known\n", done.stderr)
        document = self.document(self.expect(1, self.image("rm", "stays", "goes", "--json", "--faults", rules)))
        self.assertEqual((document["result"]["deleted"], document["result"]["unknown"]), ([], ["stays", "goes"]))
        self.assertEqual(document["errors"][-1], "whether 2 of 2 images were deleted is not known")
        self.assertEqual(self.names(), ["stays"])
        document = self.document(self.expect(1, self.image("rm", "stays", "none", "--json")))
        self.assertEqual((document["result"]["deleted"], document["result"]["unknown"]), (["stays"], []))
        self.assertEqual(document["errors"][-1], "1 of 2 images could not be deleted")

    def test_put_says_that_it_is_not_known_whether_the_image_is_there(self):
        for name, moment in (("not there", "before"), ("there", "after")):
            rules = self.rules(f"on close_image {moment} answer STSIMG_E_OUTCOME_UNKNOWN")
            done = self.expect(1, self.image("put", name, "--faults", rules, data=b"x"))
            self.assertIn(b"simhost: stspi_close_image answers STSIMG_E_OUTCOME_UNKNOWN (2061114)", done.stderr)
        self.assertEqual(self.names(), ["there"])

    def test_ls_shows_the_others_when_one_is_damaged(self):
        for name in ("good", "hurt"):
            self.expect(0, self.image("put", name, data=b"x" * 5000))
        hurt = next(path for path in (self.images / "pool1").iterdir() if path.name.startswith("hurt"))
        with open(hurt, "r+b") as stream:
            stream.write(b"broken")
        done = self.expect(1, self.image("ls"))
        self.assertEqual([row[:2] for row in rows(done)][1:], [["good", "5000"], ["hurt", "?"]])
        self.assertIn(b"1 of 2 images cannot be described", done.stderr)

    def test_get_and_copy_tell_where_an_image_is_damaged(self):
        self.expect(0, self.image("put", "hurt", data=b"x" * 5000))
        hurt = next(path for path in (self.images / "pool1").iterdir() if path.name.startswith("hurt"))
        content = hurt.read_bytes()
        place = content.rindex(b"xxx")
        hurt.write_bytes(content[:place] + b"y" + content[place + 1:])
        for command in (("get", "hurt", "/dev/null"), ("copy", "hurt", "other")):
            done = self.expect(1, self.image(*command))
            self.assertIn(str(hurt).encode(), done.stderr)
            self.assertIn(b"does not match its checksum", done.stderr)

    def test_put_replaces_only_when_told(self):
        self.expect(0, self.image("put", "one", data=b"first"))
        done = self.expect(2, self.image("put", "one", data=b"second"))
        self.assertIn(b"--replace", done.stderr)
        self.assertEqual(self.image("get", "one").stdout, b"first")
        self.expect(0, self.image("put", "one", "--replace", data=b"second"))
        self.assertEqual(self.image("get", "one").stdout, b"second")

    def test_an_interrupted_put_leaves_the_old_image(self):
        self.expect(0, self.image("put", "one", data=b"first"))
        process = subprocess.Popen(
            self.command("image put", "-v", "--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", self.images,
                         "one", "--replace"),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment())
        process.stdin.write(b"x" * 3_000_000)
        process.stdin.flush()
        for line in iter(process.stderr.readline, b""):
            if line.startswith(b"stspi_create_image"):
                break
        process.send_signal(signal.SIGINT)
        errors = process.stderr.read()
        self.assertEqual(process.wait(timeout=60), -signal.SIGINT, errors)
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()
        self.assertEqual(self.image("get", "one").stdout, b"first")
        self.assertEqual(self.names(), ["one"])

    def test_get_replaces_a_file_only_when_told(self):
        self.expect(0, self.image("put", "one", data=b"new"))
        file = self.root / "file"
        file.write_text("old")
        self.expect(2, self.image("get", "one", file))
        self.assertEqual(file.read_text(), "old")
        self.expect(0, self.image("get", "one", file, "--replace"))
        self.assertEqual(file.read_text(), "new")

    def test_a_failed_get_leaves_no_file(self):
        before = self.tree(self.root)
        for faults, words in (("status:read_image=2060017", b"stspi_read_image answers STS_E_SYSTEM"),
                              ("cut:3", b"the image's properties tell 10 bytes, 3 could be read")):
            done = self.expect(1, self.image("get", "one", self.root / "file", plugin=FAKE_PLUGIN,
                                             faults=f"has:one {faults}"))
            self.assertIn(words, done.stderr)
        self.assertEqual(self.tree(self.root), before)
        self.expect(0, self.image("get", "one", self.root / "file", plugin=FAKE_PLUGIN, faults="has:one"))

    def test_get_into_a_full_device_is_told(self):
        self.expect(0, self.image("put", "one", data=b"x"))
        done = self.expect(1, self.image("get", "one", "/dev/full"))
        self.assertIn(b"cannot write /dev/full: No space left on device", done.stderr)
        self.assertTrue(pathlib.Path("/dev/full").is_char_device())

    def test_json_and_data_do_not_share_standard_output(self):
        self.expect(2, self.image("get", "one", "--json"))

    def test_copy_on_one_server(self):
        self.expect(0, self.image("put", "one", data=b"z" * 100_000))
        self.expect(0, self.image("copy", "one", "two", "--chunk", "7K"))
        self.expect(0, self.image("copy", "one", "three", "--to-lsu", "pool2"))
        self.assertEqual(self.image("get", "two").stdout, b"z" * 100_000)
        self.assertTrue((self.images / "pool2").is_dir())
        self.expect(2, self.image("copy", "one", "two"))
        self.expect(0, self.image("copy", "one", "two", "--replace"))

    def test_copy_of_an_empty_image(self):
        self.expect(0, self.image("put", "one"))
        self.expect(0, self.image("copy", "one", "two"))
        self.assertEqual(self.image("get", "two").stdout, b"")

    def test_copy_to_another_copan_array(self):
        self.good("image put", "--server", "copan:arr1", "--lsu", "vol1", "one", data=b"data")
        arguments = ("--server", "copan:arr1", "--lsu", "vol1", "one", "two", "--to-lsu", "weekly", "--to-server")
        document = self.document(self.good("image copy", "--json", *arguments, "copan:arr2"))
        self.assertIn("stspi_open_target_server", [call["entry_point"] for call in document["calls"]])
        self.assertEqual(self.good("image get", "--server", "copan:arr2", "--lsu", "weekly", "two").stdout, b"data")
        for target, status in (("copan:none", 1), ("other:x", 1), ("Kelvarpool:mediaA", 2), ("copan:", 2)):
            with self.subTest(target=target):
                self.expect(status, self.simhost("image copy", *arguments, target))

    def test_a_copy_that_goes_wrong_is_told(self):
        # The fake plug-in's copying does nothing, which must not pass for a copy.
        for faults, words in (("status:copy_extent=2060017", b"stspi_copy_extent answers STS_E_SYSTEM"),
                              ("short", b"stspi_copy_extent copied 9 of 10 bytes at offset 0"),
                              ("", b"the copy differs from its source")):
            done = self.expect(1, self.image("copy", "one", "two", plugin=FAKE_PLUGIN, faults=f"has:one {faults}"))
            self.assertIn(words, done.stderr)

    def test_an_unknown_lsu_of_a_copan_array_is_told(self):
        for command, arguments in (("ls", ()), ("get", ("one",)), ("stat", ("one",)), ("put", ("one", "--replace"))):
            done = self.expect(1, self.simhost(f"image {command}", "--server", "copan:arr1", "--lsu", "none", *arguments))
            self.assertIn(b'"copan:arr1" has no LSU "none"; "simhost pools" lists those it has', done.stderr)

    def test_images_on_a_mounted_volume(self):
        place = self.root / "mnt"
        self.good("mount", "--server", "Kelvarpool:mediaA", "pool1:vol1", place)
        self.good("image put", "--server", "Kelvarpool:mediaA", "--lsu", place, "one", data=b"data")
        self.assertTrue(any((self.storage / "kelvarpool-pool1" / "vol1").iterdir()))


class Probe(SimhostTest):
    def probe(self, *arguments, faults=""):
        return subprocess.run([SIMHOST, "probe", *map(str, arguments)], capture_output=True, check=False,
                              env=self.environment(FAKE_PLUGIN=faults))

    def test_tells_what_the_plugin_is_made_of(self):
        document = self.document(self.expect(0, self.probe("--json", PLUGIN)))
        result = document["result"]
        self.assertEqual((result["label"], result["prefix"]), ("Simulation Plugin", "Kelvarpool:"))
        self.assertEqual((result["api_versions"], result["lowest_versions"]), ([9, 9], ["7", "9"]))
        self.assertEqual(result["missing_exports"], [])
        self.assertEqual(len(result["unsupported"]), 29)
        self.assertEqual(result["control_commands"], [1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12])
        self.assertEqual(len(result["tables"]), 41 + 22)
        self.assertEqual([slot["slot"] for slot in result["tables"][:41] if slot["symbol"] == "null"],
                         [15, 37, 38, 39, 40])
        self.assertIn("libstsimage.so", result["needed"])

    def test_for_people(self):
        text = self.expect(0, self.probe(PLUGIN)).stdout.decode()
        self.assertIn("   4  stspi_claim                   same    STS_E_NOT_CLAIMED (2060009)\n", text)
        self.assertIn("control commands      1-7, 9-12\n", text)

    def test_tells_null_slots_and_crashes(self):
        done = self.expect(1, self.probe(FAKE_PLUGIN))
        self.assertIn(b"first table, slot 18: stspi_get_image_prop is null", done.stderr)
        self.assertRegex(done.stderr.decode(),
                         r"first table, slot 29: stspi_open_server (crashes \(.*\)|ends the process) when it is given null")

    def test_tells_a_slot_that_is_not_the_exported_function(self):
        done = self.expect(1, self.probe(FAKE_PLUGIN))
        self.assertRegex(done.stdout.decode(), r"(?m)^ +4  stspi_claim +differs ")
        self.assertIn(b"first table, slot 4: it is not the exported stspi_claim\n", done.stderr)
        self.assertIn(b"warning: not exported: ", done.stderr)

    def test_tells_a_slot_that_should_be_null(self):
        done = self.expect(1, self.probe(FAKE_PLUGIN, faults="fill:15"))
        self.assertIn(b"first table, slot 15: it should be null\n", done.stderr)

    def test_refuses_what_is_no_plugin(self):
        text = self.root / "text"
        text.write_text("no library")
        cut = self.root / "cut.so"
        cut.write_bytes(pathlib.Path(PLUGIN).read_bytes()[:5000])
        empty = self.root / "empty"
        empty.write_bytes(b"")
        for path, words in ((text, "is no ELF file"), (empty, "is no ELF file"), (cut, "ends too early"),
                            ("/nowhere", "cannot read /nowhere: No such file or directory"),
                            (self.root, "cannot read .*: Is a directory"),
                            (SIMHOST, "is not a plug-in|cannot load|is of another type")):
            with self.subTest(path=path):
                done = self.expect(2, self.probe(path))
                self.assertRegex(done.stderr.decode(), words)

    def test_finds_a_plugin_in_the_working_directory(self):
        (self.root / "here.so").symlink_to(PLUGIN)
        done = subprocess.run([SIMHOST, "probe", "here.so"], cwd=self.root, capture_output=True, check=False,
                              env=self.environment())
        self.expect(0, done)


class Init(SimhostTest):
    def test_writes_files_that_the_plugin_serves(self):
        fresh = self.root / "fresh"
        fresh.mkdir()
        for server in ("Kelvarpool", "Kelvarpool:h1", "copan:a1", "lab"):
            with self.subTest(server=server):
                document = self.document(self.expect(0, self.init(
                    fresh, server, "--json", "--replace", "--storage-dir", self.storage)))
                name = document["result"]["server"]
                done = subprocess.run([SIMHOST, "run", "--plugin", PLUGIN, "--config-dir", fresh, "--server", name,
                                       "--strict"], input=b"data", capture_output=True, env=self.environment(), check=False)
                self.expect(0, done)

    def init(self, directory, *arguments):
        return subprocess.run([SIMHOST, "init", "--config-dir", directory, *map(str, arguments)], capture_output=True,
                              env=self.environment(), check=False)

    def test_explains_every_key(self):
        for server in ("Kelvarpool", "copan"):
            text = self.expect(0, self.init(self.config, server, "--replace")).stdout.decode()
            keys = {line.split()[0] for line in (self.config / f"{server}.sim").read_text().splitlines() if line}
            explanation = text.split((self.config / f"{server}.sim").read_text())[1]
            for key in keys:
                self.assertRegex(explanation, rf"(?m)^{key} ")

    def test_writes_a_file_of_a_long_prefix(self):
        # Sections keep 31 bytes of a name; the prefix is a file's name.
        prefix = "x" * 250
        self.expect(0, self.init(self.config, f"{prefix}:a", "--storage-dir", self.storage))
        self.good("run", "--server", f"{prefix}:a", "--strict", data=b"data")

    def test_keeps_a_file_that_is_there(self):
        before = (self.config / "copan.sim").read_text()
        self.expect(2, self.init(self.config, "copan"))
        self.assertEqual((self.config / "copan.sim").read_text(), before)

    def test_refuses_what_cannot_stand_in_the_file(self):
        for arguments in (["a/b"], [""], ["copan:a b"], ["copan:" + "x" * 32], ["Kelvarpool", "--hosts", "a,b;c"],
                          ["Kelvarpool", "--storage-dir", "relative"], ["copan", "--storage-dir", "/a b"],
                          ["copan", "--hosts", "h"], ["copan", "--storage-dir", str(self.root / "none")],
                          ["x" * 252]):
            with self.subTest(arguments=arguments):
                self.expect(2, self.init(self.root, *arguments))
        self.assertEqual([path for path in self.root.iterdir() if path.suffix == ".sim"], [])


if __name__ == "__main__":
    main()
