// Making, continuing and replacing a journal's file.
#include "journal/mapped_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "journal/about.h"
#include "read_journal.h"

using namespace journal;

namespace {

std::string refusal(const WriterOptions &options, int expected_number) {
    std::string error;
    int number = 0;
    EXPECT_EQ(Writer::open(options, {}, error, number), nullptr);
    EXPECT_EQ(number, expected_number);
    return error;
}

}  // namespace

TEST(JournalFile, HeadSaysWhoWritesWithWhat) {
    const TempDirectory directory;
    write_file(directory / "plugin.so", "a plug-in");
    Origin origin;
    origin.writer = "test 1";
    origin.plugin = directory / "plugin.so";
    origin.rules = "seed 42\n";
    origin.seed = 42;
    origin.interface_version = 9;
    open_writer(growing(directory / "j"), origin);
    const ReadJournal read = read_journal(directory / "j");
    const AboutFacts facts = read_about(read.facts.about);
    EXPECT_EQ(facts.writer, "test 1");
    EXPECT_EQ(facts.plugin, directory / "plugin.so");
    EXPECT_EQ(facts.plugin_hash.size(), 32U);
    EXPECT_EQ(facts.rules, "seed 42\n");
    EXPECT_EQ(facts.seed, 42U);
    EXPECT_EQ(facts.interface_version, 9U);
    EXPECT_THAT(facts.program, testing::HasSubstr("journal_unit_tests"));
    ASSERT_EQ(read.records.size(), 1U);
    EXPECT_EQ(read.records[0].head.kind, RecordKind::process);
    EXPECT_EQ(read_about(read.records[0].items).plugin_hash, facts.plugin_hash);
    EXPECT_EQ(read.records[0].head.pid, static_cast<uint32_t>(getpid()));
}

TEST(JournalFile, RulesThatDoNotFitTheHeadAreCut) {
    const TempDirectory directory;
    Origin origin;
    origin.rules = std::string(100000, 'r');
    open_writer(growing(directory / "j"), origin);
    const size_t kept = read_about(read_journal(directory / "j").facts.about).rules.size();
    EXPECT_GT(kept, 60000U);
    EXPECT_LT(kept, 61440U);
}

TEST(JournalFile, IsContinuedByALaterWriter) {
    const TempDirectory directory;
    record_call(*open_writer(growing(directory / "j")), 1);
    record_call(*open_writer(ring(directory / "j", 1 << 16)), 2);
    const ReadJournal read = read_journal(directory / "j");
    EXPECT_EQ(read.facts.mode, Mode::growing);
    const std::vector<ReadRecord> calls = read.of_kind(RecordKind::enter);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(call_number(calls[0]), 1);
    EXPECT_EQ(call_number(calls[1]), 2);
}

TEST(JournalFile, AFreshOneTakesTheNameAndLeavesTheOldWriterItsOwn) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> old = open_writer(growing(directory / "j"));
    WriterOptions options = growing(directory / "j");
    options.fresh = true;
    const std::unique_ptr<Writer> fresh = open_writer(options);
    record_call(*old, 1);
    record_call(*fresh, 2);
    const std::vector<ReadRecord> calls = read_journal(directory / "j").of_kind(RecordKind::enter);
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(call_number(calls[0]), 2);
}

TEST(JournalFile, AnEmptyFileIsFilled) {
    const TempDirectory directory;
    write_file(directory / "j", "");
    record_call(*open_writer(growing(directory / "j")), 1);
    EXPECT_EQ(read_journal(directory / "j").of_kind(RecordKind::leave).size(), 1U);
}

TEST(JournalFile, OneThatWasNeverFinishedIsMadeAnew) {
    const TempDirectory directory;
    write_file(directory / "j", std::string(100000, '\0'));
    record_call(*open_writer(growing(directory / "j")), 1);
    EXPECT_EQ(read_journal(directory / "j").of_kind(RecordKind::leave).size(), 1U);
}

TEST(JournalFile, SomethingElseIsRefusedAndStaysAsItIs) {
    const TempDirectory directory;
    const std::string text(100000, 't');
    write_file(directory / "j", text);
    EXPECT_EQ(refusal(growing(directory / "j"), EINVAL), directory / "j: not a journal");
    EXPECT_EQ(file_bytes(directory / "j"), text);
}

TEST(JournalFile, OneOfAnotherVersionIsRefused) {
    const TempDirectory directory;
    open_writer(growing(directory / "j"));
    std::string bytes = file_bytes(directory / "j");
    bytes[8] = 2;
    write_file(directory / "j", bytes);
    EXPECT_EQ(refusal(growing(directory / "j"), EINVAL), directory / "j: a journal of another version");
}

