// Rings, torn records, holes, and files that are not what they should be.
#include "journal/reader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "read_journal.h"
#include "tests/support/seeds.h"

using namespace journal;

namespace {

// The bytes of a journal with so many calls.
std::string journal_of(int calls) {
    const TempDirectory directory;
    {
        const std::unique_ptr<Writer> writer = open_writer(growing(directory / "j", 1 << 20));
        for (int i = 1; i <= calls; ++i)
            record_call(*writer, i);
    }
    return file_bytes(directory / "j");
}

template <typename Value>
void put(std::string &bytes, size_t offset, Value value) {
    bytes.replace(offset, sizeof value, reinterpret_cast<const char *>(&value), sizeof value);
}

std::vector<int32_t> numbers(const ReadJournal &read) {
    std::vector<int32_t> found;
    for (const ReadRecord &record : read.of_kind(RecordKind::enter))
        found.push_back(call_number(record));
    return found;
}

void expect_refused(const std::string &bytes, const std::string &why) {
    try {
        read_bytes(bytes);
        ADD_FAILURE() << "not refused";
    } catch (const ReadError &error) {
        EXPECT_EQ(error.what(), why);
    }
}

}  // namespace

TEST(Reader, AnEmptyJournalHasItsProcessOnly) {
    const ReadJournal read = read_bytes(journal_of(0));
    EXPECT_EQ(read.records.size(), 1U);
    EXPECT_FALSE(read.damage.any());
}

TEST(Reader, OtherFilesAreRefused) {
    expect_refused("", "bytes: not a journal");
    expect_refused("STSPIJNL", "bytes: not a journal");
    expect_refused(std::string(100000, 'x'), "bytes: not a journal");
    std::string bytes = journal_of(1);
    put(bytes, offsetof(FileHeader, version), uint32_t{7});
    expect_refused(bytes, "bytes: a journal of version 7, this program reads 1");
    for (const uint64_t capacity : {uint64_t{0}, uint64_t{8}, (uint64_t{1} << 20) + 1, ~uint64_t{0}}) {
        bytes = journal_of(1);
        put(bytes, offsetof(FileHeader, capacity), capacity);
        expect_refused(bytes, "bytes: the head of the journal is damaged");
    }
    bytes = journal_of(1);
    put(bytes, offsetof(FileHeader, cursor), ~uint64_t{0});
    expect_refused(bytes, "bytes: the head of the journal is damaged");
    bytes = journal_of(1);
    put(bytes, offsetof(FileHeader, mode), uint32_t{2});
    expect_refused(bytes, "bytes: the head of the journal is damaged");
    EXPECT_THROW(Reader("/no/such/journal"), ReadError);
    EXPECT_THROW(Reader("/dev/null"), ReadError);
    EXPECT_THROW(Reader("/"), ReadError);
}

TEST(Reader, AJournalOfTheOtherByteOrderIsRefused) {
    std::string bytes = journal_of(1);
    const auto version = bytes.begin() + offsetof(FileHeader, version);
    std::reverse(version, version + sizeof(FileHeader::version));
    expect_refused(bytes, "bytes: a journal of a machine of the other byte order");
}

TEST(Reader, AChangedByteCostsOneRecord) {
    std::string bytes = journal_of(10);
    const std::vector<ReadRecord> calls = read_bytes(bytes).of_kind(RecordKind::enter);
    // Behind the mark and the length, which have a test of their own.
    for (size_t offset = 8; offset < calls[4].head.length; ++offset) {
        std::string changed = bytes;
        changed[HEADER_SIZE + calls[4].place + offset] ^= 0x20;
        const ReadJournal read = read_bytes(changed);
        EXPECT_THAT(numbers(read), testing::ElementsAre(1, 2, 3, 4, 6, 7, 8, 9, 10)) << offset;
        EXPECT_EQ(read.damage.torn, 1U);
        EXPECT_EQ(read.damage.skipped_bytes, 0U);
        EXPECT_EQ(read.damage.first_place, calls[4].place);
        // Its leaving record is there.
        EXPECT_EQ(read.of_kind(RecordKind::leave).size(), 10U);
    }
}

TEST(Reader, AHoleOfUnknownLengthIsSearchedForTheNextRecord) {
    std::string bytes = journal_of(10);
    const ReadRecord hit = read_bytes(bytes).of_kind(RecordKind::enter)[4];
    bytes.replace(HEADER_SIZE + hit.place, hit.head.length, hit.head.length, '\0');
    const ReadJournal read = read_bytes(bytes);
    EXPECT_THAT(numbers(read), testing::ElementsAre(1, 2, 3, 4, 6, 7, 8, 9, 10));
    EXPECT_EQ(read.damage.torn, 0U);
    EXPECT_EQ(read.damage.skipped_bytes, hit.head.length);
    EXPECT_EQ(read.damage.first_place, hit.place);
}

