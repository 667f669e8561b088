#include "simhost/check/text_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;

std::string report(const std::string &text, bool colours = false) {
    return findings_text(check_file("f.sim", text, Grammar::array), colours);
}

TEST(FindingsText, CaretStandsBelowTheBytes) {
    EXPECT_THAT(report("\tFOO = 1;\n"), HasSubstr("f.sim:1:2: error: unknown key 'FOO'"));
    EXPECT_THAT(report("\tFOO = 1;\n"), HasSubstr("    1 |     FOO = 1;\n      |     ^~~\n"));
    EXPECT_THAT(report("\xC3\xA4\xC3\xA4 = 1;\n"), HasSubstr("      | ^~\n"));
}

TEST(FindingsText, NothingOfTheFileReachesTheTerminalRaw) {
    const std::string text = report("\x1b[2J\x07\x9b = \x1b]0;x\n");
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    EXPECT_THAT(text, Not(HasSubstr("\x9b")));
    EXPECT_THAT(text, HasSubstr("\\x1b[2J\\x07\\x9b"));
}

TEST(FindingsText, CaretCountsTheColumnsOfWideCharacters) {
    // Two columns each; a combining mark takes none.
    EXPECT_THAT(report("STORAGE_DIR\xE5\xB1\xB1 = 1;\n"),
                HasSubstr("STORAGE_DIR\xE5\xB1\xB1 = 1;\n      | ^~~~~~~~~~~~~\n"));
    EXPECT_THAT(report("FOOe\xCC\x81 = 1;\n"), HasSubstr("      | ^~~~\n"));
}

TEST(FindingsText, HiddenCharactersAreShownAsEscapes) {
    const std::string text = report(
        "FOO = \xE2\x80\xAE"
        "1;\n\xC2\x85 = 1;\n");
    EXPECT_THAT(text, HasSubstr("FOO = \\u202e1;"));
    EXPECT_THAT(text, HasSubstr("\\u0085 = 1;"));
    EXPECT_THAT(text, Not(HasSubstr("\xE2\x80\xAE")));
}

TEST(FindingsText, FileNamesAreEscapedOnce) {
    const CheckedFile file = check_file("a\n\x1b[31m.sim", "FOO = 1;\n", Grammar::array);
    EXPECT_THAT(findings_text(file, false), HasSubstr("a\\n\\x1b[31m.sim:1:1: error"));
    EXPECT_THAT(summary_text(file), HasSubstr("a\\n\\x1b[31m.sim: disk array"));
}

TEST(FindingsText, PlacesFarDownALongLineAreShownAlone) {
    const std::string text = report("ENCLOSURE = a;\nDISKS = " + std::string(5000000, ' ') + "d#;\n");
    EXPECT_THAT(text, HasSubstr("    2 | ..."));
    EXPECT_LT(text.size(), 5000U);
}

TEST(FindingsText, LongLinesAreShownAroundTheCaret) {
    const std::string text = report("ENCLOSURE = " + std::string(200, 'x') + "#;\n");
    EXPECT_THAT(text, HasSubstr("    1 | ENCLOSURE = xxx"));
    EXPECT_THAT(text, HasSubstr("xxx...\n"));
    EXPECT_THAT(report("ENCLOSURE = a" + std::string(300, ' ') + "b;\n"), HasSubstr("white space is dropped"));
}

TEST(FindingsText, ColoursOnlyWhenAsked) {
    EXPECT_THAT(report("FOO = 1;\n"), Not(HasSubstr("\033")));
    EXPECT_THAT(report("FOO = 1;\n", true), HasSubstr("\033[1;31merror:\033[0m"));
}

TEST(SummaryText, SaysWhatWasChecked) {
    const std::string good = "STORAGE_SERVER = a;\nVOLUMES = v,w;\nSTORAGE_DIR = /x;\n";
    EXPECT_EQ(summary_text(check_file("f.sim", good, Grammar::copan)), "f.sim: Copan array, 1 server, 2 volumes: good");
}

TEST(GrammarOfFile, IsChosenByName) {
    Grammar grammar{};
    EXPECT_TRUE(grammar_of_file("Kelvarpool.sim", grammar));
    EXPECT_EQ(grammar, Grammar::array);
    EXPECT_TRUE(grammar_of_file("/etc/quillmere/Kelvarpool.sim", grammar));
    EXPECT_EQ(grammar, Grammar::array);
    EXPECT_TRUE(grammar_of_file("dir.sim/kelvarpool.sim", grammar));
    EXPECT_EQ(grammar, Grammar::copan);
    EXPECT_FALSE(grammar_of_file("Kelvarpool.sim~", grammar));
    EXPECT_FALSE(grammar_of_file(".sim", grammar));
    EXPECT_FALSE(grammar_of_file("a:b.sim", grammar));
}

}  // namespace
