// A whole backup through the tables, as a framework runs it.
#include <algorithm>
#include <filesystem>
#include <map>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

// An image library in memory: images by LSU text and definition address.
struct Images {
    std::map<std::pair<std::string, uint64_t>, std::string> stored;
    std::map<uint64_t, std::pair<std::string, uint64_t>> open;
    uint64_t next_handle = 0x5000;

    int32_t answer(const ImageCall &call) {
        const auto &a = call.arguments;
        const auto key = std::pair{call.lsu_text, a[3]};
        if (call.function == "stsimg_create_image" || call.function == "stsimg_open_image") {
            if (call.function == "stsimg_create_image")
                stored[key] = "";
            else if (stored.count(key) == 0)
                return STS_E_NOT_FOUND;
            *static_cast<void **>(token(a[5])) = token(++next_handle);
            open[next_handle] = key;
        } else if (call.function == "stsimg_write_image") {
            std::string &data = stored[open.at(a[0])];
            data.resize(std::max<size_t>(data.size(), a[4] + a[3]));
            std::copy_n(static_cast<const char *>(token(a[2])), a[3], data.begin() + static_cast<std::ptrdiff_t>(a[4]));
            *static_cast<uint64_t *>(token(a[5])) = a[3];
        } else if (call.function == "stsimg_read_image") {
            const std::string &data = stored[open.at(a[0])];
            const uint64_t count = a[3] < data.size() ? std::min<uint64_t>(a[2], data.size() - a[3]) : 0;
            std::copy_n(data.data() + a[3], count, static_cast<char *>(token(a[1])));
            *static_cast<uint64_t *>(token(a[4])) = count;
        } else if (call.function == "stsimg_close_image") {
            return open.erase(a[0]) == 1 ? 0 : static_cast<int32_t>(STS_E_NOT_FOUND);
        } else if (call.function == "stsimg_delete_image") {
            return stored.erase(key) == 1 ? 0 : static_cast<int32_t>(STS_E_NOT_FOUND);
        }
        return 0;
    }
};

void register_plugin() {
    Watched<sts_registration_t> first;
    Watched<sts_registration2_t> second;
    require_status(plugin().init(9, nullptr, first.get()), 0);
    require_status(plugin().init2(9, second.get()), 0);
    plugin().use_tables(first->entry_points, second->entry_points);
}

uint64_t reg(const void *pointer) { return as_register(pointer); }

// Backs data up to an LSU, copies it to a second image, reads both back.
void back_up(const stsp_lsu_v7_t *where, const std::string &data) {
    Images library;
    images().answer = [&](const ImageCall &call) { return library.answer(call); };
    const auto *name = static_cast<const sts_image_definition_t *>(token(0x100));
    const auto *copy_name = static_cast<const sts_image_definition_t *>(token(0x200));
    sts_image_handle_t image = nullptr;
    require_status(plugin().create_image(where, name, 0, &image), 0);
    uint64_t done = 0;
    for (size_t offset = 0; offset < data.size(); offset += 1000) {
        const size_t length = std::min<size_t>(1000, data.size() - offset);
        require_status(
            plugin().raw("stspi_write_image", {reg(image), 0, reg(data.data() + offset), length, offset, reg(&done)}),
            0);
        expect_number("bytes written", done, length);
    }
    expect_status(plugin().raw("stspi_close_image", {reg(image), 0, 0, 0, 0, 0}), 0);

    require_status(plugin().open_image(where, name, 1, &image), 0);
    std::string read(data.size(), '\0');
    require_status(plugin().raw("stspi_read_image", {reg(image), reg(read.data()), read.size(), 0, reg(&done), 0}), 0);
    expect_true(read == data, "data read back", "the data written", "others");
    sts_image_handle_t copy = nullptr;
    require_status(plugin().create_image(where, copy_name, 0, &copy), 0);
    expect_status(plugin().copy_extent(copy, 0, image, 0, data.size() / 2, nullptr, &done), 0);
    expect_number("bytes copied", done, data.size() / 2);
    expect_status(plugin().include_in_image(copy, data.size() / 2, image, data.size() / 2, data.size()), 0);
    expect_status(plugin().raw("stspi_close_image", {reg(copy), 0, 0, 0, 0, 0}), 0);
    expect_status(plugin().raw("stspi_close_image", {reg(image), 0, 0, 0, 0, 0}), 0);
    for (const auto &[key, stored] : library.stored)
        expect_true(stored == data, "stored image", "the data written", fmt::format("{} other bytes", stored.size()));
    expect_number("images stored", library.stored.size(), 2);
    expect_status(plugin().open_image_list(where, 0, &image), 0);
    expect_status(plugin().delete_image(where, name, 0), 0);
    expect_status(plugin().delete_image(where, copy_name, 0), 0);
    expect_status(plugin().delete_image(where, name, 0), STS_E_NOT_FOUND);
    expect_number("images stored", library.stored.size(), 0);
    expect_number("images open", library.open.size(), 0);
    images().answer = nullptr;
}

