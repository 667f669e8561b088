#include "simhost/check/list_check.h"

#include <gtest/gtest.h>

namespace {

std::string findings_of(const std::vector<std::string> &names, const char *what) {
    std::vector<ListedName> listed;
    for (const std::string &name : names)
        listed.push_back({name, {1, 1, 1}});
    Findings findings;
    check_meaning(listed, what, findings);
    std::string all;
    for (const Finding &finding : findings.sorted())
        all += std::string(all.empty() ? "" : ", ") + rule_id(finding.rule);
    return all;
}

TEST(CheckMeaning, Ranges) {
    for (const char *name : {"g1-g9", "g1..g9", "g1..9", "1..9", "lun-01-lun-10"})
        EXPECT_EQ(findings_of({name, "x"}, "disk"), name == std::string("lun-01-lun-10") ? "" : "range-as-name")
            << name;
    EXPECT_EQ(findings_of({"g1-9"}, "disk"), "range-as-name");
    EXPECT_EQ(findings_of({"media1-media4"}, "host"), "range-as-name");
}

TEST(CheckMeaning, NamesThatOnlyLookLikeRanges) {
    EXPECT_EQ(findings_of({"rack1-2", "rack1-3"}, "disk"), "");
    for (const char *name : {"g9-g1", "a-b", "disk-7", "g1-h9", "g1", "2024-1", "a.b", "-1", "g-", "1-x"})
        EXPECT_EQ(findings_of({name}, "disk"), "") << name;
}

TEST(CheckMeaning, CountsAndWords) {
    EXPECT_EQ(findings_of({"24"}, "disk"), "count-as-name");
    EXPECT_EQ(findings_of({"24", "25"}, "disk"), "");
    EXPECT_EQ(findings_of({"1"}, "disk"), "");
    EXPECT_EQ(findings_of({"007"}, "disk"), "");
    EXPECT_EQ(findings_of({"24"}, "host"), "");
    EXPECT_EQ(findings_of({"ALL"}, "host"), "word-as-host");
    EXPECT_EQ(findings_of({"x", "any"}, "host"), "word-as-host");
    EXPECT_EQ(findings_of({"all"}, "disk"), "");
}

}  // namespace
