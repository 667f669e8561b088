#include "simhost/check/text_check.h"

#include <gtest/gtest.h>

#include "simhost/check/checked_file.h"

namespace {

// The identifiers of what is found about a storage directory.
std::string findings_of(const std::string &path, Grammar grammar) {
    const std::string file =
        grammar == Grammar::array
            ? "ENCLOSURE = a;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 1K;\nSTORAGE_DIR = " + path + ";\n"
            : "STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = " + path + ";\n";
    std::string all;
    for (const Finding &finding : check_file("x.sim", file, grammar).findings)
        all += std::string(all.empty() ? "" : ", ") + severity_word(finding.severity) + " " + rule_id(finding.rule);
    return all;
}

TEST(CheckStorageDir, GoodPathsAreNotBlamed) {
    for (const Grammar grammar : {Grammar::array, Grammar::copan})
        for (const char *path : {"/a", "/", "//a//b/", "/a/./b/../c", "/joe's/dir", "/a$", "/100%/x", "/a~b",
                                 "/\xC3\xA4\xE5\xB1\xB1", "/C:/x", "/a\\b"})
            EXPECT_EQ(findings_of(path, grammar), "") << path;
}

TEST(CheckStorageDir, NothingIsExpanded) {
    for (const Grammar grammar : {Grammar::array, Grammar::copan})
        for (const char *path : {"~", "~/a", "~joe/a", "$HOME/a", "/var/${X}", "/a/$(b)", "C:\\a", "c:/a",
                                 "C:", "\\\\srv\\a", "file:///a", "nfs://a/b", "%TEMP%\\a"})
            EXPECT_EQ(findings_of(path, grammar), "error not-expanded") << path;
}

TEST(CheckStorageDir, RelativePathsOfImagesMayHoldNoDots) {
    EXPECT_EQ(findings_of("a/b", Grammar::array), "warning relative-path");
    EXPECT_EQ(findings_of("./a", Grammar::array), "warning relative-path");
    EXPECT_EQ(findings_of("a/b", Grammar::copan), "warning relative-path");
    EXPECT_EQ(findings_of("./a", Grammar::copan), "error relative-path");
    EXPECT_EQ(findings_of("a/../b", Grammar::copan), "error relative-path");
    EXPECT_EQ(findings_of("a..b", Grammar::copan), "warning relative-path");
}

TEST(CheckStorageDir, ComponentsHaveAtMost255Bytes) {
    EXPECT_EQ(findings_of("/" + std::string(255, 'x'), Grammar::array), "");
    EXPECT_EQ(findings_of("/a/" + std::string(256, 'x') + "/b", Grammar::array), "error path-too-long");
}

TEST(CheckStorageDir, UnfinishedImagesKeepTheirDirectory) {
    EXPECT_EQ(findings_of("/a/.stsimg-unfinished", Grammar::array), "error directory-name");
    EXPECT_EQ(findings_of("/.stsimg-unfinished/a", Grammar::copan), "error directory-name");
    EXPECT_EQ(findings_of("/.stsimg-unfinished-a", Grammar::copan), "");
}

TEST(CheckCharacters, HiddenOnesAndQuotesAreTold) {
    for (const char *path :
         {"/a\x01", "/a\x7f", "/a\xC2\xA0z", "/a\xE2\x80\xAE", "/\xE2\x80\x8B", "/\xC2\x85x", "/\xEF\xBB\xBFx"})
        EXPECT_EQ(findings_of(path, Grammar::array), "error hidden-character") << path;
    EXPECT_EQ(findings_of("\"/a\"", Grammar::array), "error quoted-value");
    EXPECT_EQ(findings_of("'/a'", Grammar::copan), "error quoted-value");
    EXPECT_EQ(findings_of("/a\"", Grammar::copan), "error quoted-value");
}

}  // namespace
