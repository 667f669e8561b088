#include "simhost/journal/mask_file.h"

#include <gmock/gmock.h>

#include "simhost/report/failure.h"

namespace {

Json masked(const std::string &masks, Json call, const std::string &entry_point = "stspi_claim") {
    std::vector<Mask> parsed = parse_masks(masks, "masks");
    apply_masks(parsed, entry_point, call);
    return call;
}

std::string mistake(const std::string &text) {
    try {
        parse_masks(text, "masks");
    } catch (const UsageError &error) {
        return error.what();
    }
    return "";
}

}  // namespace

TEST(MaskFile, CommentsAndBlankLinesAreNoMasks) {
    EXPECT_TRUE(parse_masks("\n  \n# drop on * status # no\n\t#\n", "masks").empty());
}

TEST(MaskFile, AMaskKnowsItsLineAndReason) {
    const std::vector<Mask> masks = parse_masks("\nround on stspi_* a.b 2K #  because  \r\n", "masks");
    ASSERT_EQ(masks.size(), 1U);
    EXPECT_EQ(masks[0].action, MaskAction::round);
    EXPECT_EQ(masks[0].entry_point, "stspi_*");
    EXPECT_EQ(masks[0].path, "a.b");
    EXPECT_EQ(masks[0].unit, 2048U);
    EXPECT_EQ(masks[0].reason, "because");
    EXPECT_EQ(masks[0].line, 2U);
}

TEST(MaskFile, AHashInsideAWordIsNoComment) {
    const std::vector<Mask> masks = parse_masks("drop on * a#b # why", "masks");
    ASSERT_EQ(masks.size(), 1U);
    EXPECT_EQ(masks[0].path, "a#b");
}

TEST(MaskFile, MistakesHaveAPlace) {
    EXPECT_EQ(mistake("drop\n"), "masks:1:5: expected \"on\"");
    EXPECT_EQ(mistake("drop on\n"), "masks:1:8: expected an entry point");
    EXPECT_EQ(mistake("drop on * status #   \n"),
              "masks:1:22: expected a reason, behind a '#': whoever reads this later must know why");
    EXPECT_EQ(mistake("# fine\n\n  drip on * status # x"), "masks:3:3: expected drop, sort or round");
    EXPECT_EQ(mistake("round on * status 1X # x"), "masks:1:19: expected a number, such as 1000 or 1M");
}

TEST(MaskFile, DropLeavesTheValueOut) {
    const Json call = {{"status", 1}, {"results", {{"info", {{"used", 5}, {"size", 6}}}}}};
    EXPECT_EQ(masked("drop on * results.info.used # x", call),
              (Json{{"status", 1}, {"results", {{"info", {{"size", 6}}}}}}));
    EXPECT_EQ(masked("drop on * results.* # x", call)["results"], Json::object());
    EXPECT_EQ(masked("drop on * results # x", call), (Json{{"status", 1}}));
    EXPECT_EQ(masked("drop on stspi_open* status # x", call), call);
}

TEST(MaskFile, ADroppedElementOfAListKeepsItsPlace) {
    const Json call = {{"log", {{{"level", 3}}, {{"level", 4}}}}};
    EXPECT_EQ(masked("drop on * log.0 # x", call), (Json{{"log", {nullptr, {{"level", 4}}}}}));
}

TEST(MaskFile, RoundTakesTheNearestMultiple) {
    const auto rounded = [](uint64_t number) {
        return masked("round on * n 1000 # x", Json{{"n", number}})["n"].get<uint64_t>();
    };
    EXPECT_EQ(rounded(0), 0U);
    EXPECT_EQ(rounded(499), 0U);
    EXPECT_EQ(rounded(500), 1000U);
    EXPECT_EQ(rounded(1499), 1000U);
    EXPECT_EQ(rounded(18446744073709551615U), 18446744073709551000U);
    EXPECT_EQ(masked("round on * n 1000 # x", Json{{"n", "text"}}), (Json{{"n", "text"}}));
}

TEST(MaskFile, SortPutsAListInOrder) {
    const Json call = {{"output", {"c", "a", "b"}}};
    EXPECT_EQ(masked("sort on * output # x", call), (Json{{"output", {"a", "b", "c"}}}));
}

TEST(MaskFile, SortPutsValuesOfCallsInARowInOrder) {
    std::vector<Mask> masks = parse_masks("sort on stspi_list_* results.name # x", "masks");
    EXPECT_TRUE(sorts_across_calls(masks, "stspi_list_lsu"));
    EXPECT_FALSE(sorts_across_calls(masks, "stspi_claim"));
    Json first = {{"results", {{"name", "b"}, {"size", 1}}}};
    Json second = {{"results", {{"name", "a"}, {"size", 2}}}};
    sort_across_calls(masks, "stspi_list_lsu", {&first, &second});
    EXPECT_EQ(first, (Json{{"results", {{"name", "a"}, {"size", 1}}}}));
    EXPECT_EQ(second, (Json{{"results", {{"name", "b"}, {"size", 2}}}}));
}

TEST(MaskFile, APatternThatFitsAValueAndItsPartsMovesTheValue) {
    std::vector<Mask> masks = parse_masks("sort on * results* # x", "masks");
    Json first = {{"results", {{"name", "b"}}}};
    Json second = {{"results", {{"name", "a"}}}};
    sort_across_calls(masks, "stspi_list_lsu", {&first, &second});
    EXPECT_EQ(first["results"]["name"], "a");
    EXPECT_EQ(second["results"]["name"], "b");
}

TEST(MaskFile, MasksCountWhatTheyMet) {
    std::vector<Mask> masks = parse_masks("drop on * a # x\ndrop on * b # x\n", "masks");
    Json call = {{"a", 1}};
    apply_masks(masks, "stspi_claim", call);
    EXPECT_EQ(masks[0].matched, 1U);
    EXPECT_EQ(masks[1].matched, 0U);
}
