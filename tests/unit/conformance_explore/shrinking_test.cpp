#include "conformance/explore/shrinking.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "conformance/explore/history_maker.h"

using namespace conformance;
using model::Call;
using model::Operation;

namespace {

bool has(const History &history, const std::function<bool(const Call &)> &is_one) {
    return std::any_of(history.calls.begin(), history.calls.end(), is_one);
}

}  // namespace

TEST(Shrunk, LeavesWhatIsNeeded) {
    History history = make_history(3, first_after_small() + 5, 200);
    for (int i = 0; i < 50; ++i) {
        Call filler;
        filler.operation = Operation::ioctl;
        filler.numbers[0] = 5;
        history.calls.push_back(filler);
    }
    Call needed;
    needed.operation = Operation::claim;
    needed.name = "a needed name";
    history.calls.insert(history.calls.begin() + 3, needed);
    history.calls.push_back(needed);
    // Two claims of that name, and a file of two lines, one after the other.
    history.files["x"] = {"a=1,2,3;\n", "b=1;\n", "c=1;\n"};
    const History left = shrunk(
        history,
        [](const History &one) {
            const auto claims = std::count_if(one.calls.begin(), one.calls.end(),
                                              [](const Call &call) { return call.name && call.name->find("a") == 0; });
            const auto file = one.files.find("x");
            return claims >= 2 && file != one.files.end() && file->second.size() >= 2 && file->second[0][0] == 'a';
        },
        5000);
    EXPECT_EQ(left.calls.size(), 2U);
    EXPECT_EQ(left.calls[0].name, "a");
    ASSERT_EQ(left.files.size(), 1U);
    EXPECT_EQ(left.files.at("x").size(), 2U);
    EXPECT_EQ(left.files.at("x")[0], "a=1;\n");
}

TEST(Shrunk, MakesArgumentsPlain) {
    History history;
    Call call;
    call.operation = Operation::ioctl;
    call.by_slot = true;
    call.thread = 2;
    call.fill = 0x5a;
    call.numbers = {0xabcdef0123, 7, 7, 7, 7};
    history.calls = {call};
    const History left = shrunk(
        history,
        [](const History &one) { return has(one, [](const Call &c) { return (c.numbers[0] & 0xff) == 0x23; }); }, 1000);
    ASSERT_EQ(left.calls.size(), 1U);
    EXPECT_FALSE(left.calls[0].by_slot);
    EXPECT_EQ(left.calls[0].thread, 0);
    EXPECT_EQ(left.calls[0].fill, 0xa5);
    EXPECT_EQ(left.calls[0].numbers[0], 0xcdef0123U);
    EXPECT_EQ(left.calls[0].numbers[1], 0U);
}

TEST(Shrunk, StopsAfterSoManyTries) {
    size_t tries = 0;
    shrunk(
        make_history(1, first_after_small() + 1, 40), [&](const History &) { return ++tries > 1000000; }, 17);
    EXPECT_EQ(tries, 17U);
}

TEST(Shrunk, NeverChangesWherePathsLead) {
    History history;
    Call call;
    call.operation = Operation::mount_lsu;
    call.name = "{own}1:d1";
    call.text = "{work}/a/b";
    history.calls = {call};
    const History left = shrunk(
        history, [](const History &one) { return !one.calls.empty(); }, 1000);
    EXPECT_EQ(left.calls[0].name, "{own}1:d1");
    EXPECT_EQ(left.calls[0].text, "{work}/a/b");
}
