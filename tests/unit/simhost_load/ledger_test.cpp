#include "simhost/load/ledger.h"

#include <gtest/gtest.h>

namespace {

constexpr uint64_t image = 3;
const Content older = {image, 1, 100};
const Content newer = {image, 2, 200};

class LedgerTest : public testing::Test {
protected:
    ImageRecord now() const { return ledger.read(image); }
    void acknowledge(const Content &acknowledged) {
        ledger.begin_writing(image, acknowledged);
        ledger.begin_closing(image);
        ledger.acknowledge_content(image);
    }

    SharedArena arena{1 << 20};
    Ledger ledger{arena, 0xab, 10};
};

}  // namespace

using Promise = LedgerTest;

TEST_F(Promise, OfAnImageThatWasNeverWrittenIsThatItIsNotThere) {
    EXPECT_TRUE(now().must_not_be_there());
    EXPECT_FALSE(now().must_be_there());
    EXPECT_FALSE(now().is_under_way());
    EXPECT_FALSE(now().may_hold(newer));
}

TEST_F(Promise, OfAFirstWritingIsThatNothingIsSeenBeforeItsClose) {
    ledger.begin_writing(image, newer);
    EXPECT_TRUE(now().must_not_be_there());
    EXPECT_TRUE(now().is_under_way());
    EXPECT_FALSE(now().may_hold(newer));
    ledger.begin_closing(image);
    EXPECT_FALSE(now().must_not_be_there());
    EXPECT_FALSE(now().must_be_there());
    EXPECT_TRUE(now().may_hold(newer));
}

TEST_F(Promise, OfAnAcknowledgedImageIsItsContent) {
    acknowledge(older);
    EXPECT_TRUE(now().must_be_there());
    EXPECT_FALSE(now().is_under_way());
    EXPECT_TRUE(now().content == older);
    EXPECT_TRUE(now().may_hold(older));
    EXPECT_FALSE(now().may_hold(newer));
}

TEST_F(Promise, OfAReplacementIsTheOldContentUntilItsClose) {
    acknowledge(older);
    ledger.begin_writing(image, newer);
    EXPECT_TRUE(now().must_be_there());
    EXPECT_TRUE(now().may_hold(older));
    EXPECT_FALSE(now().may_hold(newer));
    ledger.begin_closing(image);
    EXPECT_TRUE(now().must_be_there());
    EXPECT_TRUE(now().may_hold(older));
    EXPECT_TRUE(now().may_hold(newer));
    ledger.acknowledge_content(image);
    EXPECT_FALSE(now().may_hold(older));
    EXPECT_TRUE(now().may_hold(newer));
}

TEST_F(Promise, OfAFailedReplacementIsTheOldContent) {
    acknowledge(older);
    ledger.begin_writing(image, newer);
    ledger.keep_as_it_was(image);
    EXPECT_EQ(now().state, ImageState::present);
    EXPECT_TRUE(now().content == older);
    EXPECT_FALSE(now().may_hold(newer));
}

TEST_F(Promise, OfAFailedFirstWritingIsNothing) {
    ledger.begin_writing(image, newer);
    ledger.keep_as_it_was(image);
    EXPECT_EQ(now().state, ImageState::failed);
    EXPECT_TRUE(now().must_not_be_there());
}

TEST_F(Promise, OfADeletionUnderWayIsTheOldContentOrNothing) {
    acknowledge(older);
    ledger.begin_deleting(image);
    EXPECT_FALSE(now().must_be_there());
    EXPECT_FALSE(now().must_not_be_there());
    EXPECT_TRUE(now().may_hold(older));
    ledger.acknowledge_deletion(image);
    EXPECT_EQ(now().state, ImageState::deleted);
    EXPECT_TRUE(now().must_not_be_there());
}

TEST_F(Promise, OfADeletionThatDidNothingIsTheOldContent) {
    acknowledge(older);
    ledger.begin_deleting(image);
    ledger.keep_as_it_was(image);
    EXPECT_TRUE(now().must_be_there());
    EXPECT_TRUE(now().content == older);
}

TEST_F(Promise, OfASpoiltWritingIsNone) {
    acknowledge(older);
    ledger.begin_writing(image, newer);
    ledger.begin_spoilt(image);
    EXPECT_TRUE(now().is_under_way());
    EXPECT_FALSE(now().must_be_there());
    EXPECT_FALSE(now().must_not_be_there());
}

TEST_F(Promise, OfAnotherImageStaysAsItIs) {
    const uint64_t word = ledger.read(image + 1).word;
    acknowledge(older);
    EXPECT_EQ(ledger.read(image + 1).word, word);
}

TEST_F(Promise, ThatChangedAndChangedBackHasAnotherWord) {
    acknowledge(older);
    const uint64_t before = now().word;
    ledger.begin_deleting(image);
    ledger.keep_as_it_was(image);
    EXPECT_NE(now().word, before);
}

using ImageName = LedgerTest;

TEST_F(ImageName, LeadsBackToItsImage) {
    for (uint64_t each = 0; each < ledger.images(); ++each)
        EXPECT_EQ(ledger.image_of(ledger.name(each)), each);
}

TEST_F(ImageName, ThatIsNoneOfThisRunLeadsToNoImage) {
    for (const char *name : {"", "load", "load-ab-", "load-ab-0000010", "load-ac-0000003", "load-ab-3",
                             "load-ab-0000003 ", "saved-load-ab-0000003", "load-ab-99999999999999999999999"})
        EXPECT_EQ(ledger.image_of(name), ledger.images()) << name;
}
