#include "simhost/host/data_source.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "simhost/report/failure.h"
#include "tests/support/temp_directory.h"

namespace {

class DataSourceTest : public testing::Test {
protected:
    std::string file(const std::string &content) {
        const std::string path = directory.path() + "/data";
        std::ofstream(path) << content;
        return path;
    }

    TempDirectory directory;
    char buffer[16] = {};
};

}  // namespace

TEST_F(DataSourceTest, ReadsAFileToItsEnd) {
    DataSource source(file("0123456789"));
    EXPECT_EQ(source.size(), 10U);
    EXPECT_EQ(source.read(buffer, 6), 6U);
    EXPECT_EQ(source.read(buffer, 6), 4U);
    EXPECT_EQ(std::string(buffer, 4), "6789");
    EXPECT_EQ(source.read(buffer, 6), 0U);
}

TEST_F(DataSourceTest, ReadsAFileAgain) {
    DataSource source(file("0123456789"));
    EXPECT_TRUE(source.is_rereadable());
    EXPECT_EQ(source.read_at(buffer, 4, 8), 2U);
    EXPECT_EQ(std::string(buffer, 2), "89");
}

TEST_F(DataSourceTest, FillsTheBufferFromAPipeThatGivesLittle) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int saved = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    {
        DataSource source("-");
        EXPECT_FALSE(source.size());
        EXPECT_FALSE(source.is_rereadable());
        ASSERT_EQ(write(ends[1], "abc", 3), 3);
        ASSERT_EQ(write(ends[1], "def", 3), 3);
        close(ends[1]);
        EXPECT_EQ(source.read(buffer, 16), 6U);
        EXPECT_EQ(source.read(buffer, 16), 0U);
    }
    dup2(saved, STDIN_FILENO);
    close(saved);
    close(ends[0]);
}

TEST_F(DataSourceTest, RefusesWhatCannotBeRead) {
    EXPECT_THROW(DataSource(directory.path() + "/none"), UsageError);
    EXPECT_THROW(DataSource{directory.path()}, UsageError);
}