TEST(Reader, ADamagedLengthDoesNotLeadAstray) {
    const std::string bytes = journal_of(10);
    const ReadRecord hit = read_bytes(bytes).of_kind(RecordKind::enter)[4];
    for (const uint32_t length : {0U, 1U, 4U, 8U, 16U, 24U, 55U, 57U, 0x7fffffffU, 0xffffffffU}) {
        std::string changed = bytes;
        put(changed, HEADER_SIZE + hit.place + 4, length);
        const std::vector<int32_t> found = numbers(read_bytes(changed));
        EXPECT_THAT(found, testing::IsSupersetOf({1, 2, 3, 4, 6, 7, 8, 9, 10})) << length;
        EXPECT_EQ(found.size(), 9U);
    }
}

TEST(Reader, AFileThatWasCutOffIsReadUpToThere) {
    const std::string bytes = journal_of(100);
    const ReadJournal whole = read_bytes(bytes);
    for (size_t size = HEADER_SIZE; size < HEADER_SIZE + 3000; size += 7) {
        const ReadJournal read = read_bytes(bytes.substr(0, size));
        size_t expected = 0;
        while (whole.records[expected].place + whole.records[expected].head.length <= size - HEADER_SIZE)
            ++expected;
        EXPECT_EQ(read.records.size(), expected) << size;
        EXPECT_TRUE(read.damage.truncated);
    }
    EXPECT_EQ(read_bytes(bytes.substr(0, 5000)).records.size(), 0U);
}

TEST(Reader, ACursorBeyondTheRecordsReadsThemAll) {
    std::string bytes = journal_of(10);
    put(bytes, offsetof(FileHeader, cursor), uint64_t{1} << 40);
    const ReadJournal read = read_bytes(bytes);
    EXPECT_EQ(read.records.size(), 21U);
    EXPECT_GT(read.damage.skipped_bytes, 0U);
}

TEST(Reader, RecordsOfAnotherJournalAreNotTakenForThisOnes) {
    std::string bytes = journal_of(10);
    bytes.replace(HEADER_SIZE, 3000, journal_of(10), HEADER_SIZE, 3000);
    EXPECT_EQ(read_bytes(bytes).records.size(), 0U);
}

TEST(Reader, ARingKeepsWhatCameLast) {
    for (const uint32_t seed : seeds_of("Reader.ARingKeepsWhatCameLast", 7)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const TempDirectory directory;
        const std::unique_ptr<Writer> writer = open_writer(ring(directory / "j", 1 << 16));
        std::mt19937 random(seed);
        for (int32_t calls = 0; calls < 5000; ++calls) {
            record_call(*writer, calls);
            // Texts of all lengths let the ring's end fall on every place in a record.
            const std::string text(random() % 2000, 't');
            const uint64_t words[] = {word_of(text.c_str())};
            if (calls % 7 == 0)
                writer->enter(first_table_entry(STS_SLOT_CLAIM), words);
            if (calls % 50 != 0)
                continue;
            const ReadJournal read = read_journal(directory / "j");
            ASSERT_FALSE(read.damage.any()) << calls << ": " << read.damage.torn << " " << read.damage.skipped_bytes;
            std::vector<int32_t> found;
            for (const ReadRecord &record : read.of_kind(RecordKind::enter))
                if (record.head.entry_point == STS_SLOT_IOCTL)
                    found.push_back(call_number(record));
            ASSERT_FALSE(found.empty());
            for (size_t i = 0; i < found.size(); ++i)
                ASSERT_EQ(found[i], calls - static_cast<int32_t>(found.size() - 1 - i));
            ASSERT_EQ(read.damage.overwritten, found.front() != 0);
        }
    }
}

TEST(Reader, ARecordLongerThanAQuarterOfTheRingIsCut) {
    const TempDirectory directory;
    const std::unique_ptr<Writer> writer = open_writer(ring(directory / "j", 1 << 16));
    const std::string text(16384, 't');
    const uint64_t words[] = {word_of(text.c_str())};
    writer->enter(first_table_entry(STS_SLOT_CLAIM), words);
    const ReadRecord record = read_journal(directory / "j").of_kind(RecordKind::enter).at(0);
    EXPECT_NE(record.head.flags & RECORD_CUT, 0);
    EXPECT_EQ(record.items, "");
}

TEST(Reader, HostileLengthsDoNotTakeTimeForEachByte) {
    // Every word is a valid mark with the longest length that fits.
    std::string bytes = journal_of(1);
    const uint64_t nonce = 12345;
    put(bytes, offsetof(FileHeader, nonce), nonce);
    put(bytes, offsetof(FileHeader, cursor), uint64_t{1} << 20);
    bytes.resize(HEADER_SIZE + (1 << 20));
    for (uint64_t place = 0; place < 1 << 20; place += 8) {
        put(bytes, HEADER_SIZE + place, mark_of(place, nonce));
        put(bytes, HEADER_SIZE + place + 4, uint32_t{1 << 16});
    }
    const ReadJournal read = read_bytes(bytes);
    EXPECT_EQ(read.records.size(), 0U);
    EXPECT_EQ(read.damage.torn, 16U);
}
