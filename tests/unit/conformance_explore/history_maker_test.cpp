#include "conformance/explore/history_maker.h"

#include <gtest/gtest.h>

#include <set>

using namespace conformance;
using model::Operation;

namespace {

std::string whole_text(const History &history) {
    std::string text = history_text(history);
    for (const auto &[name, file] : configuration_of(history))
        text += name + file;
    return text;
}

}  // namespace

TEST(MakeHistory, TheNumberAloneSaysWhichOneItIs) {
    for (const uint64_t number : {uint64_t{0}, uint64_t{600}, first_after_small(), first_after_small() + 77})
        EXPECT_EQ(whole_text(make_history(9, number, 40)), whole_text(make_history(9, number, 40)));
}

TEST(MakeHistory, SeedsDiffer) {
    EXPECT_NE(whole_text(make_history(1, first_after_small() + 1, 40)),
              whole_text(make_history(2, first_after_small() + 1, 40)));
}

TEST(MakeHistory, EveryOperationIsMade) {
    std::set<Operation> made;
    for (uint64_t number = first_after_small(); number < first_after_small() + 4000; ++number)
        for (const model::Call &call : make_history(1, number, 40).calls)
            made.insert(call.operation);
    EXPECT_EQ(made.size(), model::OPERATIONS);
}

TEST(SmallHistory, EachIsAnotherAndNoneIsLongerThanThree) {
    std::set<std::string> texts;
    for (uint64_t number = 0; number < small_histories(); ++number) {
        const History history = small_history(number);
        EXPECT_LE(history.calls.size(), 3U);
        texts.insert(history_text(history));
    }
    EXPECT_EQ(texts.size(), small_histories());
}

TEST(MakeHistory, PathsStayBelowTheHistorysDirectory) {
    // What a mount replaces must be the history's own.
    for (uint64_t number = first_after_small(); number < first_after_small() + 3000; ++number)
        for (const model::Call &call : make_history(5, number, 60).calls)
            if (call.operation == Operation::mount_lsu && call.text && !call.text->empty() &&
                call.text->front() == '/') {
                EXPECT_TRUE(*call.text == "/" || call.text->rfind("/proc/", 0) == 0) << *call.text;
            }
}
