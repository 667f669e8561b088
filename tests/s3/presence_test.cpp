#include "stsimage/s3/presence.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "stsimage/engine_host.h"
#include "stsimage/process_end.h"
#include "stsimage/s3/bucket.h"
#include "tests/support/engine_host_double.h"

namespace {

// Ends the process while its thread clears away what others left, which takes a while.
[[noreturn]] void end_amid_a_sweep() {
    setenv("AWS_ENDPOINT_URL", "http://127.0.0.1:1", 1);  // nobody is there
    setenv("AWS_ACCESS_KEY_ID", "key", 1);
    setenv("AWS_SECRET_ACCESS_KEY", "secret", 1);
    setenv("STSIMAGE_S3_TIMEOUT", "1", 1);
    setenv("STSIMAGE_S3_LEASE", "3", 1);
    stsimage::use_host(&engine_host_double::host);
    std::unique_ptr<stsimage::s3::Bucket> bucket;
    if (stsimage::s3::Bucket::open("//images", bucket) != 0)
        std::_Exit(2);
    stsimage::heed_process_end(std::chrono::seconds(5), [] {});
    static std::atomic<bool> is_sweeping{false};
    auto *const presence = new stsimage::s3::Presence(*bucket.release(), std::string(32, 'a'), [] {
        is_sweeping = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::fputs("swept", stderr);
    });
    presence->note_reader(std::string(32, 'b'));
    while (!is_sweeping)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::exit(0);
}

}  // namespace

TEST(PresenceDeathTest, EndOfTheProcessWaitsForASweep) {
    EXPECT_EXIT(end_amid_a_sweep(), testing::ExitedWithCode(0), "swept");
}
