// What is read tells what became of it.
#include "simhost/load/data_blocks.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>

using testing::HasSubstr;

namespace {

constexpr uint64_t run_seed = 11;
constexpr uint64_t chunk = 4 * block_bytes;
const Content content = {5, 3, 10 * block_bytes};

std::string bytes_of(const Content &of, uint64_t offset, uint64_t length, uint64_t block_seed = run_seed) {
    DataBlocks blocks(block_seed, chunk, 50);
    return std::string(blocks.data(of, offset, length), length);
}

std::optional<BlockFault> check(const std::string &bytes, uint64_t offset, bool earlier_were_right = false) {
    DataBlocks blocks(run_seed, chunk, 50);
    return blocks.check(bytes.data(), content, offset, bytes.size(), earlier_were_right);
}

PromiseKind kind_of(const std::string &bytes, uint64_t offset, bool earlier_were_right = false) {
    const auto fault = check(bytes, offset, earlier_were_right);
    return fault ? fault->kind : PromiseKind::count;
}

}  // namespace

TEST(DataBlocks, AreRightAtEveryPlaceOfAnImage) {
    for (const uint64_t offset : {0U, 1U, 511U, 512U, 4095U, 4096U, 5000U, 20000U})
        for (const uint64_t length : {1U, 7U, 56U, 513U, 4096U, 10000U, 16384U}) {
            const std::string bytes = bytes_of(content, offset, length);
            EXPECT_FALSE(check(bytes, offset)) << length << " at " << offset;
        }
}

TEST(DataBlocks, AreTheSameInWhateverCallsTheyAreWritten) {
    std::string pieces;
    for (uint64_t offset = 0; offset < chunk; offset += 1000)
        pieces += bytes_of(content, offset, std::min<uint64_t>(1000, chunk - offset));
    EXPECT_EQ(pieces, bytes_of(content, 0, chunk));
}

TEST(DataBlocks, DifferByRunImageGenerationAndOffset) {
    const std::string bytes = bytes_of(content, 0, block_bytes);
    EXPECT_NE(bytes, bytes_of(content, 0, block_bytes, run_seed + 1));
    EXPECT_NE(bytes, bytes_of({6, 3, content.size}, 0, block_bytes));
    EXPECT_NE(bytes, bytes_of({5, 4, content.size}, 0, block_bytes));
    EXPECT_NE(bytes, bytes_of(content, chunk, block_bytes));
}

TEST(WrongBlock, OfZerosIsLost) {
    std::string bytes = bytes_of(content, 0, chunk);
    std::memset(bytes.data() + block_bytes, 0, block_bytes);
    const auto fault = check(bytes, 0);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, PromiseKind::lost_block);
    EXPECT_EQ(fault->offset, block_bytes);
}

TEST(WrongBlock, OfAnOlderGenerationIsStale) {
    const auto fault = check(bytes_of({5, 2, content.size}, 0, chunk), 0);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, PromiseKind::stale_block);
    EXPECT_EQ(fault->offset, 0U);
    EXPECT_THAT(fault->what, HasSubstr("generation 2, not 3"));
}

TEST(WrongBlock, OfAnOlderGenerationBehindRightOnesIsAMixture) {
    const std::string old = bytes_of({5, 2, content.size}, chunk, block_bytes);
    EXPECT_EQ(kind_of(old, chunk, false), PromiseKind::stale_block);
    EXPECT_EQ(kind_of(old, chunk, true), PromiseKind::mixed_generations);
    const std::string both =
        bytes_of(content, 0, block_bytes) + bytes_of({5, 2, content.size}, block_bytes, block_bytes);
    EXPECT_EQ(kind_of(both, 0, false), PromiseKind::mixed_generations);
}

TEST(WrongBlock, BehindAPartThatTellsNothingIsNoMixture) {
    // What stands in the middle of a sector is the same in both generations.
    const std::string old = bytes_of({5, 2, content.size}, 4000, 1000);
    EXPECT_EQ(kind_of(old, 4000), PromiseKind::stale_block);
}

TEST(WrongBlock, OfAnotherOffsetIsMisplaced) {
    const auto fault = check(bytes_of(content, 2 * block_bytes, block_bytes), block_bytes);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, PromiseKind::misplaced_block);
    EXPECT_THAT(fault->what, HasSubstr("offset 8192"));
}

