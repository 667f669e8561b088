#include "journal/calls/sequence_diff.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "tests/support/seeds.h"

namespace {

using Sequence = std::vector<uint64_t>;

Sequence sequence(const std::string &letters) { return {letters.begin(), letters.end()}; }

// The letters that go together.
std::string common(const std::string &a, const std::string &b, size_t most = 1000) {
    std::string found;
    for (const auto &[in_a, in_b] : matching_elements(sequence(a), sequence(b), most)) {
        EXPECT_EQ(a.at(in_a), b.at(in_b));
        found += a.at(in_a);
    }
    return found;
}

size_t longest_common(const Sequence &a, const Sequence &b) {
    std::vector<std::vector<size_t>> longest(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j)
            longest[i][j] =
                a[i - 1] == b[j - 1] ? longest[i - 1][j - 1] + 1 : std::max(longest[i - 1][j], longest[i][j - 1]);
    return longest[a.size()][b.size()];
}

void compare_with_plain_search(uint32_t seed) {
    std::mt19937 random(seed);
    for (int round = 0; round < 3000; ++round) {
        Sequence a(random() % 14);
        Sequence b(random() % 14);
        for (Sequence *one : {&a, &b})
            std::generate(one->begin(), one->end(), [&random] { return random() % 4; });
        const auto pairs = matching_elements(a, b);
        ASSERT_EQ(pairs.size(), longest_common(a, b)) << "round " << round;
        for (size_t i = 0; i < pairs.size(); ++i) {
            ASSERT_LT(pairs[i].first, a.size());
            ASSERT_LT(pairs[i].second, b.size());
            ASSERT_EQ(a[pairs[i].first], b[pairs[i].second]);
            ASSERT_TRUE(i == 0 || (pairs[i - 1].first < pairs[i].first && pairs[i - 1].second < pairs[i].second));
        }
    }
}

}  // namespace

TEST(SequenceDiff, EmptyAndEqualSequences) {
    EXPECT_EQ(common("", ""), "");
    EXPECT_EQ(common("abc", ""), "");
    EXPECT_EQ(common("", "abc"), "");
    EXPECT_EQ(common("abc", "abc"), "abc");
}

TEST(SequenceDiff, InsertionsDeletionsAndChanges) {
    EXPECT_EQ(common("abcd", "abXcd"), "abcd");
    EXPECT_EQ(common("abXcd", "abcd"), "abcd");
    EXPECT_EQ(common("abXcd", "abYcd"), "abcd");
    EXPECT_EQ(common("Xabc", "abc"), "abc");
    EXPECT_EQ(common("abcX", "abc"), "abc");
    EXPECT_EQ(common("aaa", "aa"), "aa");
    EXPECT_EQ(common("abc", "xyz"), "");
}

TEST(SequenceDiff, FindsTheLongestCommonSequence) {
    for (const uint32_t seed : seeds_of("SequenceDiff.FindsTheLongestCommonSequence", 3)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        compare_with_plain_search(seed);
    }
}

TEST(SequenceDiff, TooManyDifferencesArePairedPlaceByPlace) {
    EXPECT_EQ(common("1a2b3c4d", "5a6b7c8d", 2), "abcd");
    EXPECT_EQ(common("1abc2", "3bca4", 2), "");
}

TEST(SequenceDiff, LongSequencesThatHaveNothingInCommonTakeLittle) {
    Sequence a(200000);
    Sequence b(200000);
    for (size_t i = 0; i < a.size(); ++i) {
        a[i] = i;
        b[i] = i + 1000000;
    }
    EXPECT_TRUE(matching_elements(a, b, 100).empty());
}
