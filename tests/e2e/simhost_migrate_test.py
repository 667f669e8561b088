"""simhost image migrate: what is copied from store to store, what is left alone, and what is refused."""

import subprocess

from simhost_world import SimhostTest, main

PLACE = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1")


class Migration(SimhostTest):
    def setUp(self):
        super().setUp()
        self.elsewhere = self.root / "elsewhere"
        self.data = {name: name.encode() * size for name, size in (("one", 1), ("two", 700_000), ("three", 30))}
        for name, data in self.data.items():
            self.put(self.images, name, data)

    def put(self, root, name, data):
        self.good("image put", "--replace", *PLACE, "--image-root", root, name, data=data)

    def get(self, root, name):
        return self.good("image get", *PLACE, "--image-root", root, name).stdout

    def names(self, root):
        listed = self.document(self.good("image ls", "--json", *PLACE, "--image-root", root))["result"]["images"]
        return [image["name"] for image in listed]

    def migrate(self, *arguments, source=None, target=None, status=0):
        done = self.simhost("image migrate", "--json", *PLACE, source or self.images, target or self.elsewhere, *arguments)
        return self.document(self.expect(status, done))

    def outcomes(self, document):
        return {image["name"]: image["outcome"] for image in document["result"]["images"]}

    def test_copies_all_and_a_second_run_leaves_them_alone(self):
        first = self.migrate()
        self.assertEqual(self.outcomes(first), dict.fromkeys(self.data, "copied"))
        self.assertEqual(first["result"]["bytes"], sum(map(len, self.data.values())))
        for name, data in self.data.items():
            self.assertEqual(self.get(self.elsewhere, name), data)
            self.assertEqual(self.get(self.images, name), data)
        files = {path: path.stat().st_ino for path in self.elsewhere.rglob("*.stsimg")}
        self.assertEqual(len(files), len(self.data))
        self.assertEqual(self.outcomes(self.migrate()), dict.fromkeys(self.data, "there already"))
        self.assertEqual({path: path.stat().st_ino for path in self.elsewhere.rglob("*.stsimg")}, files)
        self.assertEqual(self.names(self.elsewhere), sorted(self.data))

    def test_goes_on_where_an_earlier_one_was_stopped(self):
        self.migrate("two")
        self.assertEqual(self.outcomes(self.migrate()), {"one": "copied", "two": "there already", "three": "copied"})

    def test_another_image_of_a_name_stays_unless_it_is_to_be_replaced(self):
        other = b"x" * len(self.data["two"])
        self.put(self.elsewhere, "two", other)
        document = self.migrate(status=1)
        self.assertEqual(self.outcomes(document), {"one": "copied", "three": "copied"})
        self.assertIn("--replace", " ".join(document["errors"]))
        self.assertEqual(self.get(self.elsewhere, "two"), other)
        self.assertEqual(self.outcomes(self.migrate("--replace", "two")), {"two": "copied"})
        self.assertEqual(self.get(self.elsewhere, "two"), self.data["two"])

    def test_image_that_came_after_the_look_for_it_is_not_replaced(self):
        going_on = self.root / "go"
        rules = self.root / "rules"
        rules.write_text(f"on create_image hold until {going_on}\n", encoding="utf-8")
        here = (*PLACE, "--image-root", self.images)
        # The last call before the image is created says that nothing bears its name.
        for last, status, *command in (("stspi_get_image_prop_byname", 2, "image put", *here, "new"),
                                       ("stspi_open_image", 2, "image copy", *here, "one", "new"),
                                       ("stspi_open_image", 1, "image migrate", *PLACE, self.images, self.elsewhere, "one")):
            with self.subTest(command=command[0]):
                command = self.command(*command, "-v", "--faults", rules)
                process = subprocess.Popen(command, env=self.environment(), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                           stderr=subprocess.PIPE)
                for line in iter(process.stderr.readline, b""):
                    if line.startswith(last.encode()):
                        break
                root, name = (self.elsewhere, "one") if command[2] == "migrate" else (self.images, "new")
                self.put(root, name, b"of another host")
                going_on.touch()
                told = b"".join(process.communicate(b"data"))
                self.assertEqual((process.returncode, b"--replace" in told), (status, True), told.decode())
                self.assertEqual(self.get(root, name), b"of another host")
                self.good("image rm", *PLACE, "--image-root", root, name)
                going_on.unlink()

    def test_a_damaged_image_is_named_and_the_others_are_copied(self):
        file = self.images / "pool1" / "two.stsimg"
        with open(file, "r+b") as stream:
            stream.seek((1 << 20) + 5000)
            stream.write(b"damage")
        document = self.migrate(status=1)
        self.assertEqual(self.outcomes(document), {"one": "copied", "three": "copied"})
        self.assertIn("two", " ".join(document["errors"]))
        self.assertEqual(self.names(self.elsewhere), ["one", "three"])

    def test_two_ways_to_one_place_are_refused(self):
        before = self.tree(self.images)
        (self.root / "link").symlink_to(self.images)
        for target in (self.images, self.root / "link"):
            with self.subTest(target=target):
                self.assertIn("one place", " ".join(self.migrate(target=target, status=2)["errors"]))
                self.assertEqual(self.tree(self.images), before)

    def with_rules(self, *lines):
        """Options that have calls answered so."""
        rules = self.root / "rules"
        rules.write_text("".join(f"{line}\n" for line in lines))
        return "--faults", rules

    def test_a_copy_whose_close_left_it_open_is_looked_at(self):
        # The first close of an image that is not there yet is the copy's.
        document = self.migrate(*self.with_rules("on close_image image two call 1 after answer STSIMG_E_OUTCOME_UNKNOWN"))
        self.assertEqual(self.outcomes(document), dict.fromkeys(self.data, "copied"))
        self.assertEqual((document["result"]["copied"], document["result"]["bytes"]), (3, sum(map(len, self.data.values()))))
        self.assertEqual(document["errors"], [])
        self.assertRegex(" ".join(document["warnings"]),
                         "^two: stspi_close_image answers STSIMG_E_OUTCOME_UNKNOWN .*; the copy is there$")
        self.assertEqual(self.get(self.elsewhere, "two"), self.data["two"])

    def test_a_copy_whose_close_left_it_open_and_that_is_not_there_is_an_error(self):
        document = self.migrate(*self.with_rules("on close_image image two call 1 answer STSIMG_E_OUTCOME_UNKNOWN"), status=1)
        self.assertEqual(self.outcomes(document), {"one": "copied", "three": "copied"})
        self.assertRegex(document["errors"][0], "^two: stspi_close_image answers STSIMG_E_OUTCOME_UNKNOWN ")
        self.assertEqual(document["errors"][1:], ["1 of 3 images were not migrated"])
        self.assertEqual(self.names(self.elsewhere), ["one", "three"])

    def test_what_was_there_before_does_not_pass_for_a_copy_whose_close_left_it_open(self):
        old = b"x" * len(self.data["two"])
        self.put(self.elsewhere, "two", old)
        # The first two closes are of the comparison of what is there.
        rules = self.with_rules("on close_image image two call 3 answer STSIMG_E_OUTCOME_UNKNOWN")
        document = self.migrate("--replace", "two", *rules, status=1)
        self.assertRegex(document["errors"][0], "^two: stspi_close_image answers STSIMG_E_OUTCOME_UNKNOWN ")
        self.assertEqual(self.get(self.elsewhere, "two"), old)

    def test_a_look_that_fails_leaves_a_copy_whose_close_left_it_open_an_error(self):
        # Asked for in this order: its size, whether it is there, whether it has come meanwhile, and, by the look, the size of the copy.
        rules = self.with_rules("on close_image image two call 1 after answer STSIMG_E_OUTCOME_UNKNOWN",
                                "on get_image_prop_byname image two call 4 answer STS_E_SYSTEM")
        document = self.migrate("two", *rules, status=1)
        self.assertRegex(document["errors"][0], "^two: stspi_close_image answers STSIMG_E_OUTCOME_UNKNOWN ")
        self.assertEqual(self.outcomes(self.migrate("two")), {"two": "there already"})

    def test_the_image_that_tells_two_places_apart_never_stays(self):
        self.migrate()
        before = self.names(self.elsewhere)
        probe = 'image "simhost-migrate-*"'
        for rule in (f"on close_image {probe} after answer STS_E_SYSTEM",
                     f"on get_image_prop_byname {probe} answer STS_E_SYSTEM",
                     f"on delete_image {probe} call 1 answer STS_E_SYSTEM",
                     f"on delete_image {probe} call 1 after answer STSIMG_E_OUTCOME_UNKNOWN"):
            with self.subTest(rule=rule):
                document = self.migrate(*self.with_rules(rule), status=1)
                self.assertIn(" answers ", document["errors"][0])
                self.assertEqual(document["warnings"], [])
                self.assertEqual(document["result"]["faults"]["rules"][0]["fired"], 1)
                self.assertEqual(self.names(self.elsewhere), before)

    def test_an_image_that_is_not_there_is_named(self):
        self.assertIn("none", " ".join(self.migrate("none", status=1)["errors"]))

    def test_image_root_is_no_option_of_it(self):
        self.expect(2, self.simhost("image migrate", *PLACE, "--image-root", self.images, self.images, self.elsewhere))
        for empty in (("", self.elsewhere), (self.images, "")):
            self.assertIn(b"neither may be empty", self.expect(2, self.simhost("image migrate", *PLACE, *empty)).stderr)


if __name__ == "__main__":
    main()
