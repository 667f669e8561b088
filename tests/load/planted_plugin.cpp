// A plug-in with a defect: it stands in front of a good one, hands out its tables with some entry points replaced, and does one
// thing wrong, which PLANTED_DEFECT in the environment names. PLUGIN_BEHIND is the path of the good one.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

std::array<sts_entry_point_t, STS_ENTRY_POINT_COUNT> table;
std::array<sts_entry_point_t, STS_ENTRY_POINT_COUNT2> table2;

// The good plug-in's own functions.
struct Good {
    decltype(&stspi_close_image) close_image;
    decltype(&stspi_close_lsu_list) close_lsu_list;
    decltype(&stspi_copy_extent) copy_extent;
    decltype(&stspi_create_image) create_image;
    decltype(&stspi_create_server) create_server;
    decltype(&stspi_delete_image) delete_image;
    decltype(&stspi_get_image_prop_byname) get_image_prop_byname;
    decltype(&stspi_get_lsu_prop_byname) get_lsu_prop_byname;
    decltype(&stspi_get_server_prop) get_server_prop;
    decltype(&stspi_list_image) list_image;
    decltype(&stspi_list_lsu) list_lsu;
    decltype(&stspi_mount_lsu) mount_lsu;
    decltype(&stspi_open_image) open_image;
    decltype(&stspi_read_image) read_image;
    decltype(&stspi_write_image) write_image;
};
Good good;

bool is(const char *name) {
    static const char *const defect = std::getenv("PLANTED_DEFECT");
    return defect != nullptr && std::strcmp(defect, name) == 0;
}

// True for every n-th call of those that ask.
bool every(uint64_t n) {
    static std::atomic<uint64_t> calls{0};
    return calls.fetch_add(1) % n == n - 1;
}

constexpr uint64_t block = 4096;

// About half, in whole blocks.
uint64_t half(uint64_t length) { return length / 2 / block * block; }

std::mutex lock;
std::map<sts_server_handle_t, size_t> server_numbers;

int32_t create_server(const sts_session_def_v7_t *session, const char *name, const void *ignored_1,
                      const void *ignored_2, const sts_host_t *hosts, int32_t count, sts_server_handle_t *out) {
    if (is("plugin-leaks-descriptor") && every(20) && dup(STDERR_FILENO) < 0)
        return STS_E_SYSTEM;
    if (is("plugin-leaks-thread") && every(50))
        std::thread([] {
            for (;;)
                pause();
        }).detach();
    const int32_t status = good.create_server(session, name, ignored_1, ignored_2, hosts, count, out);
    const std::lock_guard<std::mutex> alone(lock);
    server_numbers[*out] = server_numbers.size();
    return status;
}

int32_t list_lsu(sts_lsu_list_handle_t list, char *out_name) {
    static std::map<sts_lsu_list_handle_t, std::string> before;
    const std::lock_guard<std::mutex> alone(lock);
    if (is("lsu-list-repeats") && before.count(list) != 0 && every(5)) {
        std::strcpy(out_name, before[list].c_str());
        return 0;
    }
    int32_t status = good.list_lsu(list, out_name);
    if (is("lsu-list-skips") && status == 0 && every(10))
        status = good.list_lsu(list, out_name);
    if (is("lsu-list-invents") && status == 0 && every(10))
        std::strcat(out_name, "2");
    if (status == 0)
        before[list] = out_name;
    return status;
}

int32_t close_lsu_list(sts_lsu_list_handle_t list) {
    if (is("plugin-leaks-memory")) {
        auto *lost = static_cast<char *>(std::malloc(20000));
        if (lost != nullptr)
            std::memset(lost, 1, 20000);
    }
    if (is("plugin-hangs") && every(20))
        for (;;)
            pause();
    return good.close_lsu_list(list);
}

int32_t get_server_prop(sts_server_handle_t server, sts_server_info_t *info) {
    if (is("plugin-throws") && every(20))
        throw std::runtime_error("planted");
    const int32_t status = good.get_server_prop(server, info);
    if (is("server-property-changes") && every(10))
        info->capabilities[0] ^= 1;
    return status;
}

