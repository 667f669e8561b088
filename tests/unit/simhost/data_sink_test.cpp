#include "simhost/host/data_sink.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "simhost/report/failure.h"
#include "tests/support/temp_directory.h"

namespace fs = std::filesystem;

class DataSinkTest : public testing::Test {
protected:
    std::string content() {
        std::ostringstream bytes;
        bytes << std::ifstream(path).rdbuf();
        return bytes.str();
    }
    size_t files() {
        return static_cast<size_t>(std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()));
    }

    TempDirectory directory;
    std::string path = directory.path() + "/file";
};

TEST_F(DataSinkTest, AppearsWhenFinished) {
    DataSink sink(path, false, stdout);
    sink.write("abc", 3);
    EXPECT_FALSE(fs::exists(path));
    sink.finish();
    EXPECT_EQ(content(), "abc");
    EXPECT_EQ(files(), 1U);
}

TEST_F(DataSinkTest, LeavesNothingWhenNotFinished) {
    {
        DataSink sink(path, false, stdout);
        sink.write("abc", 3);
    }
    EXPECT_EQ(files(), 0U);
}

TEST_F(DataSinkTest, ReplacesOnlyWhenToldAndOnlyAtTheEnd) {
    std::ofstream(path) << "old";
    EXPECT_THROW(DataSink(path, false, stdout), UsageError);
    {
        DataSink sink(path, true, stdout);
        sink.write("new", 3);
    }
    EXPECT_EQ(content(), "old");
    DataSink sink(path, true, stdout);
    sink.write("new", 3);
    sink.finish();
    EXPECT_EQ(content(), "new");
}

TEST_F(DataSinkTest, TellsAPlaceThatCannotBe) {
    EXPECT_THROW(DataSink(directory.path() + "/no/file", false, stdout), UsageError);
    EXPECT_THROW(DataSink(directory.path(), true, stdout), UsageError);
}

TEST_F(DataSinkTest, TellsAFullDevice) {
    DataSink sink("/dev/full", false, stdout);
    EXPECT_THROW(sink.write("x", 1), BadAnswer);
}
