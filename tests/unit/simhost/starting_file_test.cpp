#include "simhost/commands/starting_file.h"

#include <gtest/gtest.h>

#include "simhost/report/failure.h"

namespace {

StartingPoint array() {
    StartingPoint start;
    start.kind = ServerKind::disk_array;
    start.prefix = "Kelvarpool";
    start.hosts = {"h1", "h2"};
    start.storage_dir = "/data";
    return start;
}

StartingPoint copan() {
    StartingPoint start;
    start.kind = ServerKind::copan;
    start.prefix = "lab";
    start.array = "arr1";
    start.storage_dir = "/data";
    return start;
}

}  // namespace

TEST(StartingFile, OfADiskArrayHasPoolsForTheHosts) {
    const std::string text = starting_file(array());
    EXPECT_NE(text.find("\tHOSTS = h1,h2;\n"), std::string::npos);
    EXPECT_NE(text.find("\tSTORAGE_DIR = /data/Kelvarpool-pool1;\n"), std::string::npos);
    EXPECT_EQ(text.find('{'), std::string::npos);
}

TEST(StartingFile, OfACopanArrayHasNoLineThatEndsTheReading) {
    const std::string text = starting_file(copan());
    EXPECT_EQ(text, "STORAGE_SERVER = arr1;\n\tVOLUMES = vol1,vol2,vol3;\n\tSTORAGE_DIR = /data/lab-arr1;\n");
}

TEST(StartingFile, RefusesNamesThatTheReaderWouldCut) {
    EXPECT_NO_THROW(demand_usable(array()));
    EXPECT_NO_THROW(demand_usable(copan()));
    for (const char *name : {"", "a b", "a;b", "a,b", "a/b", "a:b"}) {
        StartingPoint start = array();
        start.hosts = {name};
        EXPECT_THROW(demand_usable(start), UsageError) << name;
        start = copan();
        start.array = name;
        EXPECT_THROW(demand_usable(start), UsageError) << name;
    }
    StartingPoint start = copan();
    start.array = std::string(31, 'x');
    EXPECT_NO_THROW(demand_usable(start));
    start.array += 'x';
    EXPECT_THROW(demand_usable(start), UsageError);
}

TEST(StartingFile, RefusesDirectoriesThatTheReaderWouldChange) {
    for (const char *path : {"", "relative", "/a b", "/a\tb", "/a;b"}) {
        StartingPoint start = array();
        start.storage_dir = path;
        EXPECT_THROW(demand_usable(start), UsageError) << path;
    }
}

TEST(StartingFile, RefusesPrefixesThatFitNoFileName) {
    StartingPoint start = copan();
    start.prefix = std::string(250, 'x');
    EXPECT_NO_THROW(demand_usable(start));
    start.array = "arr12";  // PREFIX-arr12, the storage directory
    EXPECT_THROW(demand_usable(start), UsageError);
    start.array = "a";
    start.prefix = std::string(252, 'x');  // PREFIX.sim
    EXPECT_THROW(demand_usable(start), UsageError);
}
