#include "simhost/report/text_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

TEST(TextTable, AlignsItsColumns) {
    TextTable table({"NAME", ">SIZE", "REST"});
    table.add({"a", "1", "x"});
    table.add({"longer", "1000", ""});
    EXPECT_THAT(table.lines(), ElementsAre("NAME    SIZE  REST", "a          1  x", "longer  1000"));
}

TEST(TextTable, WithoutRowsIsItsTitles) { EXPECT_THAT(TextTable({"A", ">B"}).lines(), ElementsAre("A  B")); }

TEST(TextTable, CountsTheColumnsOfWideCharacters) {
    TextTable table({"NAME", ">SIZE"});
    table.add({"\xe6\xb1\xa0\xe6\xb0\xb4", "1"});  // two ideographs of two columns each
    table.add({"gr\xc3\xbc\xc3\x9f", "22"});       // four letters in six bytes
    EXPECT_THAT(table.lines(), ElementsAre("NAME  SIZE", "\xe6\xb1\xa0\xe6\xb0\xb4     1", "gr\xc3\xbc\xc3\x9f    22"));
}
