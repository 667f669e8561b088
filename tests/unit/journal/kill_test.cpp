// kill -9 at any moment. STSPI_KILL_ROUNDS in the environment sets how often, STSPI_SEED the moments.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <new>
#include <random>
#include <thread>

#include "read_journal.h"
#include "tests/support/seeds.h"

using namespace journal;

namespace {

constexpr int writer_count = 3;

unsigned long setting(const char *name, unsigned long otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

// What the writers know, in memory that outlives them.
struct Progress {
    std::atomic<int32_t> begun[writer_count];    // about to enter
    std::atomic<int32_t> entered[writer_count];  // enter has returned
    std::atomic<int32_t> left[writer_count];     // leave has returned
};

class SharedProgress {
public:
    SharedProgress()
        : memory_(mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          progress_(new (memory_) Progress{}) {}
    ~SharedProgress() { munmap(memory_, sizeof(Progress)); }
    SharedProgress(const SharedProgress &) = delete;
    SharedProgress &operator=(const SharedProgress &) = delete;

    Progress *operator->() const { return progress_; }

private:
    void *memory_;
    Progress *progress_;
};

// Fewer than fill the journal, however late the end comes.
constexpr int32_t most_calls = 40000;

[[noreturn]] void write_for_ever(Writer &writer, const SharedProgress &progress, int thread) {
    for (int32_t i = 1; i <= most_calls; ++i) {
        const uint64_t arguments[] = {0, static_cast<uint32_t>(thread * 10000000 + i)};
        progress->begun[thread] = i;
        const CallNumber call = writer.enter(first_table_entry(STS_SLOT_IOCTL), arguments);
        progress->entered[thread] = i;
        writer.leave(call, first_table_entry(STS_SLOT_IOCTL), arguments, i);
        progress->left[thread] = i;
    }
    for (;;)
        pause();
}

// Writes from several threads, and kills the process after a while.
void write_and_kill(const std::string &path, const SharedProgress &progress, useconds_t microseconds) {
    const pid_t child = fork();
    if (child == 0) {
        const std::unique_ptr<Writer> writer = open_writer(growing(path, 32 << 20));
        std::vector<std::thread> others;
        for (int thread = 1; thread < writer_count; ++thread)
            others.emplace_back([&, thread] { write_for_ever(*writer, progress, thread); });
        write_for_ever(*writer, progress, 0);
    }
    while (progress->left[0] == 0)
        usleep(50);
    usleep(microseconds);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

void expect_whole(const ReadJournal &read, const SharedProgress &progress) {
    EXPECT_LE(read.damage.torn, static_cast<uint64_t>(writer_count));
    EXPECT_LE(read.damage.skipped_bytes, writer_count * 200U);
    int32_t entered[writer_count] = {};
    int32_t left[writer_count] = {};
    std::map<uint64_t, int32_t> calls;
    for (const ReadRecord &record : read.records)
        if (record.head.kind == RecordKind::enter) {
            const int32_t number = call_number(record);
            const auto thread = static_cast<size_t>(number / 10000000);
            ASSERT_LT(thread, static_cast<size_t>(writer_count));
            ASSERT_EQ(number % 10000000, ++entered[thread]);
            calls[record.place] = number;
        } else if (record.head.kind == RecordKind::leave) {
            const int32_t number = calls.at(record.head.call);
            ASSERT_EQ(record.head.status, number % 10000000);
            ASSERT_EQ(record.head.status, ++left[number / 10000000]);
        }
    for (int thread = 0; thread < writer_count; ++thread) {
        // What had returned is there; what had not been begun is not.
        EXPECT_GE(entered[thread], progress->entered[thread]);
        EXPECT_LE(entered[thread], progress->begun[thread]);
        EXPECT_GE(left[thread], progress->left[thread]);
        EXPECT_LE(left[thread], progress->entered[thread]);
    }
}

}  // namespace

TEST(Kill, NothingIsLostNotEvenTheCallThatWasRunning) {
    const unsigned long rounds = setting("STSPI_KILL_ROUNDS", 25);
    for (const uint32_t seed : seeds_of("Kill.NothingIsLostNotEvenTheCallThatWasRunning", 1)) {
        std::mt19937 random(seed);
        for (unsigned long round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
            SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(seed));
            const TempDirectory directory;
            const SharedProgress progress;
            write_and_kill(directory / "j", progress, static_cast<useconds_t>(random() % 3000));
            expect_whole(read_journal(directory / "j"), progress);
        }
    }
}

TEST(Kill, AJournalOfAKilledProcessIsContinued) {
    const TempDirectory directory;
    const SharedProgress progress;
    write_and_kill(directory / "j", progress, 500);
    record_call(*open_writer(growing(directory / "j")), 99999999, 1);
    const ReadJournal read = read_journal(directory / "j");
    EXPECT_EQ(call_number(read.of_kind(RecordKind::enter).back()), 99999999);
    EXPECT_EQ(read.of_kind(RecordKind::process).size(), 2U);
}
