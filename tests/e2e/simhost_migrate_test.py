"""simhost image migrate: what is copied from store to store, what is left alone, and what is refused."""

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

    def test_an_image_that_is_not_there_is_named(self):
        self.assertIn("none", " ".join(self.migrate("none", status=1)["errors"]))

    def test_image_root_is_no_option_of_it(self):
        self.expect(2, self.simhost("image migrate", *PLACE, "--image-root", self.images, self.images, self.elsewhere))


if __name__ == "__main__":
    main()
