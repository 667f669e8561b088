#include "conformance/model/text_rules.h"

#include <gmock/gmock.h>

using namespace conformance::model;
using testing::ElementsAre;

TEST(SqueezedLines, WhiteSpaceIsDroppedEverywhere) {
    EXPECT_THAT(squeezed_lines("\tDISKS = d1, d2;\n\n\r\n x"), ElementsAre("DISKS=d1,d2;", "", "", "x"));
}

TEST(SqueezedLines, ALongLineIsReadInPieces) {
    const std::string text = std::string(1023, 'a') + "bc\n";
    EXPECT_THAT(squeezed_lines(text), ElementsAre(std::string(1023, 'a'), "bc"));
}

TEST(SqueezedLines, ALineThatFillsAPieceLeavesItsEndToTheNext) {
    EXPECT_THAT(squeezed_lines(std::string(1023, 'a') + "\n"), ElementsAre(std::string(1023, 'a'), ""));
}

TEST(CleanName, EndsAtTheFirstOtherByte) {
    EXPECT_EQ(clean_name("disk_01;"), "disk_01");
    EXPECT_EQ(clean_name("vol-1.a"), "vol-1.a");
    EXPECT_EQ(clean_name("#x"), "");
    EXPECT_EQ(clean_name(std::string(40, 'x')), std::string(31, 'x'));
}

TEST(NameList, EmptyPiecesVanishAndPiecesCleanedToNothingStay) {
    EXPECT_THAT(name_list("a,,#b,c;"), ElementsAre("a", "", "c"));
    EXPECT_THAT(name_list(",,;"), ElementsAre(""));
    EXPECT_THAT(name_list(""), ElementsAre());
}

TEST(SizeInBytes, UnitStandsBeforeTheLastByte) {
    EXPECT_EQ(size_in_bytes("100G;"), 107374182400U);
    EXPECT_EQ(size_in_bytes("100g;"), 107374182400U);
    EXPECT_EQ(size_in_bytes("100G"), 100U);
    EXPECT_EQ(size_in_bytes("7X;"), 7U);
    EXPECT_EQ(size_in_bytes("G;"), 0U);
    EXPECT_EQ(size_in_bytes("1.5G;"), 1073741824U);
    EXPECT_EQ(size_in_bytes(""), 0U);
    EXPECT_EQ(size_in_bytes("7"), 7U);
}

TEST(SizeInBytes, TheNumberHas32BitsWithASign) {
    EXPECT_EQ(size_in_bytes("-1K;"), 18446744073709550592U);
    EXPECT_EQ(size_in_bytes("3000000000;"), 18446744072414584320U);
}
