#include "journal/side_files.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "read_journal.h"

using namespace journal;

namespace {

std::vector<std::string> entries(const std::string &directory) {
    std::vector<std::string> names;
    DIR *opened = opendir(directory.c_str());
    for (const dirent *entry = opened != nullptr ? readdir(opened) : nullptr; entry != nullptr; entry = readdir(opened))
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    if (opened != nullptr)
        closedir(opened);
    return names;
}

}  // namespace

TEST(SideFiles, AreNamedByTheHashOfWhatTheyHold) {
    const TempDirectory directory;
    const std::string content = "what was written";
    const DataItem data = hash_data(content.data(), content.size());
    ASSERT_TRUE(save_data(directory / "d", data, content.data()));
    EXPECT_THAT(entries(directory / "d"), testing::ElementsAre(hash_name(data)));
    EXPECT_EQ(file_bytes(directory / ("d/" + hash_name(data))), content);
}

TEST(SideFiles, TheSameContentIsKeptOnce) {
    const TempDirectory directory;
    const DataItem data = hash_data("same", 4);
    EXPECT_TRUE(save_data(directory / "d", data, "same"));
    EXPECT_TRUE(save_data(directory / "d", data, "same"));
    EXPECT_EQ(entries(directory / "d").size(), 1U);
}

TEST(SideFiles, HashIsTheCanonicalXxh128) {
    // Of nothing: known from the algorithm's own description.
    EXPECT_EQ(hash_name(hash_data("", 0)), "99aa06d3014798d86001c324468d497f");
}

TEST(SideFiles, ADirectoryThatCannotBeMadeKeepsNothingAndLeavesErrnoAlone) {
    const DataItem data = hash_data("x", 1);
    errno = 1234;
    EXPECT_FALSE(save_data("/proc/no/such/place", data, "x"));
    EXPECT_EQ(errno, 1234);
}

TEST(SideFiles, TheLimitOfFileSizesDoesNotEndTheProcess) {
    const TempDirectory directory;
    const std::string content(10000, 'x');
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit = {5000, 5000};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(save_data(directory / "d", hash_data(content.data(), content.size()), content.data()) ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(entries(directory / "d"), testing::IsEmpty());
}

TEST(SideFiles, AJournalOfBytesSaysWhichAreSaved) {
    const TempDirectory directory;
    WriterOptions options = growing(directory / "j");
    options.data = DataMode::bytes;
    const std::unique_ptr<Writer> writer = open_writer(options);
    const uint64_t words[] = {1, 0, word_of("payload"), 7, 0, 0};
    writer->enter(first_table_entry(STS_SLOT_WRITE_IMAGE), words);
    const ReadRecord record = read_journal(directory / "j").of_kind(RecordKind::enter).at(0);
    const ItemView item = item_of(record, 2);
    EXPECT_TRUE(item.has(ITEM_SAVED));
    EXPECT_EQ(file_bytes(directory / ("j.data/" + hash_name(item.data()))), "payload");
}
