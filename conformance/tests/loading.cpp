// Loading, unloading, and other plug-ins beside the one under test.
#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/sanitizers.h"

namespace conformance {

namespace {

// Every kind of call once, through the tables that registration hands over; each must reach the plug-in's own code.
void expect_works() {
    const IgnoreLeaks ignore;
    Watched<sts_registration_t> first;
    Watched<sts_registration2_t> second;
    expect_status(plugin().init(9, nullptr, first.get()), 0);
    expect_status(plugin().init2(9, second.get()), 0);
    take_image_call("stsimg_init");
    const std::string own = PluginLibrary::object_of(plugin().address("stspi_init"));
    expect_text("library of the first table", PluginLibrary::object_of(first->entry_points), own);
    expect_text("library of the second table", PluginLibrary::object_of(second->entry_points), own);
    for (const SlotName &slot : first_table())
        if (slot.entry_point != nullptr)
            expect_text(std::string("library of ") + slot.entry_point,
                        PluginLibrary::object_of(reinterpret_cast<void *>(first->entry_points[slot.slot])), own);
    for (const SlotName &slot : second_table())
        expect_text(std::string("library of ") + slot.entry_point,
                    PluginLibrary::object_of(reinterpret_cast<void *>(second->entry_points[slot.slot])), own);
    plugin().use_tables(first->entry_points, second->entry_points);
    expect_status(plugin().claim("copan:arr1"), 0);
    const auto array = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    expect_texts("pools", list_lsus(array), {"enc2", "enc1"});
    expect_texts("volumes", list_volumes(array, "enc1"), {"d1", "d2", "d3", "d4"});
    const auto copan = open_server(new_session(), "copan:arr1");
    expect_texts("LSUs", list_lsus(copan), {"vol1", "vol2", "vol1"});
    Watched<sts_server_info_t> server;
    expect_status(plugin().get_server_prop(copan, server.get()), 0);
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(array, "enc1:d1"), info.get()), 0);
    // These two go from one entry point to others inside the library.
    uint64_t written = 0;
    expect_status(plugin().copy_extent(token(1), 0, token(2), 0, 8, nullptr, &written), 0);
    expect_status(plugin().include_in_image(token(1), 0, token(2), 0, 8), 0);
    expect_number("calls of the image library", take_image_calls().size(), 4);
    undo_resources();
}

void load_under_test(int mode) { set_plugin(std::make_unique<EntryPoints>(plugin().path(), mode)); }

}  // namespace

CONFORMANCE_TEST("loading.unloads",
                 "After dlclose the library is gone from the process; one that stays is worth a warning.") {
    write_example_configs();
    const std::string path = plugin().path();
    expect_works();
    plugin().unload();
    if (PluginLibrary::is_loaded(path))
        warn(path, "unloaded", "still in the process");
}

CONFORMANCE_TEST("loading.reload", "Loaded again, the plug-in works as at first and remembers nothing.") {
    write_example_configs();
    for (int round = 0; round < 3; ++round) {
        expect_works();
        plugin().unload();
        load_under_test(RTLD_NOW | RTLD_LOCAL);
    }
}

LONG_CONFORMANCE_TEST("loading.two-hundred-times", "200 loads and unloads leave the process no larger.") {
    write_example_configs();
    const std::string path = plugin().path();
    plugin().unload();
    const auto round = [&] {
        const PluginLibrary library(path, RTLD_NOW | RTLD_LOCAL);
        const auto claim = reinterpret_cast<decltype(&stspi_claim)>(library.symbol("stspi_claim"));
        const CallNote note("dlopen, stspi_claim, dlclose");
        if (claim("copan:x") != 0)
            throw std::runtime_error("stspi_claim failed");
    };
    for (int i = 0; i < 20; ++i)
        round();
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 200; ++i)
        round();
    const size_t after = mallinfo2().uordblks;
    if (!is_sanitized)
        expect_true(after <= before + 16384, "growth over 200 loads", "none", fmt::format("{} bytes", after - before));
}

CONFORMANCE_TEST("loading.lazy", "The plug-in loads with lazy binding as well.") {
    write_example_configs();
    plugin().unload();
    load_under_test(RTLD_LAZY | RTLD_LOCAL);
    expect_works();
}

CONFORMANCE_TEST("loading.beside-foreign.after",
                 "Loaded into the global scope after another plug-in with the same exports, the plug-in keeps calling "
                 "its own functions.") {
    write_example_configs();
    plugin().unload();
    const PluginLibrary foreign(suite_library("libstspi_conformance_foreign.so"), RTLD_NOW | RTLD_GLOBAL);
    load_under_test(RTLD_NOW | RTLD_GLOBAL);
    expect_works();
    set_plugin(std::make_unique<EntryPoints>(plugin().path(), RTLD_NOW | RTLD_LOCAL));
}

CONFORMANCE_TEST("loading.beside-foreign.before", "Another plug-in that comes later does not take over.") {
    write_example_configs();
    plugin().unload();
    load_under_test(RTLD_NOW | RTLD_GLOBAL);
    const PluginLibrary foreign(suite_library("libstspi_conformance_foreign.so"), RTLD_NOW | RTLD_GLOBAL);
    expect_works();
    const auto claim = reinterpret_cast<decltype(&stspi_claim)>(foreign.symbol("stspi_claim"));
    expect_number("answer of the other plug-in", claim("copan:x"), 4711);
}

CONFORMANCE_TEST("loading.two-copies", "Two copies of the plug-in in the global scope each work on their own.") {
    write_example_configs();
    const std::string path = plugin().path();
    const std::string copy = work_directory() + "/second.so";
    plugin().unload();
    std::filesystem::copy_file(path, copy);
    register_resource(nullptr, "copy", [copy] { unlink(copy.c_str()); });
    const PluginLibrary other(copy, RTLD_NOW | RTLD_GLOBAL);
    set_plugin(std::make_unique<EntryPoints>(path, RTLD_NOW | RTLD_GLOBAL));
    unlink(copy.c_str());
    expect_works();
    expect_true(other.symbol("STSSanDiskEntryPoints") != plugin().library().symbol("STSSanDiskEntryPoints"), "tables",
                "one for each copy", "shared");
}

CONFORMANCE_TEST("loading.needs-image-library", "The plug-in calls the image library that is in the process already.") {
    Watched<sts_registration_t> record;
    expect_status(plugin().init(9, nullptr, record.get()), 0);
    take_image_call("stsimg_init");
}

CONFORMANCE_TEST("loading.no-threads", "Loading and registering starts no thread and opens no descriptor.") {
    Watched<sts_registration_t> record;
    expect_status(plugin().init(9, nullptr, record.get()), 0);
    // What the runner checks after every test is all there is to check.
}

}  // namespace conformance
