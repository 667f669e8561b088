#include "simhost/check/source_text.h"

#include <gtest/gtest.h>

namespace {

std::vector<ReadLine> read_lines(const SourceText &source) {
    std::vector<ReadLine> lines;
    source.for_each_line([&](const ReadLine &line) { lines.push_back(line); });
    return lines;
}

TEST(SourceText, PlacesAreThoseOfTheBytesTyped) {
    const SourceText source("\tDISKS = d1, d2;\n");
    ASSERT_EQ(read_lines(source).size(), 1U);
    const ReadLine line = read_lines(source)[0];
    EXPECT_EQ(line.text, "DISKS=d1,d2;");
    const Place second_name = line.place(9, 11);
    EXPECT_EQ(second_name.line, 1U);
    EXPECT_EQ(second_name.column, 14U);
    EXPECT_EQ(second_name.length, 2U);
    const Place end = line.place(12, 12);
    EXPECT_EQ(end.column, 17U);
    EXPECT_EQ(end.length, 1U);
}

TEST(SourceText, EmptyFileHasNoLines) {
    const SourceText source("");
    EXPECT_TRUE(read_lines(source).empty());
    EXPECT_EQ(source.line_count(), 0U);
}

TEST(SourceText, LastLineNeedsNoLineFeed) {
    const SourceText source("A=1;\nB=2;");
    ASSERT_EQ(source.line_count(), 2U);
    EXPECT_EQ(source.line(1), "A=1;");
    EXPECT_EQ(source.line(2), "B=2;");
    EXPECT_EQ(read_lines(source)[1].line, 2U);
}

TEST(SourceText, OverLongLineComesInPieces) {
    const SourceText source(std::string(1500, 'x') + "\nB=2;\n");
    ASSERT_EQ(read_lines(source).size(), 3U);
    EXPECT_EQ(source.line_count(), 2U);
    EXPECT_EQ(read_lines(source)[0].text.size(), 1023U);
    EXPECT_TRUE(read_lines(source)[0].goes_on);
    EXPECT_EQ(read_lines(source)[1].line, 1U);
    EXPECT_EQ(read_lines(source)[1].begin, 1023U);
    EXPECT_EQ(read_lines(source)[1].place().column, 1024U);
    EXPECT_FALSE(read_lines(source)[1].goes_on);
    EXPECT_EQ(read_lines(source)[2].line, 2U);
    EXPECT_EQ(read_lines(source)[2].reader_line, 3U);
}

TEST(SourceText, LineFeedBehindTheBufferIsALineOfItsOwnForTheReader) {
    const SourceText source(std::string(1023, 'x') + "\nB=2;\n");
    ASSERT_EQ(read_lines(source).size(), 3U);
    EXPECT_FALSE(read_lines(source)[0].goes_on);
    EXPECT_EQ(read_lines(source)[1].text, "");
    EXPECT_EQ(read_lines(source)[2].line, 2U);
    EXPECT_EQ(read_lines(source)[2].reader_line, 3U);
}

TEST(SourceText, LaterPiecesAreKnownToHoldAnEquals) {
    const std::string remark = "# " + std::string(1500, 'x');
    EXPECT_FALSE(read_lines(SourceText(remark + "\nA=1;\n"))[0].has_later_equals);
    EXPECT_TRUE(read_lines(SourceText(remark + "=\n"))[0].has_later_equals);
    EXPECT_FALSE(read_lines(SourceText(remark + "=\n"))[1].has_later_equals);
    EXPECT_FALSE(read_lines(SourceText("A=1;\n"))[0].has_later_equals);
}

TEST(SourceText, OffsetIsThatOfThePlace) {
    const SourceText source("A=1;\nB=2;\n");
    EXPECT_EQ(source.offset({2, 3, 1}), 7U);
}

TEST(SourceText, LineFeedsAloneAreLines) {
    const SourceText source("\n\n");
    EXPECT_EQ(source.line_count(), 2U);
    EXPECT_EQ(source.line(2), "");
}

TEST(SourceText, NulEndsALine) {
    const SourceText source(std::string("AB\0C\nD\n", 7));
    ASSERT_EQ(read_lines(source).size(), 2U);
    EXPECT_EQ(read_lines(source)[0].text, "AB");
    EXPECT_TRUE(read_lines(source)[0].has_nul);
    EXPECT_EQ(read_lines(source)[0].nul, 3U);
    EXPECT_TRUE(read_lines(source)[0].goes_on);
    EXPECT_EQ(read_lines(source)[1].text, "D");
    EXPECT_FALSE(read_lines(source)[1].goes_on);
}

}  // namespace
