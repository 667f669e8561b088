#include "base/thread_value.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

namespace {

TEST(ThreadValue, IsZeroUntilTheThreadSetsIt) {
    base::ThreadValue value;
    EXPECT_EQ(value.get(), 0U);
    value.set(UINT64_MAX);
    EXPECT_EQ(value.get(), UINT64_MAX);
}

TEST(ThreadValue, IsEachThreadsOwn) {
    base::ThreadValue value;
    value.set(1);
    std::thread([&] {
        EXPECT_EQ(value.get(), 0U);
        value.set(2);
        EXPECT_EQ(value.get(), 2U);
    }).join();
    EXPECT_EQ(value.get(), 1U);
}

TEST(ThreadValue, OneThatComesAfterAnotherInheritsNothing) {
    for (int i = 0; i < 3 * PTHREAD_KEYS_MAX; ++i) {
        base::ThreadValue value;
        ASSERT_EQ(value.get(), 0U) << i;
        value.set(7);
        ASSERT_EQ(value.get(), 7U) << i;
    }
}

TEST(ThreadValue, ForgetsWhereTheProcessHasNoKeyLeft) {
    std::vector<pthread_key_t> taken;
    for (pthread_key_t key = 0; pthread_key_create(&key, nullptr) == 0;)
        taken.push_back(key);
    ASSERT_FALSE(taken.empty());
    {
        base::ThreadValue value;
        value.set(7);
        EXPECT_EQ(value.get(), 0U);
    }
    for (const pthread_key_t key : taken)
        EXPECT_EQ(pthread_key_delete(key), 0);
}

}  // namespace
