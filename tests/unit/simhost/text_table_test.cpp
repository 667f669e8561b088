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
