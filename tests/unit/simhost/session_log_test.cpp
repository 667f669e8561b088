#include "simhost/host/session_log.h"

#include <gtest/gtest.h>

namespace {

void send(const SessionLog &log, const char *text, int32_t level) {
    log.session()->log_function(log.session()->log_context, text, level);
}

}  // namespace

TEST(SessionLog, AsksForTracesOnlyWhenTold) {
    EXPECT_EQ(SessionLog(false).session()->log_mask, 0x8U);
    EXPECT_EQ(SessionLog(true).session()->log_mask, 0x9U);
}

TEST(SessionLog, KeepsMessagesInOrderUntilTheyAreTaken) {
    SessionLog log(true);
    send(log, "one", 3);
    send(log, "two", 4);
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, "one");
    EXPECT_EQ(lines[1].level, 4);
    EXPECT_TRUE(log.take().empty());
}

TEST(SessionLog, SurvivesANullMessage) {
    SessionLog log(true);
    send(log, nullptr, 4);
    EXPECT_EQ(log.take().at(0).text, "(null)");
}

TEST(SessionLog, KnowsWhetherAnErrorHasCome) {
    SessionLog log(true);
    send(log, "one", 3);
    EXPECT_FALSE(log.has_error());
    send(log, "two", 4);
    EXPECT_TRUE(log.has_error());
    log.take();
    EXPECT_FALSE(log.has_error());
}
