// Threads and processes side by side.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <random>
#include <set>
#include <thread>

#include "tests/support/seeds.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

using SideBySide = ImageTest;
using OneWriter = ImageTest;
using DeadWriter = ImageTest;

namespace {

// Runs a part in a process of its own and hands back its wait status. The part returns the exit status.
template <class Part>
pid_t start_process(Part part) {
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that ends early leaves nothing behind
        _exit(part());
    }
    return child;
}

int wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

// A process that has gone as far as told, and waits there to be killed.
template <class Part>
pid_t start_and_stay(Part part) {
    int ready[2];
    if (pipe(ready) != 0)
        return -1;
    const pid_t child = start_process([&] {
        part();
        if (::write(ready[1], "x", 1) != 1)
            return 1;
        pause();
        return 0;
    });
    close(ready[1]);
    char byte;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    close(ready[0]);
    return child;
}

void kill_and_wait(pid_t child) {
    kill(child, SIGKILL);
    wait_for(child);
}

}  // namespace

TEST_F(SideBySide, ThreadsOnDifferentImages) {
    std::vector<std::thread> threads;
    for (size_t number = 0; number < 8; ++number)
        threads.emplace_back([number] {
            for (int round = 0; round < 10; ++round) {
                const std::string name = "image " + std::to_string(number) + "." + std::to_string(round);
                const std::string data = pattern(20000 + number * 1000, number);
                EXPECT_EQ(store(name, data), 0) << stsimg_last_error();
                EXPECT_TRUE(content(name) == data) << name;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(names().size(), 80u);
}

TEST_F(SideBySide, ManyReadersOfOneHandle) {
    const std::string data = pattern(20 * 1000 * 1000);
    ASSERT_EQ(store("shared", data), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("shared", STSIMG_MODE_READ, image), 0);
    for (const uint32_t first : seeds_of("SideBySide.ManyReadersOfOneHandle", 0)) {
        std::vector<std::thread> threads;
        for (uint32_t seed = first; seed != first + 8; ++seed)
            threads.emplace_back([&, seed] {
                SCOPED_TRACE("seed " + std::to_string(seed));
                std::mt19937 random(seed);
                for (int round = 0; round < 200; ++round) {
                    const size_t offset = random() % data.size();
                    std::string got;
                    EXPECT_EQ(read(image, got, 10000, offset), 0);
                    EXPECT_TRUE(got == data.substr(offset, 10000));
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    }
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(SideBySide, ThreadsWritingPartsOfOneImage) {
    const std::string data = pattern(4000000);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("parts", image), 0);
    std::vector<std::thread> threads;
    for (size_t first = 0; first < 4; ++first)
        threads.emplace_back([&, first] {
            for (size_t place = first * 5003; place < data.size(); place += 4 * 5003)
                EXPECT_EQ(write(image, std::string_view(data).substr(place, 5003), place), 0);
        });
    for (std::thread &thread : threads)
        thread.join();
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_TRUE(content("parts") == data);
}

// Closing is a race on purpose: the others get a status, never anything else.
// On a file system in memory, where replacing a file moves its name to another place of the directory.
TEST_F(SideBySide, ListGivesEachImageOnceWhileImagesAreReplaced) {
    constexpr int images = 1500;  // more names than the C library reads at a time
    char place[] = "/dev/shm/stsimage_list_XXXXXX";
    const char *lsu = mkdtemp(place);
    if (lsu == nullptr)
        GTEST_SKIP() << "there is no /dev/shm to write to";
    const auto name_of = [](int number) { return "image " + std::to_string(number); };
    for (int number = 0; number < images; ++number)
        std::ofstream(fs::path(lsu) / (name_of(number) + ".stsimg"));
    sts_image_list_handle_t list = nullptr;
    ASSERT_EQ(stsimg_open_image_list(lsu, nullptr, "", 0, &list), 0);
    std::multiset<std::string> given;
    sts_image_definition_t definition;
    ASSERT_EQ(stsimg_list_image(list, &definition), 0);
    given.insert(definition.name);
    for (int number = 0; number < images; number += 2)
        ASSERT_EQ(store(name_of(number), "new", lsu), 0);
    while (stsimg_list_image(list, &definition) == 0)
        given.insert(definition.name);
    EXPECT_EQ(stsimg_close_image_list(list), 0);
    fs::remove_all(lsu);
    for (int number = 0; number < images; ++number)
        EXPECT_EQ(given.count(name_of(number)), 1U) << name_of(number);
}

TEST_F(SideBySide, HandleIsClosedWhileOthersUseIt) {
    ASSERT_EQ(store("image", pattern(100000)), 0);
    for (int round = 0; round < 30; ++round) {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(round % 2 == 0 ? open("image", STSIMG_MODE_READ, image) : create("image 2", image), 0);
        std::atomic<int> closed{0};
        std::vector<std::thread> threads;
        for (int number = 0; number < 3; ++number)
            threads.emplace_back([&, number] {
                std::string data;
                for (int turn = 0; turn < 20; ++turn) {
                    const int32_t status = read(image, data, 5000, 100);
                    EXPECT_TRUE(status == 0 || status == STSIMG_E_INVALID_HANDLE) << status;
                }
                if (number < 2)
                    closed += stsimg_close_image(image) == 0;
            });
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(closed, 1);
    }
}

// A write that comes too late must not change the image that is there now.
TEST_F(SideBySide, ImageIsClosedWhileOthersWriteToIt) {
    for (int round = 0; round < 40; ++round) {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create("image", image), 0);
        std::atomic<int> written{0};
        std::vector<std::thread> threads;
        for (int number = 0; number < 3; ++number)
            threads.emplace_back([&] {
                int32_t status;
                while ((status = write(image, std::string(40960, static_cast<char>('a' + written % 26)))) == 0)
                    ++written;
                EXPECT_EQ(status, STSIMG_E_INVALID_HANDLE) << stsimg_last_error();
            });
        while (written < 10)
            std::this_thread::yield();
        EXPECT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
        for (std::thread &thread : threads)
            thread.join();
        const std::string found = content("image");
        ASSERT_TRUE(found == std::string(40960, found[0])) << found.substr(0, 30);
    }
}

// While others create, replace and delete, a list gives every image that stays, and no name that never was.
TEST_F(SideBySide, ListingWhileOthersCreateAndDelete) {
    std::vector<std::string> staying;
    for (int number = 0; number < 60; ++number) {
        staying.push_back("stays " + std::to_string(1000 + number));
        ASSERT_EQ(store(staying.back(), "x"), 0);
    }
    std::atomic<bool> done{false};
    std::vector<pid_t> processes;
    for (int number = 0; number < 2; ++number)
        processes.push_back(start_process([number] {
            for (int round = 0; round < 40; ++round) {
                const std::string name = "comes and goes " + std::to_string(number) + " " + std::to_string(round % 7);
                if (store(name, "y") != 0 || remove(name) != 0)
                    return 1;
            }
            return 0;
        }));
    std::thread replacing([&] {
        for (int round = 0; !done; ++round)
            EXPECT_EQ(store(staying[static_cast<size_t>(round) % staying.size()], "z"), 0) << stsimg_last_error();
    });
    for (int round = 0; round < 30; ++round) {
        const std::vector<std::string> found = names();
        const std::set<std::string> different(found.begin(), found.end());
        for (const std::string &name : staying)
            EXPECT_EQ(different.count(name), 1u) << name;
        for (const std::string &name : different)
            EXPECT_TRUE(name.rfind("stays ", 0) == 0 || name.rfind("comes and goes ", 0) == 0) << name;
    }
    done = true;
    replacing.join();
    for (const pid_t process : processes)
        EXPECT_EQ(wait_for(process), 0);
    EXPECT_EQ(names(), staying);
}

// Whoever reads an image that is being replaced again and again gets one of the versions, whole.
TEST_F(SideBySide, ReadingWhileOthersReplace) {
    const auto version = [](uint64_t number) { return pattern(30000 + number * 5000, number + 1); };
    ASSERT_EQ(store("image", version(0)), 0);
    std::vector<pid_t> processes;
    for (uint64_t number = 0; number < 3; ++number)
        processes.push_back(start_process([&, number] {
            for (int round = 0; round < 60; ++round) {
                const int32_t status = store("image", version(number));
                if (status != 0 && status != STSIMG_E_BUSY)
                    return 1;
            }
            return 0;
        }));
    for (int round = 0; round < 100; ++round) {
        const std::string data = content("image");
        EXPECT_TRUE(data == version(0) || data == version(1) || data == version(2)) << data.substr(0, 20);
    }
    for (const pid_t process : processes)
        EXPECT_EQ(wait_for(process), 0);
    EXPECT_FALSE(fs::exists(unfinished()));
}

TEST_F(OneWriter, SecondOneIsRefusedUntilTheFirstCloses) {
    ASSERT_EQ(store("image", "first"), 0);
    sts_image_handle_t writer = nullptr, second = nullptr;
    ASSERT_EQ(create("image", writer), 0);
    EXPECT_EQ(create("image", second), STSIMG_E_BUSY);
    EXPECT_NE(std::string(stsimg_last_error()).find("being written"), std::string::npos) << stsimg_last_error();
    EXPECT_EQ(open("image", STSIMG_MODE_WRITE, second), STSIMG_E_BUSY);
    EXPECT_EQ(wait_for(start_process([&] { return create("image", second) == STSIMG_E_BUSY ? 0 : 1; })), 0);
    EXPECT_EQ(open("image", STSIMG_MODE_READ, second), 0);
    EXPECT_EQ(stsimg_close_image(second), 0);
    ASSERT_EQ(write(writer, "second"), 0);
    ASSERT_EQ(stsimg_close_image(writer), 0);
    EXPECT_EQ(store("image", "third"), 0);
    EXPECT_EQ(content("image"), "third");
}

TEST_F(OneWriter, NewImageIsUnknownUntilItIsClosed) {
    sts_image_handle_t writer = nullptr, other = nullptr;
    ASSERT_EQ(create("image", writer), 0);
    EXPECT_EQ(open("image", STSIMG_MODE_WRITE, other), STS_E_NOT_FOUND);
    EXPECT_EQ(open("image", STSIMG_MODE_READ, other), STS_E_NOT_FOUND);
    EXPECT_EQ(stsimg_close_image(writer), 0);
}

// A writer that has given its image the name, but has not returned from close yet, still has the lock on the file.
TEST_F(OneWriter, OneThatIsStillClosingCounts) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("image", "first"), 0);
    const int closing = ::open(file_of("image").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(closing, LOCK_EX), 0);
    sts_image_handle_t writer = nullptr;
    EXPECT_EQ(create("image", writer), STSIMG_E_BUSY);
    EXPECT_NE(std::string(stsimg_last_error()).find("closed"), std::string::npos) << stsimg_last_error();
    EXPECT_EQ(open("image", STSIMG_MODE_WRITE, writer), STSIMG_E_BUSY);
    EXPECT_EQ(content("image"), "first");
    ::close(closing);
    EXPECT_EQ(store("image", "second"), 0);
}

// A forked process has the writer's descriptor, and keeps it for longer than the writer.
TEST_F(OneWriter, NameIsFreeOnceCloseHasReturned) {
    sts_image_handle_t writer = nullptr;
    ASSERT_EQ(create("image", writer), 0);
    const pid_t child = start_and_stay([] {});
    ASSERT_EQ(stsimg_close_image(writer), 0);
    EXPECT_EQ(store("image", "x"), 0) << stsimg_last_error();
    kill_and_wait(child);
}

TEST_F(OneWriter, ForkedChildThatEndsLeavesTheFileAlone) {
    sts_image_handle_t writer = nullptr;
    ASSERT_EQ(create("image", writer), 0);
    ASSERT_EQ(write(writer, "data"), 0);
    // exit runs the destructors of the child's copies.
    EXPECT_EQ(wait_for(start_process([]() -> int { std::exit(0); })), 0);
    ASSERT_EQ(stsimg_close_image(writer), 0) << stsimg_last_error();
    EXPECT_EQ(content("image"), "data");
}

TEST_F(DeadWriter, FileIsClearedAtTheNextOpening) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("other", "x"), 0);
    const pid_t child = start_and_stay([&] {
        sts_image_handle_t image = nullptr;
        create("lost", image);
        write(image, pattern(100000));
        create(".lost too", image);
    });
    ASSERT_TRUE(fs::exists(unfinished() / "lost.stsimg"));
    EXPECT_EQ(names(), std::vector<std::string>{"other"});
    EXPECT_TRUE(fs::exists(unfinished() / "lost.stsimg")) << "its writer lives";
    kill_and_wait(child);
    EXPECT_TRUE(fs::exists(unfinished() / "lost.stsimg"));
    EXPECT_EQ(content("other"), "x");
    EXPECT_FALSE(fs::exists(unfinished()));
    EXPECT_EQ(names(), std::vector<std::string>{"other"});
}

TEST_F(DeadWriter, DoesNotStandInTheWayOfTheNext) {
    ASSERT_EQ(store("image", "first"), 0);
    for (int round = 0; round < 5; ++round) {
        const pid_t child = start_and_stay([&] {
            sts_image_handle_t image = nullptr;
            create("image", image);
            write(image, "lost");
        });
        kill_and_wait(child);
        EXPECT_EQ(content("image"), round == 0 ? "first" : "next");
        ASSERT_EQ(store_when_free("image", "next"), 0) << stsimg_last_error();
    }
}

// Whoever holds the lock of the LSU does so for a moment only: it is waited for.
TEST_F(DeadWriter, FileIsClearedThoughAnotherIsChangingNames) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("other", "x"), 0);
    kill_and_wait(start_and_stay([] {
        sts_image_handle_t image = nullptr;
        create("lost", image);
    }));
    const int directory = ::open((root() / "pool").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(directory, LOCK_EX), 0);
    std::future<bool> cleared = std::async(std::launch::async, [this] {
        names();
        return !fs::exists(unfinished());
    });
    // One that does not wait has the time to go on without clearing.
    cleared.wait_for(std::chrono::milliseconds(200));
    ::close(directory);
    EXPECT_TRUE(cleared.get());
}

// Names change under the lock of the LSU only. Calls that did not wait for it would have the time to go on.
TEST_F(SideBySide, NamesChangeInTurns) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("deleted", "x"), 0);
    sts_image_handle_t closing = nullptr;
    ASSERT_EQ(create("closed", closing), 0);
    // On a local file system the file is not made, but heeded: other hosts may share the directory by way of this one.
    const int lock = ::open((root() / "pool/.stsimg-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const auto unfinished_files = [this] {
        return std::distance(fs::directory_iterator(unfinished()), fs::directory_iterator());
    };
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    std::thread closer([&] { EXPECT_EQ(stsimg_close_image(closing), 0); });
    std::thread remover([] { EXPECT_EQ(remove("deleted"), 0); });
    std::thread creator([] { EXPECT_EQ(store("created", "x"), 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_TRUE(fs::exists(file_of("deleted")));
    EXPECT_FALSE(fs::exists(file_of("closed")));
    EXPECT_FALSE(fs::exists(file_of("created")));
    EXPECT_EQ(unfinished_files(), 1);
    ::close(lock);
    closer.join();
    remover.join();
    creator.join();
    EXPECT_EQ(names(), (std::vector<std::string>{"closed", "created"}));
}
