// Threads, processes and forks that write one journal at once.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <thread>

#include "read_journal.h"

using namespace journal;

namespace {

constexpr int calls_each = 2000;

void write_calls(Writer &writer, int32_t writer_number) {
    for (int32_t i = 0; i < calls_each; ++i)
        record_call(writer, writer_number * 100000 + i, i);
}

// Each writer's calls are there, whole and in their order.
void expect_all_calls(const ReadJournal &read, size_t writers) {
    EXPECT_FALSE(read.damage.any());
    EXPECT_EQ(read.facts.lost, 0U);
    EXPECT_TRUE(read.running.empty());
    std::map<int32_t, int32_t> next;
    std::map<uint64_t, int32_t> entered;
    for (const ReadRecord &record : read.records)
        if (record.head.kind == RecordKind::enter) {
            const int32_t number = call_number(record);
            ASSERT_EQ(next[number / 100000]++, number % 100000);
            entered[record.place] = number % 100000;
        } else if (record.head.kind == RecordKind::leave) {
            ASSERT_EQ(entered.at(record.head.call), record.head.status);
        }
    EXPECT_EQ(next.size(), writers);
    for (const auto &[writer, count] : next)
        EXPECT_EQ(count, calls_each) << writer;
}

void wait_for_children() {
    int status = 0;
    while (wait(&status) > 0)
        EXPECT_EQ(status, 0);
}

}  // namespace

TEST(ConcurrentWriters, ThreadsShareAJournal) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    std::vector<std::thread> threads;
    for (int32_t number = 0; number < 8; ++number)
        threads.emplace_back([&writer, number] { write_calls(*writer, number); });
    for (std::thread &thread : threads)
        thread.join();
    const ReadJournal read = read_journal(directory / "j");
    expect_all_calls(read, 8);
    EXPECT_EQ(read.of_kind(RecordKind::process).size(), 1U);
}

TEST(ConcurrentWriters, ForkedProcessesShareAJournal) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    for (int32_t number = 0; number < 4; ++number)
        if (fork() == 0) {
            write_calls(*writer, number);
            _exit(0);
        }
    write_calls(*writer, 4);
    wait_for_children();
    const ReadJournal read = read_journal(directory / "j");
    expect_all_calls(read, 5);
    EXPECT_EQ(read.of_kind(RecordKind::process).size(), 5U);
    std::map<unsigned, int32_t> writer_of_process;
    for (const ReadRecord &record : read.of_kind(RecordKind::enter)) {
        const int32_t number = call_number(record) / 100000;
        EXPECT_EQ(writer_of_process.emplace(record.process, number).first->second, number);
        EXPECT_EQ(record.head.pid, record.head.tid);  // each has its first thread only
    }
}

TEST(ConcurrentWriters, ProcessesThatOpenTheSameFileShareAJournal) {
    const TempDirectory directory;
    for (int32_t number = 0; number < 4; ++number)
        if (fork() == 0) {
            write_calls(*open_writer(growing(directory / "j")), number);
            _exit(0);
        }
    wait_for_children();
    const ReadJournal read = read_journal(directory / "j");
    expect_all_calls(read, 4);
    EXPECT_EQ(read.of_kind(RecordKind::process).size(), 4U);
}

TEST(ConcurrentWriters, AForkAmongThreadsHarmsNeitherSide) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    std::thread other([&writer] { write_calls(*writer, 0); });
    for (int32_t number = 1; number <= 5; ++number)
        if (fork() == 0) {
            write_calls(*writer, number);
            _exit(0);
        }
    other.join();
    wait_for_children();
    expect_all_calls(read_journal(directory / "j"), 6);
}

TEST(ConcurrentWriters, ThreadsDriveARingRound) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(ring(directory / "j", 1 << 18));
    std::vector<std::thread> threads;
    for (int32_t number = 0; number < 4; ++number)
        threads.emplace_back([&writer, number] { write_calls(*writer, number); });
    for (std::thread &thread : threads)
        thread.join();
    const ReadJournal read = read_journal(directory / "j");
    EXPECT_TRUE(read.damage.overwritten);
    // A thread that is stopped in the middle of a record for a whole round spoils one; nothing else may.
    EXPECT_LE(read.damage.torn, 4U);
    std::map<int32_t, int32_t> last;
    for (const ReadRecord &record : read.of_kind(RecordKind::enter)) {
        const int32_t number = call_number(record);
        EXPECT_GT(number % 100000 + 1, last[number / 100000]);
        last[number / 100000] = number % 100000 + 1;
    }
    EXPECT_FALSE(last.empty());
}

TEST(ConcurrentWriters, AReaderSeesWholeRecordsOfAJournalThatIsBeingWritten) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    std::thread other([&writer] { write_calls(*writer, 0); });
    for (int i = 0; i < 20; ++i) {
        const ReadJournal read = read_journal(directory / "j");
        int32_t next = 0;
        for (const ReadRecord &record : read.of_kind(RecordKind::enter))
            EXPECT_EQ(call_number(record), next++);
        EXPECT_LE(read.damage.torn, 1U);  // the one that is just being written
    }
    other.join();
}
