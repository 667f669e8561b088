#include "base/text_field.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// A field of eight bytes between guards.
struct Field {
    Field() { std::memset(this, '!', sizeof *this); }
    std::string bytes() const { return {field, sizeof field}; }
    bool guards_stand() const {
        return std::all_of(guard, guard + sizeof guard, [](char byte) { return byte == '!'; });
    }

    char field[8];
    char guard[8];
};

TEST(CopyText, ShorterTextIsWholeAndTheRestStays) {
    Field target;
    copy_text(target.field, "abc");
    EXPECT_EQ(target.bytes(), std::string("abc\0!!!!", 8));
}

TEST(CopyText, TextOfTheSizeLessOneIsWhole) {
    Field target;
    copy_text(target.field, "abcdefg");
    EXPECT_EQ(target.bytes(), std::string("abcdefg\0", 8));
}

TEST(CopyText, LongerTextIsCut) {
    for (const size_t length : {8U, 9U, 3000U}) {
        Field target;
        copy_text(target.field, std::string(length, 'x').c_str());
        EXPECT_EQ(target.bytes(), std::string("xxxxxxx\0", 8)) << length;
        EXPECT_TRUE(target.guards_stand());
    }
}

TEST(CopyText, EmptyOrNullTextIsATerminator) {
    for (const char *text : {"", static_cast<const char *>(nullptr)}) {
        Field target;
        copy_text(target.field, text);
        EXPECT_EQ(target.bytes(), std::string("\0!!!!!!!", 8));
    }
}

TEST(CopyText, FieldOfOneByteHoldsATerminator) {
    char field[] = {'x', '!'};
    copy_text(field, 1, "abc");
    EXPECT_EQ(field[0], '\0');
    EXPECT_EQ(field[1], '!');
}

TEST(CopyText, FieldOfNoBytesStays) {
    Field target;
    copy_text(target.field, 0, "abc");
    append_text(target.field, 0, "abc");
    EXPECT_EQ(target.bytes(), "!!!!!!!!");
    EXPECT_TRUE(target.guards_stand());
}

TEST(AppendText, StandsBehindTheTextInTheField) {
    Field target;
    copy_text(target.field, "ab");
    append_text(target.field, sizeof target.field, "cd");
    EXPECT_EQ(target.bytes(), std::string("abcd\0!!!", 8));
}

TEST(AppendText, IsCutAtTheFieldsSizeLessOne) {
    Field target;
    copy_text(target.field, "abcde");
    append_text(target.field, sizeof target.field, "fghijkl");
    EXPECT_EQ(target.bytes(), std::string("abcdefg\0", 8));
    EXPECT_TRUE(target.guards_stand());
}

TEST(AppendText, FullFieldTakesNothing) {
    Field target;
    copy_text(target.field, "abcdefg");
    append_text(target.field, sizeof target.field, "x");
    EXPECT_EQ(target.bytes(), std::string("abcdefg\0", 8));
}

TEST(AppendText, FieldWithoutTerminatorGetsOne) {
    Field target;
    std::memset(target.field, 'x', sizeof target.field);
    append_text(target.field, sizeof target.field, "y");
    EXPECT_EQ(target.bytes(), std::string("xxxxxxx\0", 8));
    EXPECT_TRUE(target.guards_stand());
}

TEST(FieldText, TerminatedTextIsItself) {
    const char field[8] = "abc";
    EXPECT_STREQ(FieldText(field).c_str(), "abc");
}

TEST(FieldText, FullFieldIsReadToItsLastByteAndNotBeyond) {
    struct {
        char field[4] = {'a', 'b', 'c', 'd'};
        char next[4] = {'e', 'f', 'g', '\0'};
    } record;
    EXPECT_STREQ(FieldText(record.field).c_str(), "abcd");
}

}  // namespace
