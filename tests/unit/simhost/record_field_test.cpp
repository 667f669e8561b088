#include "simhost/host/record_field.h"

#include <gtest/gtest.h>

#include "simhost/report/failure.h"

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
