// What is demanded of files beyond their meaning.
#include "simhost/check/checked_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/private_directory.h"
#include "simhost/check/check_scope.h"
#include "simhost/report/failure.h"

namespace {

using testing::HasSubstr;

const std::string array =
    "ENCLOSURE = gold;\nDISKS = g;\nHOSTS = mediaA,mediaB.lab;\nDISK_SIZE = 1G;\nSTORAGE_DIR = /x;\n"
    "ENCLOSURE = silver;\nDISKS = s;\nHOSTS = mediaA;\nDISK_SIZE = 1G;\nSTORAGE_DIR = /y;\n";

std::vector<Finding> findings_of(const std::string &text, const Demands &demands, Grammar grammar = Grammar::array) {
    return check_file(grammar == Grammar::array ? "Kelvarpool.sim" : "copan.sim", text, grammar, demands).findings;
}

TEST(Expectation, HoldsForJustThesePools) {
    EXPECT_TRUE(findings_of(array, {{}, {{"mediaA", {"silver", "gold"}}, {"nobody", {}}}}).empty());
    const auto findings = findings_of(array, {{}, {{"mediaA", {"gold"}}}});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].rule, Rule::not_as_expected);
    EXPECT_EQ(findings[0].text, "host 'mediaA' sees 'gold', 'silver', but is to see 'gold'");
    EXPECT_EQ(findings_of(array, {{}, {{"mediaC", {"gold"}}}})[0].text,
              "host 'mediaC' sees no pool, but is to see 'gold'");
    EXPECT_EQ(findings_of(array, {{}, {{"mediaB.lab", {}}}})[0].text,
              "host 'mediaB.lab' sees 'gold', but is to see none");
}

TEST(ServerDemand, SuggestsByTheNameWithoutItsDomain) {
    const auto help = [](const char *server) { return findings_of(array, {{server}, {}})[0].help; };
    EXPECT_EQ(help("Kelvarpool:mediaA.lab.example"), "did you mean mediaA?");
    EXPECT_EQ(help("Kelvarpool:mediab"), "did you mean mediaB.lab?");
    EXPECT_EQ(help("Kelvarpool:meidaA.lab.example"), "did you mean mediaA?");
    EXPECT_EQ(help("Kelvarpool:backup"), "");
}

TEST(OnThisMachine, DirectoriesAreLookedFor) {
    const PrivateDirectory directory("check-", AtEnd::remove_all);
    const auto ids = [](const std::string &path, Grammar grammar = Grammar::copan) {
        const std::string text =
            grammar == Grammar::copan
                ? "STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = " + path + ";\n"
                : "ENCLOSURE = a;\nDISKS = v;\nHOSTS = h;\nDISK_SIZE = 1G;\nSTORAGE_DIR = " + path + ";\n";
        std::string all;
        for (const Finding &finding : findings_of(text, {{}, {}, true}, grammar))
            all += rule_id(finding.rule);
        return all;
    };
    std::ofstream(directory / "file").put('x');
    mkdir((directory / "good").c_str(), 0700);
    mkdir((directory / "taken").c_str(), 0700);
    std::ofstream(directory / "taken" + "/v").put('x');
    ASSERT_EQ(symlink("/nonexistent/x", (directory / "dangling").c_str()), 0);
    for (const Grammar grammar : {Grammar::copan, Grammar::array}) {
        EXPECT_EQ(ids(directory / "good", grammar), "");
        EXPECT_EQ(ids(directory / "new/", grammar), "");
        EXPECT_EQ(ids(directory / "new/deeper", grammar), "missing-parent");
        EXPECT_EQ(ids(directory / "file", grammar), "name-taken");
        EXPECT_EQ(ids(directory / "file/deeper", grammar), "name-taken");
        EXPECT_EQ(ids(directory / "taken", grammar), "name-taken");
        EXPECT_EQ(ids(directory / "dangling", grammar), "name-taken");
    }
    EXPECT_FALSE(std::filesystem::exists(directory / "new"));
}

TEST(OnThisMachine, PermissionsAreThoseOfTheUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become somebody else";
    const PrivateDirectory directory("check-", AtEnd::remove_all);
    chmod(directory.path().c_str(), 0755);
    ASSERT_EQ(seteuid(65534), 0);
    const auto findings = findings_of("STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = " + directory / "new" + ";\n",
                                      {{}, {}, true}, Grammar::copan);
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].rule, Rule::no_permission);
}

TEST(CheckScope, NarrowsTheFindings) {
    CheckedFile file = check_file("x.sim", "FOO = 1;\n# remark\n", Grammar::array);
    ASSERT_EQ(file.findings.size(), 3U);
    CheckedFile selected = file;
    narrow(selected, {rules_of({"comment", "unknown-key"}), rules_of({"comment"})});
    ASSERT_EQ(selected.findings.size(), 1U);
    EXPECT_EQ(selected.findings[0].rule, Rule::unknown_key);
    EXPECT_EQ(selected.ignored, 2U);
    narrow(file, {{}, {}});
    EXPECT_EQ(file.findings.size(), 3U);
}

TEST(CheckScope, UnknownNamesAreRefused) {
    try {
        demand_rule("unknwon-key");
        FAIL();
    } catch (const UsageError &failure) {
        EXPECT_THAT(failure.what(), HasSubstr("did you mean unknown-key?"));
    }
}

}  // namespace