TEST(JournalFile, OneOfTheOtherByteOrderIsRefusedAndStaysAsItIs) {
    const TempDirectory directory;
    open_writer(growing(directory / "j"));
    std::string bytes = file_bytes(directory / "j");
    std::reverse(bytes.begin() + 8, bytes.begin() + 12);
    write_file(directory / "j", bytes);
    EXPECT_EQ(refusal(growing(directory / "j"), EINVAL),
              directory / "j: a journal of a machine of the other byte order");
    EXPECT_EQ(file_bytes(directory / "j"), bytes);
}

TEST(JournalFile, OneThatIsShorterThanItsHeadSaysIsRefused) {
    const TempDirectory directory;
    open_writer(ring(directory / "j", 1 << 20));
    truncate((directory / "j").c_str(), 70000);
    EXPECT_EQ(refusal(ring(directory / "j", 1 << 20), EINVAL), directory / "j: a damaged journal");
}

TEST(JournalFile, PathsThatCannotBeOpenedAreNamed) {
    const TempDirectory directory;
    EXPECT_EQ(refusal(growing(directory / "no/j"), ENOENT),
              directory / "no/j: cannot open it: No such file or directory");
    EXPECT_EQ(refusal(growing("/dev/null"), EINVAL), "/dev/null: not a regular file");
    EXPECT_EQ(refusal(growing(directory.path()), EISDIR), directory.path() + ": cannot open it: Is a directory");
}

TEST(JournalFile, RecordsAndTimesAreInOrder) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    for (int32_t i = 1; i <= 100; ++i)
        record_call(*writer, i, -i);
    const ReadJournal read = read_journal(directory / "j");
    ASSERT_EQ(read.records.size(), 201U);
    uint64_t last = 0;
    for (size_t i = 1; i < read.records.size(); i += 2) {
        const ReadRecord &entering = read.records[i];
        const ReadRecord &leaving = read.records[i + 1];
        EXPECT_EQ(entering.head.call, entering.place);
        EXPECT_EQ(leaving.head.call, entering.place);
        EXPECT_EQ(leaving.head.status, -call_number(entering));
        EXPECT_LE(last, entering.head.monotonic_ns);
        EXPECT_LE(entering.head.monotonic_ns, leaving.head.monotonic_ns);
        last = leaving.head.monotonic_ns;
    }
    EXPECT_FALSE(read.damage.any());
    EXPECT_TRUE(read.running.empty());
}

TEST(JournalFile, MessagesOutputAndFaultsStandInsideTheirCall) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    const uint64_t words[] = {word_of("Kelvarpool:a")};
    const EntryPointNumber claim = first_table_entry(STS_SLOT_CLAIM);
    const CallNumber call = writer->enter(claim, words);
    writer->log(call, 3, "++++ Entering\n");
    writer->output(call, std::string_view("Invalid\0line", 12));
    writer->fault(call, claim, 7, "answer STS_E_SYSTEM");
    writer->leave(call, claim, words, STS_E_SYSTEM);
    writer->rules("seed 1\n");
    const ReadJournal read = read_journal(directory / "j");
    ASSERT_EQ(read.records.size(), 7U);
    for (const size_t inner : {2U, 3U, 4U}) {
        EXPECT_EQ(read.records[inner].call, 1U);
        EXPECT_TRUE(read.records[inner].entered);
    }
    EXPECT_EQ(read.records[2].head.status, 3);
    EXPECT_EQ(item_of(read.records[2], 0).bytes, "++++ Entering\n");
    EXPECT_EQ(item_of(read.records[3], 0).bytes, std::string_view("Invalid\0line", 12));
    EXPECT_EQ(read.records[4].head.status, 7);
    EXPECT_EQ(item_of(read.records[4], 0).bytes, "answer STS_E_SYSTEM");
    EXPECT_EQ(read.records[6].call, 0U);
    EXPECT_EQ(item_of(read.records[6], 0).bytes, "seed 1\n");
}

TEST(JournalFile, OutputLongerThanARecordIsKeptInPieces) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j"));
    std::string text;
    for (int i = 0; text.size() < 3000000; ++i)
        text += std::to_string(i) + "\n";
    writer->output(0, text);
    std::string read;
    for (const ReadRecord &record : read_journal(directory / "j").of_kind(RecordKind::output))
        read += item_of(record, 0).bytes;
    EXPECT_EQ(read, text);
}

TEST(JournalFile, ErrnoIsLeftAlone) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j", 1 << 20));
    for (int i = 0; i < 20000; ++i) {
        errno = 1234;
        record_call(*writer, i);
        ASSERT_EQ(errno, 1234);
    }
    EXPECT_GT(writer->lost(), 0U);
}
