"""What replaced, deleted and half written images leave in a service that speaks S3, and when it goes."""

import unittest

from s3_service import GATEWAY
from store_world import AGE_OF_LOOSE_PARTS, NAMES, PATIENCE, PLACE, ROOT, S3Test, main


class Leftovers(S3Test):
    def fsck(self, *arguments):
        return self.document(self.good("image fsck", "--json", "--image-root", ROOT, *arguments))["result"]

    def test_replaced_and_deleted_parts_go_by_themselves_once_nobody_may_read_them(self):
        self.expect(0, self.put("name", b"first"))
        self.expect(0, self.put("name", b"second", "--replace"))
        self.expect(0, self.put("other", b"other"))
        self.good("image rm", *PLACE, "other")
        self.names()
        self.assertEqual(len(self.service.keys("test/image/")), 3)
        self.service.age(AGE_OF_LOOSE_PARTS)
        self.names()
        self.assertEqual(len(self.service.keys("test/image/")), 1)
        self.assertEqual(self.service.keys("test/loose/"), [])
        self.assertEqual(self.get("name"), b"second")

    def test_parts_of_an_image_that_is_deleted_as_soon_as_it_is_there_go_too(self):
        self.service.trouble({"method": "DELETE", "key": "loose/", "what": "delay", "seconds": 5})
        writer = self.start("image put", *PLACE, "name", **PATIENCE)
        writer.stdin.close()
        writer.stdin = None
        self.until(lambda: not self.service.unmet())  # it takes back its note of a draft when it has published
        self.good("image rm", *PLACE, "name")
        self.assertEqual(writer.wait(), 0)
        self.service.age(AGE_OF_LOOSE_PARTS)
        self.names()
        self.assertEqual(self.service.keys("test/image/"), [])

    def test_writer_is_seen_to_live_while_it_clears_away_what_takes_long(self):
        for number in range(8):
            self.expect(0, self.put(f"name {number}", b"data"))
            self.good("image rm", *PLACE, f"name {number}")
        self.service.age(AGE_OF_LOOSE_PARTS)
        self.service.trouble({"method": "DELETE", "key": "image/", "what": "hang", "times": 1000})
        writer = self.start("image put", *PLACE, "name", STSIMAGE_S3_LEASE="6")
        writer.stdin.write(b"x" * 9_000_000)
        writer.stdin.flush()
        self.until(lambda: not self.service.unmet())
        (sign_of_life,) = [key for key in self.service.keys("test/writers/") if self.service.age_of(key) < AGE_OF_LOOSE_PARTS]
        self.service.age(60)
        self.until(lambda: self.service.age_of(sign_of_life) < 30, seconds=30)

    def test_list_does_not_wait_until_all_is_cleared_away(self):
        for number in range(8):
            self.expect(0, self.put(f"name {number}", b"data"))
            self.good("image rm", *PLACE, f"name {number}")
        self.service.age(AGE_OF_LOOSE_PARTS)
        self.service.trouble({"method": "DELETE", "key": "image/", "what": "403", "times": 1000},
                             {"method": "GET", "key": "/images", "what": "delay", "seconds": 1, "times": 1000})
        begun = self.service.ask("requests")["GET"]
        self.assertEqual(self.names(), [])
        # Each of the eight takes two lists and three records, of a second each; two seconds are given to all of them.
        self.assertLess(self.service.ask("requests")["GET"] - begun, 25)

    def test_name_of_a_deleted_image_is_taken_away_in_time(self):
        self.expect(0, self.put("name", b"first"))
        self.good("image rm", *PLACE, "name")
        self.assertEqual(self.names(), [])
        self.assertEqual(len(self.service.keys(NAMES)), 1)
        self.service.age(4000)
        self.assertEqual(self.names(), [])
        self.assertEqual(self.service.keys(NAMES), [])
        self.expect(0, self.put("name", b"again"))

    def test_parts_in_nobodys_notes_are_found_when_they_are_old_enough(self):
        self.expect(0, self.put("name", b"whole"))
        orphan = "test/image/" + "0123456789abcdef" * 2 + "/000000000000"
        self.service.change({orphan: "lost"})
        young = self.fsck("--remove")["leftovers"]
        self.assertEqual([found["state"] for found in young], ["in use"])
        self.service.age(AGE_OF_LOOSE_PARTS)
        self.assertEqual([found["state"] for found in self.fsck()["leftovers"]], ["not needed"])
        self.assertEqual([found["state"] for found in self.fsck("--remove", "--verify")["leftovers"]], ["removed"])
        self.assertEqual(self.fsck()["leftovers"], [])
        self.assertNotIn(orphan, self.service.keys())
        self.assertEqual(self.get("name"), b"whole")

    @unittest.skipIf(GATEWAY, "its objects cannot be made a day older")
    def test_what_this_library_has_not_made_stays(self):
        self.expect(0, self.put("name", b"data"))
        identity = "0123456789abcdef" * 2
        foreign = ("writers/biography.txt", f"writers/writers/{identity}", "image/holiday/1.jpg", "image/image/x/000000000000", "loose/change",
                   f"loose/{identity}.bak", f"readers/{identity}/novel.5")
        self.service.change({f"test/{key}": "of somebody else" for key in foreign})
        self.service.change({f"test/image/{identity}/000000000000": "lost"})
        self.service.age(90000)
        self.names()
        self.assertEqual([found["state"] for found in self.fsck("--remove")["leftovers"]], ["removed"])
        self.expect(0, self.put("name", b"other", "--replace"))
        self.service.age(90000)
        self.names()
        self.assertLessEqual({f"test/{key}" for key in foreign}, set(self.service.keys("test/")))
        self.assertEqual(self.service.keys(f"test/image/{identity}/"), [])

    def test_nothing_is_removed_where_the_text_of_an_lsu_cannot_be_had(self):
        self.expect(0, self.put("name", b"data"))
        self.service.age(AGE_OF_LOOSE_PARTS)
        self.service.change({"test/lsu/pool1": "pool2"})
        done = self.expect(1, self.simhost("image fsck", "--image-root", ROOT, "--remove"))
        self.assertIn(b"lsu/pool1 does not hold the text of an LSU", done.stderr)
        self.assertEqual(self.get("name"), b"data")

    def test_each_note_is_read_for_its_own_lsu_alone(self):
        lsus = [f"lsu{number}" for number in range(6)]
        for lsu in lsus:
            place = ("--server", "Kelvarpool:mediaA", "--lsu", lsu, "--image-root", ROOT)
            self.good("image put", *place, "name", data=b"data")
            self.good("image rm", *place, "name")
        begun = self.service.ask("requests")["GET"]
        self.assertEqual(sorted(found["lsu"] for found in self.fsck()["leftovers"]), lsus)
        # It takes 68 requests, and 118 if all notes are read at each LSU's turn.
        self.assertLess(self.service.ask("requests")["GET"] - begun, 90)

    def test_lsus_that_are_not_answered_for_leave_time_for_the_others(self):
        for lsu in ("lsu0", "lsu1", "lsu2", "lsu3"):
            self.good("image put", "--server", "Kelvarpool:mediaA", "--lsu", lsu, "--image-root", ROOT, "name", data=b"data")
        # They are listed by a first look at each.
        self.service.trouble(*({"method": "GET", "key": f"/lsu/{lsu}", "skip": 1, "what": "hang", "times": 1000}
                               for lsu in ("lsu0", "lsu1", "lsu2")))
        done = self.simhost("image fsck", "--json", "--verify", "--image-root", ROOT, STSIMAGE_S3_TIMEOUT="6")
        unreadable = self.document(self.expect(1, done))["result"]["unreadable_lsus"]
        self.assertEqual([found["lsu"] for found in unreadable], ["lsu0", "lsu1", "lsu2"])
        self.assertRegex(done.stderr.decode(), "cannot look for parts of no image.*no answer from")

    def test_nothing_is_removed_where_a_record_cannot_be_read(self):
        names = [f"name {number}" for number in range(8)]
        for name in names:
            self.expect(0, self.put(name, b"data"))
        self.service.age(AGE_OF_LOOSE_PARTS)
        for skipped in range(len(names)):
            self.service.trouble({"method": "GET", "key": NAMES + "name", "what": "403", "skip": skipped})
            done = self.simhost("image fsck", "--image-root", ROOT, "--remove")
            self.assertEqual((self.service.unmet(), done.returncode), ([], 1), done.stdout)
        for name in names:
            self.assertEqual(self.get(name), b"data")


if __name__ == "__main__":
    main()