size_t number_of(sts_server_handle_t server) {
    const std::lock_guard<std::mutex> alone(lock);
    return server_numbers[server];
}

int32_t get_lsu_prop_byname(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info) {
    static std::mutex first;
    static std::mutex second;
    if (is("handles-deadlock")) {
        // Each handle has a lock, and both are taken, beginning with the caller's.
        const bool is_odd = number_of(lsu->server) % 2 != 0;
        const std::lock_guard<std::mutex> own(is_odd ? first : second);
        usleep(2000);
        const std::lock_guard<std::mutex> other(is_odd ? second : first);
    }
    static sts_lsu_info_v9_t stale = {};
    const std::lock_guard<std::mutex> alone(lock);
    if (is("lsu-property-stale") && stale.lsu_name[0] != '\0' && every(5)) {
        // What was told before is told again, of whatever LSU that was.
        *info = stale;
        return 0;
    }
    const int32_t status = good.get_lsu_prop_byname(lsu, info);
    if (status == 0)
        stale = *info;
    return status;
}

int32_t mount_lsu(const stsp_lsu_v7_t *volume, const char *point, uint32_t mode, uint64_t reserved, char *result) {
    if (is("mount-lies") && every(5))
        return 0;
    const int32_t status = good.mount_lsu(volume, point, mode, reserved, result);
    if (is("mount-leads-elsewhere") && every(5)) {
        unlink(point);
        if (symlink("/", point) != 0)
            return STS_E_SYSTEM;
    }
    return status;
}

sts_image_handle_t latest_created;

int32_t create_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags,
                     sts_image_handle_t *out) {
    if (is("plugin-crashes") && every(30))
        std::abort();
    const int32_t status = good.create_image(lsu, definition, flags, out);
    const std::lock_guard<std::mutex> alone(lock);
    if (status == 0)
        latest_created = *out;
    return status;
}

int32_t open_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t mode,
                   sts_image_handle_t *out) {
    if (!is("static-buffer"))
        return good.open_image(lsu, definition, mode, out);
    // All threads compose the name in the same place.
    static sts_image_definition_t shared;
    shared = *definition;
    usleep(500);
    return good.open_image(lsu, &shared, mode, out);
}

int32_t write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                    uint64_t offset, uint64_t *out_written) {
    if (is("write-short-told-full") && length >= 2 * block && every(10)) {
        const int32_t status = good.write_image(image, reserved, buffer, half(length), offset, out_written);
        *out_written = length;
        return status;
    }
    if (is("write-to-other-handle") && every(10)) {
        usleep(2000);  // others come in between
        const std::lock_guard<std::mutex> alone(lock);
        return good.write_image(latest_created, reserved, buffer, length, offset, out_written);
    }
    return good.write_image(image, reserved, buffer, length, offset, out_written);
}

int32_t read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset, uint64_t *out_read) {
    if (!is("read-short-told-full") || length < 2 * block || !every(10))
        return good.read_image(image, buffer, length, offset, out_read);
    const int32_t status = good.read_image(image, buffer, half(length), offset, out_read);
    if (*out_read == half(length))
        *out_read = length;
    return status;
}

int32_t copy_extent(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                    uint64_t source_offset, uint64_t length, const void *ignored, uint64_t *out_copied) {
    if (!is("copy-short-told-full") || length < 2 * block)
        return good.copy_extent(target, target_offset, source, source_offset, length, ignored, out_copied);
    const int32_t status =
        good.copy_extent(target, target_offset, source, source_offset, half(length), ignored, out_copied);
    *out_copied = length;
    return status;
}

int32_t close_image(sts_image_handle_t image) {
    if (is("close-forgets") && every(10))
        return 0;
    return good.close_image(image);
}

int32_t delete_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags) {
    static sts_image_definition_t before = {};
    const std::lock_guard<std::mutex> alone(lock);
    if (is("deletes-another") && before.name[0] != '\0' && every(10)) {
        good.delete_image(lsu, &before, flags);
        return 0;
    }
    before = *definition;
    return good.delete_image(lsu, definition, flags);
}

