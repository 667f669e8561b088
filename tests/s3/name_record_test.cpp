#include "stsimage/s3/name_record.h"

#include <gtest/gtest.h>

#include "stsimage/s3/request_signing.h"

using stsimage::s3::least_size_with_image;
using stsimage::s3::NameRecord;
using stsimage::s3::read_record;
using stsimage::s3::sha256_in_hexadecimal;
using stsimage::s3::text_of;

namespace {

const std::string id(32, 'a');
const std::string process(32, 'b');

NameRecord full_record() {
    NameRecord record;
    record.change = 7;
    record.image = {id, 1000, 600, 500, std::string(64, 'c')};
    record.claim = {process, id, 30};
    for (size_t count = 0; count < stsimage::s3::most_marks; ++count)
        record.add_mark(std::string(32, static_cast<char>('0' + count)));
    return record;
}

}  // namespace

TEST(NameRecord, IsReadAsItWasWritten) {
    NameRecord record = full_record();
    NameRecord read;
    ASSERT_TRUE(read_record(text_of(record), read));
    EXPECT_EQ(text_of(read), text_of(record));
    EXPECT_EQ(read.following().change, 8u);
    EXPECT_TRUE(read.refers_to(id));
    record.image.reset();
    record.leaving = true;
    ASSERT_TRUE(read_record(text_of(record), read));
    EXPECT_TRUE(read.leaving);
    EXPECT_FALSE(read.image);
}

TEST(NameRecord, LastMarksAreKeptAndTellWhichChangesAreRemembered) {
    NameRecord record = full_record();
    EXPECT_TRUE(record.has_mark(std::string(32, '0')));
    EXPECT_TRUE(record.remembers(7));
    EXPECT_TRUE(record.remembers(2));
    EXPECT_FALSE(record.remembers(1));
    EXPECT_FALSE(record.remembers(8));
    record = record.following();
    record.add_mark(id);
    NameRecord read;
    ASSERT_TRUE(read_record(text_of(record), read));
    EXPECT_TRUE(read.has_mark(id));
    EXPECT_FALSE(read.has_mark(std::string(32, '0')));
    EXPECT_TRUE(read.has_mark(std::string(32, '1')));
    EXPECT_EQ(read.marks.front(), id);
}

// Lists tell by it which names have images.
TEST(NameRecord, LengthTellsWhetherThereIsAnImage) {
    NameRecord record = full_record();
    record.change = ~uint64_t{0};
    record.leaving = true;
    EXPECT_GE(text_of(record).size(), least_size_with_image);
    record.image.reset();
    EXPECT_LT(text_of(record).size(), least_size_with_image);
    NameRecord small;
    small.image = {id, 0, 0, 0, std::string(64, 'c')};
    EXPECT_GE(text_of(small).size(), least_size_with_image);
}

TEST(NameRecord, AnyOtherTextIsRefused) {
    const std::string text = text_of(full_record());
    NameRecord read;
    for (size_t place = 0; place < text.size(); ++place) {
        std::string changed = text;
        changed[place] = static_cast<char>(changed[place] ^ 1);
        EXPECT_FALSE(read_record(changed, read)) << place;
        EXPECT_FALSE(read_record(text.substr(0, place), read)) << place;
    }
    for (const char *lines : {"", "stsimage name 2\n", "stsimage name 1\nimage x 1 1 1 y\n", "stsimage name 1\nclaim\n",
                              "stsimage name 1\nchange many\n", "stsimage name 1\nother 1\n"}) {
        const std::string body = lines;
        EXPECT_FALSE(read_record(body + "sha256 " + sha256_in_hexadecimal(body) + "\n", read)) << lines;
    }
}
