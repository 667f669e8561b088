#include "simhost/load/live_table.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using testing::Not;

namespace {

TimePoint point(double seconds, uint64_t operations) {
    TimePoint made;
    made.seconds = seconds;
    made.operations = operations;
    made.bytes_written = operations << 20;
    made.bytes_read = operations << 21;
    made.p99_ns = 38.9e6;
    made.handles = 12;
    made.descriptors = 77;
    made.resident_bytes = uint64_t{200} << 20;
    return made;
}

}  // namespace

TEST(LiveTable, IsNeverWiderThanTheTerminal) {
    for (size_t columns : {0U, 1U, 40U, 79U, 80U, 81U, 105U, 106U, 120U, 200U}) {
        EXPECT_LE(live_titles(columns).size(), columns == 0 ? 0 : columns - 1);
        EXPECT_LE(live_values(point(1, 10), point(86400, 123456789), 99999, columns).size(),
                  columns == 0 ? 0 : columns - 1);
    }
}

TEST(LiveTable, TellsEverythingIn120Columns) {
    EXPECT_EQ(
        live_titles(120),
        "     TIME OPERATIONS A SECOND    WRITTEN/s       READ/s      P99 REFUSALS BROKEN HANDLES   FDS   RESIDENT");
    EXPECT_EQ(
        live_values(point(1, 10), point(3, 210), 4, 120),
        "   3.00 s        210      100  100.0 MiB/s  200.0 MiB/s  38.9 ms        0      4      12    77    200 MiB");
}

TEST(LiveTable, PutsBytesTogetherIn80Columns) {
    EXPECT_EQ(live_titles(80), "    TIME      OPS  OPS/s     MOVED/s      P99 REFUSED BROKEN OPEN  FDS    RSS");
    EXPECT_EQ(live_values(point(1, 10), point(3, 210), 4, 80),
              "  3.00 s      210    100 300.0 MiB/s  38.9 ms       0      4   12   77   200M");
}
