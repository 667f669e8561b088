// Processes that are forked from one that has used the library.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "tests/unit/stsimage/image_test.h"

using ForkedProcess = ImageTest;

namespace {

constexpr uint64_t siblings = 3;
constexpr uint64_t images_of_each = 6;

std::string image_of_sibling(uint64_t sibling, uint64_t number) {
    return "image " + std::to_string(sibling) + "." + std::to_string(number);
}
std::string data_of_sibling(uint64_t sibling, uint64_t number) {
    return pattern(100'000, sibling * images_of_each + number);
}

}  // namespace

TEST_F(ForkedProcess, WritesAndReadsBesideItsSiblings) {
    ASSERT_EQ(store("image", "the parent's"), 0) << stsimg_last_error();
    ASSERT_EQ(content("image"), "the parent's");
    std::vector<pid_t> processes;
    processes.reserve(siblings);
    for (uint64_t sibling = 0; sibling < siblings; ++sibling) {
        processes.push_back(fork());
        if (processes.back() != 0)
            continue;
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that ends early leaves nothing behind
        bool is_right = true;
        for (uint64_t number = 0; is_right && number < images_of_each; ++number)
            is_right = store(image_of_sibling(sibling, number), data_of_sibling(sibling, number)) == 0 &&
                       content(image_of_sibling(sibling, number)) == data_of_sibling(sibling, number);
        if (!is_right)
            std::fprintf(stderr, "a forked process got: %s\n", stsimg_last_error());
        _exit(is_right ? 0 : 1);
    }
    for (const pid_t process : processes) {
        int status = 0;
        waitpid(process, &status, 0);
        EXPECT_EQ(status, 0);
    }
    for (uint64_t sibling = 0; sibling < siblings; ++sibling)
        for (uint64_t number = 0; number < images_of_each; ++number)
            EXPECT_EQ(content(image_of_sibling(sibling, number)), data_of_sibling(sibling, number));
    EXPECT_EQ(content("image"), "the parent's");
}

// The threads that serve a connection are those of the process that made it: waiting for them would never end.
TEST_F(ForkedProcess, IsRefusedWhatItsParentHasOpenInAnEngine) {
    if (!is_in_engine())
        GTEST_SKIP() << "needs an engine";
    ASSERT_EQ(store("image", "data"), 0) << stsimg_last_error();
    sts_image_handle_t reader = nullptr, writer = nullptr;
    ASSERT_EQ(open("image", STSIMG_MODE_READ, reader), 0);
    ASSERT_EQ(create("written", writer), 0);
    ASSERT_EQ(write(writer, "begun"), 0);
    const pid_t child = fork();
    if (child == 0) {
        std::string data;
        // What was written may be told of by the close alone.
        static_cast<void>(write(writer, "by the child"));
        const int32_t statuses[] = {read(reader, data, 4), stsimg_close_image(writer), stsimg_close_image(reader),
                                    store("other", "by the child")};
        const bool is_right =
            statuses[0] == STS_E_SYSTEM && statuses[1] == STS_E_SYSTEM && statuses[2] == 0 && statuses[3] == 0;
        if (!is_right)
            for (const int32_t status : statuses)
                std::fprintf(stderr, "a forked process got %d; %s\n", status, stsimg_last_error());
        _exit(is_right ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(write(writer, " and ended", 5), 0) << stsimg_last_error();
    EXPECT_EQ(stsimg_close_image(writer), 0) << stsimg_last_error();
    std::string data;
    EXPECT_EQ(read(reader, data, 4), 0) << stsimg_last_error();
    EXPECT_EQ(data, "data");
    EXPECT_EQ(stsimg_close_image(reader), 0);
    EXPECT_EQ(content("written"), "begun and ended");
    EXPECT_EQ(content("other"), "by the child");
}
