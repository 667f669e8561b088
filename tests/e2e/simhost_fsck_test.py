"""simhost image fsck: what is found beside the images, what is removed when asked, and what is left alone."""

import subprocess
import threading

from simhost_world import FAKE_PLUGIN, SimhostTest, main

PLACE = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1")


class Fsck(SimhostTest):
    def setUp(self):
        super().setUp()
        self.good("image put", *PLACE, "--image-root", self.images, "whole", data=b"whole" * 100_000)

    def fsck(self, *arguments, status=0, root=None, **how):
        done = self.simhost("image fsck", "--json", "--image-root", root or self.images, *arguments, **how)
        return self.document(self.expect(status, done))

    def states(self, *arguments, **how):
        found = self.fsck(*arguments, **how)["result"]["leftovers"]
        return {leftover["name"]: leftover["state"] for leftover in found}

    def begin_writer(self, name):
        """One that has written something and waits for more."""
        writer = subprocess.Popen(self.command("image put", *PLACE, "--image-root", self.images, name),
                                  env=self.environment(), stdin=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  stdout=subprocess.DEVNULL)
        self.addCleanup(writer.wait)
        self.addCleanup(writer.stdin.close)
        writer.stdin.write(b"begun" * 100_000)
        writer.stdin.flush()
        while name not in self.states():
            self.assertIsNone(writer.poll())
        return writer

    def leave_draft(self, name):
        writer = self.begin_writer(name)
        writer.kill()
        writer.wait()

    def test_nothing_is_found_beside_images_that_are_whole(self):
        result = self.fsck("--verify", "--remove")["result"]
        self.assertEqual(result, {"leftovers": [], "damaged": [], "unreadable_lsus": [], "lsus": 1, "in_use": 0, "removed": 0,
                                  "left": 0, "whole": 1})

    def test_draft_of_a_killed_writer_is_told_and_goes_when_asked(self):
        self.leave_draft("cut off")
        self.assertEqual(self.states(), {"cut off": "not needed"})
        told = self.good("image fsck", "--image-root", self.images).stdout.decode()
        self.assertRegex(told, r"(?m)^pool1 +cut off +draft +\S+ +not needed$")
        self.assertEqual(self.states("--remove"), {"cut off": "removed"})
        self.assertEqual(self.states(), {})
        self.assertEqual(self.tree(self.images), [f"{self.images}/pool1", f"{self.images}/pool1/whole.stsimg"])

    def test_live_writer_goes_on_while_two_remove_what_a_dead_one_left(self):
        writer = self.begin_writer("live")
        self.leave_draft("dead")
        outcomes = []
        both = [threading.Thread(target=lambda: outcomes.append(self.states("--remove"))) for _ in range(2)]
        for one in both:
            one.start()
        for one in both:
            one.join()
        self.assertEqual(len(outcomes), 2)
        for states in outcomes:
            self.assertEqual(states.pop("live"), "in use")
            self.assertIn(states, ({}, {"dead": "removed"}))
        self.assertEqual(self.states(), {"live": "in use"})
        writer.stdin.close()
        self.assertEqual(writer.wait(), 0)
        self.assertEqual(self.good("image get", *PLACE, "--image-root", self.images, "live").stdout, b"begun" * 100_000)

    def test_damaged_image_is_named_and_the_others_are_read(self):
        self.good("image put", *PLACE, "--image-root", self.images, "damaged", data=b"data" * 100_000)
        with open(self.images / "pool1" / "damaged.stsimg", "r+b") as stream:
            stream.seek((1 << 20) + 5000)
            stream.write(b"damage")
        self.assertEqual(self.fsck()["result"]["damaged"], [])
        result = self.fsck("--verify", status=1)["result"]
        self.assertEqual([image["name"] for image in result["damaged"]], ["damaged"])
        self.assertEqual(result["whole"], 1)

    def test_one_lsu_alone(self):
        self.good("image put", "--server", "Kelvarpool:mediaA", "--lsu", "pool2", "--image-root", self.images, "other", data=b"x")
        self.assertEqual(self.fsck("--verify")["result"]["whole"], 2)
        self.assertEqual(self.fsck("--verify", "pool2")["result"]["whole"], 1)
        self.assertEqual(self.fsck("--verify", self.images / "pool1")["result"]["whole"], 1)
        result = self.fsck("none", status=1)["result"]
        self.assertEqual([lsu["lsu"] for lsu in result["unreadable_lsus"]], ["none"])

    def test_root_that_is_not_there_is_told(self):
        document = self.fsck(root=self.root / "none", status=1)
        self.assertIn("does not exist", " ".join(document["errors"]))

    def test_other_image_library_is_told(self):
        self.assertIn("image library", " ".join(self.fsck("--remove", plugin=FAKE_PLUGIN, status=2)["errors"]))


if __name__ == "__main__":
    main()
