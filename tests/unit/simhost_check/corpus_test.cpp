// Every file of the corpus, under both grammars: what the checker takes a file to say is what the plug-in lists.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/plugin_listing.h"

namespace {

using testing::IsEmpty;

std::vector<std::filesystem::path> corpus_files() {
    std::vector<std::filesystem::path> files;
    for (const char *directory : {CORPUS "/check", CORPUS "/show"})
        for (const auto &entry : std::filesystem::directory_iterator(directory))
            if (entry.path().extension() == ".sim")
                files.push_back(entry.path());
    return files;
}

std::string bytes_of(const std::filesystem::path &path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

TEST(Corpus, IsThere) { EXPECT_GE(corpus_files().size(), 100U); }

TEST(Corpus, CheckerAgreesWithPlugin) {
    for (const auto &path : corpus_files()) {
        for (const Grammar grammar : {Grammar::array, Grammar::copan}) {
            const CheckedFile file = check_file(path.filename(), bytes_of(path), grammar);
            EXPECT_THAT(disagreements(file), IsEmpty()) << path << " as " << grammar_word(grammar);
            EXPECT_THAT(broken_promises(file), IsEmpty()) << path << " as " << grammar_word(grammar);
        }
    }
}

// The comparison itself must be able to see a difference.
TEST(Corpus, ComparisonSeesDifferences) {
    const std::string text = "ENCLOSURE = a;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 1K;\nSTORAGE_DIR = /a;\n";
    const CheckedFile file = check_file("x", text, Grammar::array);
    ASSERT_THAT(disagreements(file), IsEmpty());
    const auto differs = [&](auto change) {
        CheckedFile changed = file;
        change(changed.outline);
        return !disagreements(changed).empty();
    };
    EXPECT_TRUE(differs([](Outline &outline) { outline.pools[0].name.name = "b"; }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.pools[0].disks.clear(); }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.pools[0].hosts[0].name = "i"; }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.pools[0].disk_size = 1; }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.pools[0].storage_dir = "/b"; }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.mount_behavior = "MOUNT_POINT_USED"; }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.udid_token = "t"; }));
    EXPECT_TRUE(differs([](Outline &outline) { outline.invalid_lines.push_back(1); }));
    const std::string copan_text = "STORAGE_SERVER = a;\nVOLUMES = v;\nSTORAGE_DIR = /a;\n";
    const CheckedFile copan = check_file("x", copan_text, Grammar::copan);
    ASSERT_THAT(disagreements(copan), IsEmpty());
    const auto copan_differs = [&](auto change) {
        CheckedFile changed = copan;
        change(changed.outline);
        return !disagreements(changed).empty();
    };
    EXPECT_TRUE(copan_differs([](Outline &outline) { outline.servers[0].name.name = "b"; }));
    EXPECT_TRUE(copan_differs([](Outline &outline) { outline.servers[0].volumes.clear(); }));
    EXPECT_TRUE(copan_differs([](Outline &outline) { outline.servers[0].storage_dir = "/b"; }));
    EXPECT_TRUE(copan_differs([](Outline &outline) { outline.reading_ends = true; }));
}

}  // namespace