TEST(WrongBlock, OfAnotherImageOrRunIsForeign) {
    EXPECT_EQ(kind_of(bytes_of({6, 3, content.size}, 0, block_bytes), 0), PromiseKind::foreign_block);
    EXPECT_EQ(kind_of(bytes_of(content, 0, block_bytes, run_seed + 1), 0), PromiseKind::foreign_block);
    EXPECT_EQ(kind_of(std::string(block_bytes, 'x'), 0), PromiseKind::foreign_block);
}

TEST(WrongBlock, OfSectorsOfTwoBlocksIsTorn) {
    const std::string right = bytes_of(content, 0, block_bytes);
    const std::string old = bytes_of({5, 2, content.size}, 0, block_bytes);
    // Either part may be the new one, and the other one may be zeros.
    EXPECT_EQ(kind_of(right.substr(0, 2048) + old.substr(2048), 0), PromiseKind::torn_block);
    EXPECT_EQ(kind_of(old.substr(0, 2048) + right.substr(2048), 0), PromiseKind::torn_block);
    EXPECT_EQ(kind_of(right.substr(0, 512) + std::string(3584, '\0'), 0), PromiseKind::torn_block);
    EXPECT_EQ(kind_of(std::string(3584, '\0') + right.substr(3584), 0), PromiseKind::torn_block);
}

TEST(WrongBlock, OfSectorsOfTwoBlocksIsTornInAPartOfItToo) {
    const std::string right = bytes_of(content, 0, block_bytes);
    const std::string torn = right.substr(0, 1024) + std::string(1024, '\0') + right.substr(2048);
    EXPECT_EQ(kind_of(torn.substr(0, 2000), 0), PromiseKind::torn_block);
    EXPECT_EQ(kind_of(torn.substr(0, 1032), 0), PromiseKind::torn_block);
    EXPECT_EQ(kind_of(torn.substr(700), 700), PromiseKind::torn_block);
    EXPECT_EQ(kind_of(torn.substr(1500, 1000), 1500), PromiseKind::torn_block);
    // Without a mark of the right block beside it, it could be anything.
    EXPECT_EQ(kind_of(torn.substr(1100, 500), 1100), PromiseKind::lost_block);
}

TEST(WrongBlock, WithFewWrongBitsHasFlippedOnes) {
    // In the stamp, in a mark, in the filler.
    for (const size_t place : {0U, 8U, 50U, 600U, 1024U, 4095U}) {
        std::string bytes = bytes_of(content, 0, block_bytes);
        bytes[place] = static_cast<char>(bytes[place] ^ 0x21);
        const auto fault = check(bytes, 0);
        ASSERT_TRUE(fault) << place;
        EXPECT_EQ(fault->kind, PromiseKind::flipped_bits) << place;
        EXPECT_THAT(fault->what, HasSubstr("2 of its bits are wrong"));
    }
}

TEST(WrongBlock, ThatAReadLeftOutIsUnfilled) {
    DataBlocks blocks(run_seed, chunk, 50);
    char *buffer = blocks.read_buffer(0, chunk);
    const std::string brought = bytes_of(content, 0, chunk - 2048);
    brought.copy(buffer, brought.size());
    const auto fault = blocks.check(buffer, content, 0, chunk, false);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, PromiseKind::unfilled);
    EXPECT_EQ(fault->offset, chunk - block_bytes);
}

TEST(WrongBlock, IsToldByAPartOfIt) {
    const std::string old = bytes_of({5, 2, content.size}, 0, block_bytes);
    EXPECT_EQ(kind_of(old.substr(0, 100), 0), PromiseKind::stale_block);
    EXPECT_EQ(kind_of(std::string(100, '\0'), 1000), PromiseKind::lost_block);
    EXPECT_EQ(kind_of(std::string(100, 'x'), 1000), PromiseKind::foreign_block);
}

TEST(ToldContent, IsThatOfAFirstBlockOfTheRun) {
    const std::string first = bytes_of(content, 0, block_bytes);
    const auto told = told_content(run_seed, first.data(), first.size());
    ASSERT_TRUE(told);
    EXPECT_TRUE(*told == content);
    EXPECT_FALSE(told_content(run_seed + 1, first.data(), first.size()));
    EXPECT_FALSE(told_content(run_seed, first.data(), 20));
    EXPECT_FALSE(told_content(run_seed, bytes_of(content, block_bytes, block_bytes).data(), block_bytes));
    EXPECT_FALSE(told_content(run_seed, std::string(block_bytes, 'x').data(), block_bytes));
}
