#include <gtest/gtest.h>

#include "base/text_field.h"

TEST(FieldText, EndsAtTheTerminator) {
    const char field[8] = {'a', 'b', '\0', 'c'};
    EXPECT_EQ(field_text(field), "ab");
}

TEST(FieldText, EndsAtTheFieldWhenThereIsNoTerminator) {
    const char field[3] = {'a', 'b', 'c'};
    EXPECT_EQ(field_text(field), "abc");
}
