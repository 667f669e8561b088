#include "sim/readline.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "sim/config_file.h"

namespace {

// A stream over bytes that the test keeps.
File stream_of(std::string &bytes) { return File(fmemopen(bytes.data(), bytes.size(), "r")); }

class Readline : public testing::Test {
protected:
    char *next(int size = 1024) { return readline(m_out, size, m_stream.get()); }
    void read_from(std::string bytes) {
        m_bytes = std::move(bytes);
        m_stream = stream_of(m_bytes);
    }

    std::string m_bytes;
    File m_stream;
    char m_out[2048] = "untouched";
};

TEST_F(Readline, WhiteSpaceAnywhereIsDropped) {
    read_from("  A = b ;\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "A=b;");
}

TEST_F(Readline, TabsAndInnerBlanksAreDropped) {
    read_from("\tDISKS = d1, d2;\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "DISKS=d1,d2;");
}

TEST_F(Readline, EveryKindOfWhiteSpaceIsDropped) {
    read_from("a\tb\vc\fd\re f\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "abcdef");
}

TEST_F(Readline, EveryOtherByteStays) {
    std::string others;
    for (int byte = 1; byte < 256; ++byte)
        if (std::strchr(" \t\n\v\f\r", byte) == nullptr)
            others += static_cast<char>(byte);
    read_from(others + "\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_EQ(m_out, others);
}

TEST_F(Readline, EndOfFileGivesNullAndLeavesOutAlone) {
    read_from("a\n");
    EXPECT_NE(next(), nullptr);
    std::strcpy(m_out, "untouched");
    EXPECT_EQ(next(), nullptr);
    EXPECT_STREQ(m_out, "untouched");
}

TEST_F(Readline, BlankLineIsALine) {
    read_from(" \t\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "");
    EXPECT_EQ(next(), nullptr);
}

TEST_F(Readline, SizeOneGivesAnEmptyText) {
    read_from("abc\n");
    EXPECT_NE(next(1), nullptr);
    EXPECT_STREQ(m_out, "");
}

TEST_F(Readline, SizeBelowOneGivesNull) {
    read_from("abc\n");
    EXPECT_EQ(next(0), nullptr);
    EXPECT_EQ(next(-1), nullptr);
    EXPECT_STREQ(m_out, "untouched");
}

TEST_F(Readline, LongLineComesInPieces) {
    read_from("x y" + std::string(1097, 'z') + "\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_EQ(m_out, "xy" + std::string(1020, 'z'));  // 1023 bytes read, one of them a blank
    EXPECT_NE(next(), nullptr);
    EXPECT_EQ(m_out, std::string(77, 'z'));
    EXPECT_EQ(next(), nullptr);
}

TEST_F(Readline, LineOfSizeLessOneIsOnePieceAndItsLineFeedIsAnother) {
    read_from(std::string(1023, 'a') + "\nb\n");
    EXPECT_NE(next(), nullptr);
    EXPECT_EQ(std::strlen(m_out), 1023U);
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "");
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "b");
}

TEST_F(Readline, LastLineWithoutLineFeedIsRead) {
    read_from("a\nb");
    EXPECT_NE(next(), nullptr);
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "b");
}

TEST_F(Readline, LineEndsAtANulByte) {
    read_from(std::string("ab\0cd\n", 6));
    EXPECT_NE(next(), nullptr);
    EXPECT_STREQ(m_out, "ab");
}

}  // namespace
