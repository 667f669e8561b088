#include "stsimage/own_connections.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "stsimage/engine_host.h"
#include "tests/support/engine_host_double.h"

using namespace std::chrono_literals;

namespace {

using engine_host_double::latest_text;

struct Connection {};

class OwnConnections : public testing::Test {
protected:
    void SetUp() override { stsimage::use_host(&engine_host_double::host); }

    // Fails, and takes as long as a second caller may need to come.
    int32_t fail_slowly(const std::string &location) {
        std::shared_ptr<Connection> unused;
        return stsimage::OwnConnections<Connection>::find(location, unused, [this](std::shared_ptr<Connection> &) {
            ++opened;
            while (!second_comes)
                std::this_thread::sleep_for(1ms);
            std::this_thread::sleep_for(100ms);
            return stsimage::fail(7, "no answer");
        });
    }

    // The status and text that the second of two callers is given, and how often the two have opened.
    std::string second_of_two(const std::string &one, const std::string &other) {
        opened = 0;
        second_comes = false;
        std::thread first([&] { fail_slowly(one); });
        while (opened == 0)
            std::this_thread::sleep_for(1ms);
        latest_text.clear();
        second_comes = true;
        const int32_t status = fail_slowly(other);
        first.join();
        return std::to_string(status) + " " + latest_text + " " + std::to_string(opened);
    }

    std::atomic<int> opened{0};
    std::atomic<bool> second_comes{false};
};

TEST_F(OwnConnections, FailureIsSharedByThoseWhoWaitedForIt) {
    // On a busy machine the second may come late, and then tries for itself.
    std::string told;
    for (int turn = 0; turn < 20 && told != "7 no answer 1"; ++turn)
        told = second_of_two("shared", "shared");
    EXPECT_EQ(told, "7 no answer 1");
}

TEST_F(OwnConnections, OtherLocationsAreTriedForThemselves) {
    EXPECT_EQ(second_of_two("here", "there"), "7 no answer 2");
}

TEST_F(OwnConnections, FailureIsNotForThoseWhoComeLater) {
    second_comes = true;
    EXPECT_EQ(fail_slowly("later"), 7);
    std::shared_ptr<Connection> found;
    EXPECT_EQ(stsimage::OwnConnections<Connection>::find("later", found,
                                                         [](std::shared_ptr<Connection> &out) {
                                                             out = std::make_shared<Connection>();
                                                             return 0;
                                                         }),
              0);
    EXPECT_NE(found, nullptr);
}

TEST_F(OwnConnections, OpenedOnceItIsGivenToEverybody) {
    std::shared_ptr<Connection> first;
    std::shared_ptr<Connection> second;
    int times = 0;
    const auto open = [&times](std::shared_ptr<Connection> &out) {
        ++times;
        out = std::make_shared<Connection>();
        return 0;
    };
    EXPECT_EQ(stsimage::OwnConnections<Connection>::find("kept", first, open), 0);
    EXPECT_EQ(stsimage::OwnConnections<Connection>::find("kept", second, open), 0);
    EXPECT_EQ(first, second);
    EXPECT_EQ(times, 1);
}

}  // namespace
