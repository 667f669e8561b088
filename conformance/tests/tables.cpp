// The two entry-point tables and the exports.
#include <algorithm>
#include <fstream>
#include <sstream>

#include "conformance/calls/entry_points.h"
#include "conformance/calls/exports.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

// The exported function or table that an address is, "null" for none.
std::string name_of(const void *address) {
    if (address == nullptr)
        return "null";
    for (const std::string &name : exported_names())
        if (plugin().library().symbol(name) == address)
            return name;
    const std::string object = PluginLibrary::object_of(address);
    return fmt::format("an address that is none of the exports, in {}", object.empty() ? "no library" : object);
}

void expect_slots(const char *table_name, const std::vector<SlotName> &slots) {
    const auto *table = static_cast<sts_entry_point_t *>(plugin().address(table_name));
    for (const SlotName &slot : slots) {
        const auto *got = reinterpret_cast<void *>(table[slot.slot]);
        const auto *expected = slot.entry_point == nullptr ? nullptr : plugin().address(slot.entry_point);
        expect_true(got == expected, fmt::format("slot {} of {}", slot.slot, table_name),
                    slot.entry_point == nullptr ? "null" : slot.entry_point, name_of(got));
    }
}

bool is_writable(const void *address) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        uint64_t begin = 0;
        uint64_t end = 0;
        char dash = 0;
        std::string rights;
        std::istringstream(line) >> std::hex >> begin >> dash >> end >> rights;
        if (as_register(address) >= begin && as_register(address) < end)
            return rights.size() > 1 && rights[1] == 'w';
    }
    return false;
}

}  // namespace

CONFORMANCE_TEST(
    "tables.first.slots",
    "Each of the 41 slots of the first table holds the exported function of its name, or null where none is.") {
    expect_slots("STSSanDiskEntryPoints", first_table());
}

CONFORMANCE_TEST("tables.second.slots",
                 "Each of the 22 slots of the second table holds the exported function of its name.") {
    expect_slots("STSSANDiskEntryPoints2", second_table());
}

CONFORMANCE_TEST("tables.writable",
                 "Both tables are writable data, so that a framework can put its own functions in.") {
    for (const char *name : {"STSSanDiskEntryPoints", "STSSANDiskEntryPoints2"})
        expect_true(is_writable(plugin().address(name)), name, "writable data", "not writable");
}

CONFORMANCE_TEST("tables.overwritten-slot-is-not-used",
                 "A slot that the framework overwrites changes no call of the plug-in itself.") {
    auto *table = static_cast<sts_entry_point_t *>(plugin().address("STSSanDiskEntryPoints"));
    table[STS_SLOT_READ_IMAGE] = nullptr;
    table[STS_SLOT_WRITE_IMAGE] = nullptr;
    uint64_t written = 0;
    expect_status(plugin().copy_extent(token(1), 0, token(2), 0, 8, nullptr, &written), 0);
    expect_number("calls of the image library", take_image_calls().size(), 2);
}

CONFORMANCE_TEST("tables.own-functions", "Every slot leads into the plug-in's own library.") {
    const std::string own = PluginLibrary::object_of(plugin().address("STSSanDiskEntryPoints"));
    for (const auto &[name, slots] :
         {std::pair{"STSSanDiskEntryPoints", &first_table()}, std::pair{"STSSANDiskEntryPoints2", &second_table()}}) {
        const auto *table = static_cast<sts_entry_point_t *>(plugin().address(name));
        for (const SlotName &slot : *slots)
            if (slot.entry_point != nullptr)
                expect_text(slot.entry_point, PluginLibrary::object_of(reinterpret_cast<void *>(table[slot.slot])),
                            own);
    }
}

CONFORMANCE_TEST("exports.complete",
                 "Every entry point, both tables and load_process are exported under their plain names.") {
    const auto got = exports_of(plugin().path());
    for (const std::string &name : exported_names())
        expect_true(got.count(name) == 1, "export " + name, "present", "missing");
}

CONFORMANCE_TEST(
    "exports.nothing-else",
    "Better nothing else is exported: another name may meet another library's, which is worth a warning.") {
    const auto expected = exported_names();
    std::vector<std::string> others;
    for (const std::string &name : exports_of(plugin().path()))
        if (std::find(expected.begin(), expected.end(), name) == expected.end())
            others.push_back(name);
    if (!others.empty())
        warn("exports", "the entry points, the two tables and load_process",
             fmt::format("{} more, \"{}\" for one", others.size(), others.front()));
}

}  // namespace conformance
