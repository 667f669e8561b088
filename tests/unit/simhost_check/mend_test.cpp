#include "simhost/check/mend.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "simhost/check/checked_file.h"
#include "tests/support/plugin_listing.h"

namespace {

using testing::HasSubstr;

std::string mended_array(const std::string &text) { return mended("x.sim", text, Grammar::array).bytes; }

TEST(Mended, GoodFilesStayAsTheyAre) {
    const std::string good = "ENCLOSURE = a;\r\n\tDISKS = d, e ;\n\n";
    EXPECT_EQ(mended_array(good), good);
    EXPECT_EQ(mended("x.sim", good, Grammar::array).diff, "");
}

TEST(Mended, SemicolonsAndCommas) {
    EXPECT_EQ(mended_array("ENCLOSURE = a\n\tDISKS = d,,e,  \n\tDISK_SIZE = 10G\n\tSTORAGE_DIR = /x"),
              "ENCLOSURE = a;\n\tDISKS = d,e;  \n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = /x;");
    EXPECT_EQ(mended_array("ENCLOSURE = a;\nDISKS = d,e,;\nHOSTS = g;h; i;\n"),
              "ENCLOSURE = a;\nDISKS = d,e;\nHOSTS = g,h,i;\n");
}

TEST(Mended, SeveralKeysOnOneLineGetLinesOfTheirOwn) {
    EXPECT_EQ(mended_array("ENCLOSURE = a; DISKS = d; HOSTS = h;\n"), "ENCLOSURE = a; \nDISKS = d; \nHOSTS = h;\n");
}

TEST(Mended, LettersMarksAndQuotes) {
    EXPECT_EQ(mended_array("\xEF\xBB\xBF"
                           "enclosure = a;\nDisk-Size = 1K;\nSTORAGE_DIR = \"/x\";\n"
                           "MOUNT_BEHAVIOR = success;\n"),
              "ENCLOSURE = a;\nDisk-Size = 1K;\nSTORAGE_DIR = /x;\nMOUNT_BEHAVIOR = SUCCESS;\n");
    EXPECT_EQ(mended_array("ENCLOSURE = a;\nDISKS\xC2\xA0= d;\n"), "ENCLOSURE = a;\nDISKS= d;\n");
}

TEST(Mended, OtherFormsOfText) {
    const std::string text = "ENCLOSURE = a;\nDISKS = d\n";
    std::string utf16 = "\xFF\xFE";
    for (const char byte : text)
        utf16 += {byte, '\0'};
    const Mend mend = mended("x.sim", utf16, Grammar::array);
    EXPECT_TRUE(mend.is_other_form);
    EXPECT_EQ(mend.bytes, "ENCLOSURE = a;\nDISKS = d;\n");
    EXPECT_EQ(mended_array("ENCLOSURE = a;\rDISKS = d;\r"), "ENCLOSURE = a;\nDISKS = d;\n");
}

TEST(Mended, DiffShowsTheLinesThatChanged) {
    EXPECT_EQ(mended("x.sim", "ENCLOSURE = a;\nDISKS = d; HOSTS = h\x1b\n", Grammar::array).diff,
              "@@ line 2 @@\n-DISKS = d; HOSTS = h\\x1b\n+DISKS = d; \n+HOSTS = h\\x1b;\n");
}

std::vector<std::string> ids_of(const std::string &bytes, Grammar grammar) {
    std::vector<std::string> ids;
    for (const Finding &finding : check_file("x.sim", bytes, grammar).findings)
        if (!finding.edits.empty())
            ids.emplace_back(rule_id(finding.rule));
    return ids;
}

// Whatever is mended: nothing is left to mend, and what was good means the same.
TEST(Mended, EveryFileOfTheCorpus) {
    size_t changed = 0;
    for (const auto &entry : std::filesystem::directory_iterator(CORPUS "/check")) {
        if (entry.path().extension() != ".sim")
            continue;
        std::ostringstream bytes;
        bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        for (const Grammar grammar : {Grammar::array, Grammar::copan}) {
            const Mend mend = mended("x.sim", bytes.str(), grammar);
            EXPECT_THAT(ids_of(mend.bytes, grammar), testing::IsEmpty()) << entry.path() << mend.bytes;
            changed += mend.bytes != bytes.str();
            if (check_file("x.sim", bytes.str(), grammar).findings.empty()) {
                EXPECT_EQ(mend.bytes, bytes.str()) << entry.path();
            }
            EXPECT_EQ(count(check_file("x.sim", bytes.str(), grammar).findings, Severity::error) >=
                          count(check_file("x.sim", mend.bytes, grammar).findings, Severity::error),
                      true)
                << entry.path() << "\n"
                << mend.diff;
        }
    }
    EXPECT_GE(changed, 30U);
}

}  // namespace
