// Calls, threads, processes and names of handles.
#include "journal/events.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "read_journal.h"

using namespace journal;

namespace {

constexpr uint64_t server_a = 0xaaaa0;
constexpr uint64_t server_b = 0xbbbb0;

void open_server(Writer &writer, uint64_t stored, int32_t status = 0, uint64_t before = 0) {
    uint64_t handle = before;
    const uint64_t words[] = {0, word_of("Kelvarpool:a"), 0, 0, word_of(&handle)};
    const CallNumber call = writer.enter(first_table_entry(STS_SLOT_OPEN_SERVER), words);
    handle = stored;
    writer.leave(call, first_table_entry(STS_SLOT_OPEN_SERVER), words, status);
}

void close_server(Writer &writer, uint64_t handle) {
    const uint64_t words[] = {handle};
    const CallNumber call = writer.enter(first_table_entry(STS_SLOT_CLOSE_SERVER), words);
    writer.leave(call, first_table_entry(STS_SLOT_CLOSE_SERVER), words, 0);
}

// The names of the handles that were closed, in their order.
std::vector<std::string> closed(const std::string &path) {
    Reader reader(path);
    Events events(reader);
    std::vector<std::string> names;
    for (Event event; events.next(event);)
        if (event.kind() == RecordKind::enter && event.record.head.entry_point == STS_SLOT_CLOSE_SERVER) {
            ItemCursor items(event.record.items);
            ItemView item;
            if (items.next(item))
                names.push_back(to_string(events.name(event, HandleKind::server, item.word())));
        }
    return names;
}

}  // namespace

TEST(Events, HandlesAreNamedByTheirBirth) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    open_server(*writer, server_a);
    open_server(*writer, server_b);
    close_server(*writer, server_b);
    close_server(*writer, server_a);
    close_server(*writer, server_a);  // closed already: still known by its name
    open_server(*writer, server_a);   // the same value again
    close_server(*writer, server_a);
    EXPECT_THAT(closed(directory / "j"), testing::ElementsAre("server#2", "server#1", "server#1", "server#3"));
}

TEST(Events, HandlesThatWereNeverStoredAreForeign) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    close_server(*writer, 0x123);
    close_server(*writer, 0x456);
    close_server(*writer, 0x123);
    EXPECT_THAT(closed(directory / "j"), testing::ElementsAre("server#?1", "server#?2", "server#?1"));
}

TEST(Events, AFailedCallMayStoreAHandleOrNot) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    open_server(*writer, server_a, STS_E_INTERNAL);            // stored
    open_server(*writer, server_b, STS_E_INTERNAL, server_b);  // the caller's variable as it was
    open_server(*writer, 0, STS_E_INTERNAL);
    close_server(*writer, server_a);
    close_server(*writer, server_b);
    EXPECT_THAT(closed(directory / "j"), testing::ElementsAre("server#1", "server#?1"));
}

TEST(Events, AChildBeginsWithItsParentsHandles) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    open_server(*writer, server_a);
    const pid_t child = fork();
    if (child == 0) {
        close_server(*writer, server_a);
        open_server(*writer, server_b);
        close_server(*writer, server_b);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    open_server(*writer, server_b);
    close_server(*writer, server_b);
    EXPECT_THAT(closed(directory / "j"), testing::ElementsAre("server#1", "server#2", "server#2"));
    const ReadJournal read = read_journal(directory / "j");
    const std::vector<ReadRecord> processes = read.of_kind(RecordKind::process);
    ASSERT_EQ(processes.size(), 2U);
    EXPECT_EQ(processes[1].head.pid, static_cast<uint32_t>(child));
    EXPECT_EQ(processes[1].head.status, getpid());
    EXPECT_NE(processes[1].head.flags & RECORD_FORKED, 0);
    EXPECT_EQ(read.records.back().process, 1U);
    EXPECT_EQ(processes[1].process, 2U);
}

TEST(Events, EachThreadCountsItsCalls) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    record_call(*writer, 1);
    std::thread([&writer] { record_call(*writer, 2); }).join();
    record_call(*writer, 3);
    const std::vector<ReadRecord> calls = read_journal(directory / "j").of_kind(RecordKind::enter);
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_THAT((std::vector<unsigned>{calls[0].thread, calls[1].thread, calls[2].thread}),
                testing::ElementsAre(1U, 2U, 1U));
    EXPECT_THAT((std::vector<uint64_t>{calls[0].call, calls[1].call, calls[2].call}), testing::ElementsAre(1U, 1U, 2U));
}

TEST(Events, ACallThatWasNotLeftIsRunning) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    record_call(*writer, 1);
    const uint64_t words[] = {word_of("hangs")};
    writer->enter(first_table_entry(STS_SLOT_CLAIM), words);
    const ReadJournal read = read_journal(directory / "j");
    ASSERT_EQ(read.running.size(), 1U);
    EXPECT_EQ(read.running[0].entry_point, STS_SLOT_CLAIM);
    EXPECT_EQ(read.running[0].call, 2U);
}

TEST(Events, CallsInsideCallsAreToldApart) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    const uint64_t words[] = {0, 1};
    const EntryPointNumber ioctl = first_table_entry(STS_SLOT_IOCTL);
    const CallNumber outer = writer->enter(ioctl, words);
    const CallNumber inner = writer->enter(ioctl, words);
    writer->leave(inner, ioctl, words, 22);
    writer->leave(outer, ioctl, words, 11);
    const std::vector<ReadRecord> left = read_journal(directory / "j").of_kind(RecordKind::leave);
    EXPECT_EQ(left.at(0).call, 2U);
    EXPECT_EQ(left.at(1).call, 1U);
}

TEST(Events, ALeavingRecordWhoseEnteringRecordIsGoneStandsAlone) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    writer->leave(0, first_table_entry(STS_SLOT_IOCTL), nullptr, 5);
    const ReadRecord record = read_journal(directory / "j").of_kind(RecordKind::leave).at(0);
    EXPECT_FALSE(record.entered);
    EXPECT_EQ(record.call, 1U);
}
