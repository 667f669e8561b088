#include "simhost/text_field.h"

#include <gtest/gtest.h>

#include "simhost/failure.h"

TEST(FieldText, EndsAtTheTerminator) {
    const char field[8] = {'a', 'b', '\0', 'c'};
    EXPECT_EQ(field_text(field), "ab");
}

TEST(FieldText, EndsAtTheFieldWhenThereIsNoTerminator) {
    const char field[3] = {'a', 'b', 'c'};
    EXPECT_EQ(field_text(field), "abc");
}

TEST(SetField, TakesWhatFitsWithItsTerminator) {
    char field[4] = {'x', 'x', 'x', 'x'};
    set_field(field, "abc", "it");
    EXPECT_STREQ(field, "abc");
}

TEST(SetField, RefusesWhatDoesNotFitAndNamesIt) {
    char field[4] = {};
    try {
        set_field(field, "abcd", "the thing");
        FAIL();
    } catch (const UsageError &failure) {
        EXPECT_STREQ(failure.what(), "the thing is too long: 4 bytes, 3 fit");
    }
    EXPECT_STREQ(field, "");
}

TEST(SetField, RefusesAnEmbeddedNul) {
    char field[8] = {};
    EXPECT_THROW(set_field(field, std::string("a\0b", 3), "it"), UsageError);
}

TEST(InQuotes, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(in_quotes("plain name"), "\"plain name\"");
    EXPECT_EQ(in_quotes("a\"b\\c\nd\033[1m\177"), "\"a\\\"b\\\\c\\nd\\x1b[1m\\x7f\"");
}

TEST(Printable, LeavesQuotesAndOtherAlphabets) { EXPECT_EQ(printable("\"\xc3\xa4\"\t"), "\"\xc3\xa4\"\\x09"); }
