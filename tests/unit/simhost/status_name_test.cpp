#include "journal/calls/status_name.h"

#include <gtest/gtest.h>

TEST(StatusName, KnowsSuccessAndEveryCode) {
    EXPECT_EQ(describe_status(0), "success (0)");
    EXPECT_EQ(describe_status(2060016), "STS_E_NOT_SUPPORTED (2060016)");
    EXPECT_EQ(describe_status(2061034), "STS_E_NO_SERVER (2061034)");
    EXPECT_EQ(describe_status(2061105), "STSIMG_E_BUSY (2061105)");
    EXPECT_EQ(status_meaning(2060013), "the end of a list");
}

TEST(StatusName, AdmitsWhatItDoesNotKnow) {
    EXPECT_EQ(describe_status(-2), "unknown status (-2)");
    EXPECT_EQ(status_meaning(2060002), "");
}
