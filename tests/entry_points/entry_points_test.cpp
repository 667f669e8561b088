// docs/entry-points.md, row by row, through the built library.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/entry_points/cases.h"
#include "tests/entry_points/documented_table.h"

namespace {

const std::string document = SOURCE_DIRECTORY "/docs/entry-points.md";

const std::map<std::string, int32_t> status_numbers = {
#define NUMBER(name, number, meaning) {#name, number},
    STS_STATUS_LIST(NUMBER)
#undef NUMBER
};

int32_t number_of(const std::string &status) {
    if (status == "library")
        return library_status;
    const auto found = status_numbers.find(status);
    return found != status_numbers.end() ? found->second : std::stoi(status);
}

// The entry point in a slot like "1.4".
void *slot_address(const std::string &slot) {
    const size_t index = std::stoul(slot.substr(2));
    auto *const table = static_cast<sts_entry_point_t *>(
        plugin_symbol(slot[0] == '1' ? "STSSanDiskEntryPoints" : "STSSANDiskEntryPoints2"));
    return reinterpret_cast<void *>(table[index]);
}

std::string text_of_row(const DocumentedStatus &row) {
    return row.entry_point + " (" + row.slot + "), " + row.status + ": " + row.condition;
}

TEST(DocumentedStatuses, EachComesAboutBySymbolAndBySlot) {
    size_t produced = 0;
    for (const DocumentedStatus &row : documented_statuses(document)) {
        if (!row.test.empty())
            continue;
        SCOPED_TRACE(text_of_row(row));
        const auto found = cases().find({row.entry_point, row.condition});
        if (found == cases().end()) {
            ADD_FAILURE() << "no case in tests/entry_points/cases.cpp";
            continue;
        }
        std::vector<void *> ways{plugin_symbol(row.entry_point.c_str())};
        if (row.slot != "-")
            ways.push_back(slot_address(row.slot));
        for (void *entry_point : ways) {
            PluginWorld world;
            EXPECT_EQ(found->second(world, entry_point), number_of(row.status));
        }
        ++produced;
    }
    EXPECT_EQ(produced, cases().size());
}

TEST(DocumentedStatuses, EachCaseHasExactlyOneRow) {
    std::multiset<std::pair<std::string, std::string>> rows;
    for (const DocumentedStatus &row : documented_statuses(document))
        if (row.test.empty())
            rows.insert({row.entry_point, row.condition});
    for (const auto &[key, ignored] : cases())
        EXPECT_EQ(rows.count(key), 1U) << key.first << ": " << key.second;
}

TEST(DocumentedStatuses, EverySlotAndItsSymbolAreOneFunction) {
    std::set<std::string> slots;
    for (const DocumentedStatus &row : documented_statuses(document)) {
        if (row.slot == "-")
            continue;
        slots.insert(row.slot);
        EXPECT_EQ(slot_address(row.slot), plugin_symbol(row.entry_point.c_str())) << text_of_row(row);
    }
    for (int slot = 0; slot < STS_ENTRY_POINT_COUNT; ++slot) {
        const std::string text = "1." + std::to_string(slot);
        EXPECT_EQ(slots.count(text) != 0, slot_address(text) != nullptr) << text;
    }
    for (int slot = 0; slot < STS_ENTRY_POINT_COUNT2; ++slot)
        EXPECT_EQ(slots.count("2." + std::to_string(slot)), 1U) << slot;
}

TEST(DocumentedStatuses, EveryEntryPointOfTheHeaderHasARow) {
    std::set<std::string> documented;
    for (const DocumentedStatus &row : documented_statuses(document))
        documented.insert(row.entry_point);
    std::ifstream header(SOURCE_DIRECTORY "/include/stspi/stspi.h");
    size_t count = 0;
    for (std::string line; std::getline(header, line);) {
        const std::string type = "int32_t ";
        const size_t bracket = line.find('(');
        if (line.rfind(type, 0) != 0 || bracket == std::string::npos)
            continue;
        ++count;
        const std::string name = line.substr(type.size(), bracket - type.size());
        EXPECT_EQ(documented.count(name), 1U) << name;
    }
    EXPECT_EQ(count, 2 + 36 + 22 + 1U);  // two registrations, two tables, load_process
}

TEST(DocumentedStatuses, RowsThatNoConfigurationBringsAboutNameATest) {
    std::string sources;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(SOURCE_DIRECTORY "/tests/unit")) {
        std::ostringstream text;
        text << std::ifstream(entry.path()).rdbuf();
        sources += text.str();
    }
    size_t count = 0;
    for (const DocumentedStatus &row : documented_statuses(document)) {
        if (row.test.empty())
            continue;
        ++count;
        const size_t point = row.test.find('.');
        EXPECT_NE(sources.find("(" + row.test.substr(0, point) + ", " + row.test.substr(point + 1) + ")"),
                  std::string::npos)
            << row.test;
    }
    EXPECT_EQ(count, 4U);
}

}  // namespace
