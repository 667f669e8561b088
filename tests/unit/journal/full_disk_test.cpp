// A disk without room, a limit of file sizes, and a journal that has reached its own limit.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <functional>

#include "read_journal.h"

using namespace journal;

namespace {

constexpr int cannot_try = 77;

// What the function returns in a process of its own, as an exit status; a signal is a failure.
int in_child(const std::function<int()> &function) {
    const pid_t child = fork();
    if (child == 0)
        _exit(function());
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool mount_small_disk(const std::string &directory, const char *options) {
    const uid_t user = geteuid();
    if (unshare(CLONE_NEWNS | (user != 0 ? CLONE_NEWUSER : 0)) != 0)
        return false;
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    return mount("tmpfs", directory.c_str(), "tmpfs", 0, options) == 0;
}

}  // namespace

TEST(FullDisk, RecordsThatFindNoRoomAreLostAndNothingElseHappens) {
    const TempDirectory directory;
    const int result = in_child([&directory] {
        if (!mount_small_disk(directory.path(), "size=512k"))
            return cannot_try;
        const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
        for (int i = 1; i <= 20000; ++i)
            record_call(*writer, i);
        if (writer->lost() == 0)
            return 1;
        const ReadJournal read = read_journal(directory / "j");
        const std::vector<ReadRecord> calls = read.of_kind(RecordKind::enter);
        if (calls.size() < 1000 || read.facts.lost != writer->lost())
            return 2;
        if (read.records.size() + read.facts.lost != 40001)
            return 3;
        for (size_t i = 0; i < calls.size(); ++i)
            if (call_number(calls[i]) != static_cast<int32_t>(i + 1))
                return 4;
        return read.damage.any() ? 5 : 0;
    });
    if (result == cannot_try)
        GTEST_SKIP() << "no mount namespace here";
    EXPECT_EQ(result, 0);
}

TEST(FullDisk, WritingGoesOnWhenThereIsRoomAgain) {
    const TempDirectory directory;
    const int result = in_child([&directory] {
        if (!mount_small_disk(directory.path(), "size=512k"))
            return cannot_try;
        const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
        for (int i = 1; i <= 20000; ++i)
            record_call(*writer, i);
        const uint64_t lost = writer->lost();
        if (mount("tmpfs", directory.path().c_str(), "tmpfs", MS_REMOUNT, "size=64m") != 0)
            return cannot_try;
        // Full disks are asked again once a second.
        for (int i = 0; i < 200 && read_journal(directory / "j").records.size() + lost == 40001; ++i) {
            usleep(20000);
            writer->rules("");
        }
        record_call(*writer, -1);
        const ReadJournal read = read_journal(directory / "j");
        return call_number(read.of_kind(RecordKind::enter).back()) == -1 && !read.damage.any() ? 0 : 1;
    });
    if (result == cannot_try)
        GTEST_SKIP() << "no mount namespace here";
    EXPECT_EQ(result, 0);
}

TEST(FullDisk, ARingThatFindsNoRoomIsRefused) {
    const TempDirectory directory;
    const int result = in_child([&directory] {
        if (!mount_small_disk(directory.path(), "size=512k"))
            return cannot_try;
        std::string error;
        int number = 0;
        const bool opened = Writer::open(ring(directory / "j", 1 << 20), {}, error, number) != nullptr;
        return !opened && number == ENOSPC &&
                       error == directory / "j: cannot take room for it on the disk: No space left on device"
                   ? 0
                   : 1;
    });
    if (result == cannot_try)
        GTEST_SKIP() << "no mount namespace here";
    EXPECT_EQ(result, 0);
}

TEST(FullDisk, ASparseJournalIsGivenRoomBeforeItIsContinued) {
    const TempDirectory directory;
    const int result = in_child([&directory] {
        if (!mount_small_disk(directory.path(), "size=512k"))
            return cannot_try;
        open_writer(ring(directory / "j", 1 << 16));
        const std::string head = file_bytes(directory / "j").substr(0, HEADER_SIZE);
        // The same head in front of a hole that the disk cannot fill.
        std::string large = head;
        const uint64_t capacity = 4 << 20;
        large.replace(offsetof(FileHeader, capacity), 8, reinterpret_cast<const char *>(&capacity), 8);
        large.replace(offsetof(FileHeader, allocated), 8, reinterpret_cast<const char *>(&capacity), 8);
        write_file(directory / "large", large);
        if (truncate((directory / "large").c_str(), HEADER_SIZE + capacity) != 0)
            return 1;
        std::string error;
        int number = 0;
        return Writer::open(ring(directory / "large", capacity), {}, error, number) == nullptr && number == ENOSPC ? 0
                                                                                                                   : 2;
    });
    if (result == cannot_try)
        GTEST_SKIP() << "no mount namespace here";
    EXPECT_EQ(result, 0);
}

TEST(FullDisk, TheLimitOfFileSizesDoesNotEndTheProcess) {
    const TempDirectory directory;
    EXPECT_EQ(in_child([&directory] {
                  const rlimit limit = {200000, 200000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  std::string error;
                  int number = 0;
                  // Less than the first step of a growing journal, and of a ring.
                  return Writer::open(growing(directory / "j"), {}, error, number) == nullptr && number == EFBIG ? 0
                                                                                                                 : 1;
              }),
              0);
    EXPECT_EQ(in_child([&directory] {
                  const rlimit limit = {6 << 20, 6 << 20};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  const std::unique_ptr<Writer> writer = open_writer(growing(directory / "k"));
                  for (int i = 1; i <= 50000; ++i)
                      record_call(*writer, i);
                  return writer->lost() > 0 ? 0 : 1;
              }),
              0);
    EXPECT_FALSE(read_journal(directory / "k").damage.any());
}

TEST(FullDisk, AGrowingJournalStopsAtItsLimit) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j", 1 << 20));
    for (int i = 1; i <= 20000; ++i)
        record_call(*writer, i);
    const ReadJournal read = read_journal(directory / "j");
    EXPECT_FALSE(read.damage.any());
    EXPECT_EQ(read.records.size() + read.facts.lost, 40001U);
    EXPECT_GT(read.records.size(), (1U << 20) / 120);
    EXPECT_EQ(call_number(read.of_kind(RecordKind::enter).front()), 1);
    struct stat status = {};
    stat((directory / "j").c_str(), &status);
    EXPECT_EQ(static_cast<uint64_t>(status.st_size), HEADER_SIZE + (1 << 20));
}