std::string test_data() {
    std::string data;
    for (int i = 0; data.size() < 100001; ++i)
        data += static_cast<char>(i * 7 + i / 251);
    return data;
}

void disk_array_cycle() {
    Session &session = new_session();
    expect_status(plugin().claim("Kelvarpool:nodeA"), 0);
    const auto handle = create_server(session, "Kelvarpool:nodeA", {"h2"});
    const auto pools = list_lsus(handle);
    expect_texts("pools", pools, {"enc1"});
    Watched<sts_lsu_info_v9_t> info;
    require_status(plugin().get_lsu_prop_byname(lsu(handle, "enc1"), info.get()), 0);
    expect_number("capacity", info->capacity_bytes, 400);
    const auto volumes = list_volumes(handle, "enc1");
    expect_texts("volumes", volumes, {"d1", "d2", "d3", "d4"});
    const std::string point = work_directory() + "/mnt/vol";
    const GuardedMemory result(STS_MOUNT_RESULT_SIZE);
    const auto *volume = lsu(handle, "enc1:d2");
    owns_directory(work_directory() + "/s1");
    owns_directory(work_directory() + "/s1/d2");
    owns_directory(work_directory() + "/mnt");
    owns_link(point);
    require_status(plugin().mount_lsu(volume, point.c_str(), 1, static_cast<char *>(result.data())), 0);
    expect_text("mount result", static_cast<char *>(result.data()), "enc1:d2," + point);
    expect_true(std::filesystem::is_directory(point), point, "a link to a directory", "none");
    back_up(volume, test_data());
    expect_status(plugin().unmount_lsu(), 0);
    expect_status(plugin().close_server(handle), 0);
    undo_resources();
}

void copan_cycle() {
    Session &session = new_session();
    expect_status(plugin().claim("copan:arr1"), 0);
    const auto handle = open_server(session, "copan:arr1");
    expect_texts("LSUs", list_lsus(handle), {"vol1", "vol2", "vol1"});
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol2");
    Watched<sts_lsu_info_v9_t> info;
    require_status(plugin().get_lsu_prop_byname(lsu(handle, "vol2"), info.get()), 0);
    sts_server_handle_t target = nullptr;
    require_status(plugin().open_target_server(handle, "copan:arr1", &target), 0);
    back_up(lsu(handle, "vol2"), test_data());
    back_up(lsu(target, "vol2"), test_data());
    expect_status(plugin().close_server(target), 0);
    expect_status(plugin().close_server(handle), 0);
    undo_resources();
}

}  // namespace

CONFORMANCE_TEST("cycle.disk-array",
                 "A whole backup to a disk array through the tables: every step works, and the data comes back.") {
    write_example_configs();
    register_plugin();
    disk_array_cycle();
    expect_status(plugin().terminate(), STS_E_NOT_SUPPORTED);
}

CONFORMANCE_TEST(
    "cycle.copan",
    "A whole backup to a Copan array and to a target through the tables: every step works, and the data comes back.") {
    write_example_configs();
    register_plugin();
    copan_cycle();
    expect_status(plugin().terminate(), STS_E_NOT_SUPPORTED);
}

CONFORMANCE_TEST("cycle.ten-of-each",
                 "Ten cycles of each kind, one after the other, each with a registration of its own.") {
    write_example_configs();
    for (int round = 0; round < 10; ++round) {
        register_plugin();
        disk_array_cycle();
        copan_cycle();
        expect_status(plugin().terminate(), STS_E_NOT_SUPPORTED);
    }
}

CONFORMANCE_TEST("cycle.two-servers-at-once", "Two arrays of each kind open at once do not disturb each other.") {
    write_example_configs();
    write_config("lab", "STORAGE_SERVER = arr9;\nVOLUMES = x,y;\n");
    register_plugin();
    const auto first = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    const auto other = open_server(new_session(), "copan:arr1");
    remove_config("Kelvarpool");
    write_config("Kelvarpool", "ENCLOSURE = z;\nHOSTS = h1;\nDISKS = q;\n");
    const auto second = create_server(new_session(), "Kelvarpool:nodeB", {"h1"});
    const auto third = open_server(new_session(), "lab:arr9");
    for (int round = 0; round < 10; ++round) {
        expect_texts("pools of the first", list_lsus(first), {"enc2", "enc1"});
        expect_texts("pools of the second", list_lsus(second), {"z"});
        expect_texts("LSUs of the first", list_lsus(other), {"vol1", "vol2", "vol1"});
        expect_texts("LSUs of the second", list_lsus(third), {"x", "y"});
    }
    expect_status(plugin().close_server(first), 0);
    expect_texts("pools of the second", list_lsus(second), {"z"});
    expect_status(plugin().close_server(other), 0);
    expect_texts("LSUs of the second", list_lsus(third), {"x", "y"});
}

}  // namespace conformance