int32_t get_image_prop_byname(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                              sts_image_info_t *info) {
    const int32_t status = good.get_image_prop_byname(lsu, definition, info);
    if (!is("image-property-stale"))
        return status;
    // What was told of an image once is told for ever.
    static std::map<std::string, sts_image_info_t> told;
    const std::lock_guard<std::mutex> alone(lock);
    if (status == 0)
        *info = told.emplace(definition->name, *info).first->second;
    return status;
}

int32_t list_image(sts_image_list_handle_t list, sts_image_definition_t *out) {
    if (!is("list-static-buffer"))
        return good.list_image(list, out);
    // The names of all lists pass through one place.
    static sts_image_definition_t shared;
    sts_image_definition_t own = {};
    const int32_t status = good.list_image(list, &own);
    if (status == 0) {
        shared = own;
        usleep(50);
        *out = shared;
    }
    return status;
}

template <class Table, class Function>
void replace(Table &in, size_t slot, Function &original, Function planted) {
    original = reinterpret_cast<Function>(in[slot]);
    in[slot] = reinterpret_cast<sts_entry_point_t>(planted);
}

void *behind(const char *name) {
    static void *const plugin = dlopen(std::getenv("PLUGIN_BEHIND"), RTLD_NOW | RTLD_LOCAL);
    void *function = plugin == nullptr ? nullptr : dlsym(plugin, name);
    if (function == nullptr) {
        std::fprintf(stderr, "planted plug-in: %s\n", dlerror());
        std::abort();
    }
    return function;
}

}  // namespace

extern "C" {

int32_t stspi_init(uint64_t version, const void *ignored, sts_registration_t *out) {
    const auto init = reinterpret_cast<decltype(&stspi_init)>(behind("stspi_init"));
    const int32_t status = init(version, ignored, out);
    if (status != 0)
        return status;
    std::copy_n(out->entry_points, table.size(), table.begin());
    replace(table, STS_SLOT_CLOSE_IMAGE, good.close_image, close_image);
    replace(table, STS_SLOT_CLOSE_LSU_LIST, good.close_lsu_list, close_lsu_list);
    replace(table, STS_SLOT_COPY_EXTENT, good.copy_extent, copy_extent);
    replace(table, STS_SLOT_CREATE_IMAGE, good.create_image, create_image);
    replace(table, STS_SLOT_DELETE_IMAGE, good.delete_image, delete_image);
    replace(table, STS_SLOT_GET_IMAGE_PROP_BYNAME, good.get_image_prop_byname, get_image_prop_byname);
    replace(table, STS_SLOT_GET_LSU_PROP_BYNAME, good.get_lsu_prop_byname, get_lsu_prop_byname);
    replace(table, STS_SLOT_GET_SERVER_PROP, good.get_server_prop, get_server_prop);
    replace(table, STS_SLOT_LIST_IMAGE, good.list_image, list_image);
    replace(table, STS_SLOT_LIST_LSU, good.list_lsu, list_lsu);
    replace(table, STS_SLOT_OPEN_IMAGE, good.open_image, open_image);
    replace(table, STS_SLOT_READ_IMAGE, good.read_image, read_image);
    replace(table, STS_SLOT_WRITE_IMAGE, good.write_image, write_image);
    out->entry_points = table.data();
    return 0;
}

int32_t stspi_init2(uint64_t version, sts_registration2_t *out) {
    const auto init2 = reinterpret_cast<decltype(&stspi_init2)>(behind("stspi_init2"));
    const int32_t status = init2(version, out);
    if (status != 0)
        return status;
    std::copy_n(out->entry_points, table2.size(), table2.begin());
    replace(table2, STS_SLOT2_CREATE_SERVER, good.create_server, create_server);
    replace(table2, STS_SLOT2_MOUNT_LSU, good.mount_lsu, mount_lsu);
    out->entry_points = table2.data();
    return 0;
}
}
