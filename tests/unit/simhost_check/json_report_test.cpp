#include "simhost/check/json_report.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Json = nlohmann::ordered_json;

TEST(FileJson, HoldsFindingsAndContents) {
    const Json json =
        file_json(check_file("f.sim", "ENCLOSURE = a;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 1K;\n", Grammar::array));
    EXPECT_EQ(json["grammar"], "array");
    EXPECT_EQ(json["errors"], 0);
    EXPECT_EQ(json["warnings"], 1);
    EXPECT_EQ(json["contents"]["summary"], "1 pool, 1 volume, 1 host");
    EXPECT_EQ(json["contents"]["pools"][0]["volume_capacity_bytes"], 1024);
    EXPECT_EQ(json["findings"][0]["id"], "no-storage-dir");
    EXPECT_EQ(json["findings"][0]["place"], (Json{{"line", 1}, {"column", 13}, {"length", 1}}));
}

TEST(FileJson, WholeFileHasNoPlace) {
    const Json json = file_json(check_file("f.sim", "", Grammar::copan));
    EXPECT_EQ(json["findings"][0]["id"], "no-sections");
    EXPECT_TRUE(json["findings"][0]["place"].is_null());
}

TEST(SarifLog, NamesRulesPlacesAndRelatedPlaces) {
    const std::string text = "ENCLOSURE = a;\nDISKS = d,d;\nHOSTS = \xC3\xA4h;\n";
    const Json log =
        sarif_log({check_file("a dir/f.sim", text, Grammar::array)}, {{"b.sim", "b.sim: gone"}}, {"1.2", 2});
    EXPECT_EQ(log["version"], "2.1.0");
    const Json &run = log["runs"][0];
    EXPECT_EQ(run["tool"]["driver"]["version"], "1.2");
    const Json &invocation = run["invocations"][0];
    EXPECT_EQ(invocation["executionSuccessful"], false);
    EXPECT_EQ(invocation["exitCode"], 2);
    EXPECT_EQ(invocation["toolExecutionNotifications"][0]["message"]["text"], "b.sim: gone");
    bool has_duplicate = false;
    for (const Json &result : run["results"]) {
        EXPECT_EQ(run["tool"]["driver"]["rules"][result["ruleIndex"].get<size_t>()]["id"], result["ruleId"]);
        EXPECT_EQ(result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"], "a%20dir/f.sim");
        if (result["ruleId"] == "duplicate-disk") {
            has_duplicate = true;
            EXPECT_EQ(result["locations"][0]["physicalLocation"]["region"],
                      (Json{{"startLine", 2}, {"startColumn", 11}, {"endColumn", 12}}));
            EXPECT_EQ(result["relatedLocations"][0]["physicalLocation"]["region"]["startColumn"], 9);
        }
        if (result["ruleId"] == "empty-name") {  // columns are characters
            EXPECT_EQ(result["locations"][0]["physicalLocation"]["region"]["endColumn"], 11);
        }
    }
    EXPECT_TRUE(has_duplicate);
}

TEST(SarifLog, OfFilesThatWereAllReadIsASuccess) {
    const Json log = sarif_log({}, {}, {"1.2", 0});
    EXPECT_EQ(log["runs"][0]["invocations"][0]["executionSuccessful"], true);
    EXPECT_TRUE(log["runs"][0]["invocations"][0]["toolExecutionNotifications"].empty());
}

TEST(RuleTexts, AreSortedAndUnique) {
    std::vector<std::string> ids;
    for (const RuleText &rule : rule_texts())
        ids.emplace_back(rule.id);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
    // The last of the enumeration, too, has the text at its place.
    EXPECT_STREQ(rule_id(Rule::wrong_grammar), "wrong-grammar");
    EXPECT_STREQ(rule_id(Rule::missing_semicolon), "missing-semicolon");
    EXPECT_EQ(ids.size(), static_cast<size_t>(Rule::wrong_grammar) + 1);
}

}  // namespace
