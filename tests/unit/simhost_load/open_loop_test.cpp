#include "simhost/load/open_loop.h"

#include <gtest/gtest.h>

namespace {

Workload with_rate(double rate) {
    Workload workload;
    workload.processes = 2;
    workload.streams = 5;
    workload.rate = rate;
    return workload;
}

}  // namespace

TEST(IntendedBegin, FirstOperationOfTheFirstStreamIsAtOnce) { EXPECT_EQ(intended_begin_ns(with_rate(100), 0, 0), 0U); }

TEST(IntendedBegin, StreamsTakeTurnsAtEvenDistances) {
    const Workload workload = with_rate(100);
    for (unsigned stream = 0; stream < workload.total_streams(); ++stream)
        EXPECT_EQ(intended_begin_ns(workload, stream, 0), stream * 10000000U);
    EXPECT_EQ(intended_begin_ns(workload, 0, 1), 100000000U);
    EXPECT_EQ(intended_begin_ns(workload, 9, 7), 790000000U);
}

TEST(IntendedBegin, ADayAtAThousandASecondIsStillExact) {
    const Workload workload = with_rate(1000);
    EXPECT_EQ(intended_begin_ns(workload, 3, 8640000), 86400003000000U);
}
