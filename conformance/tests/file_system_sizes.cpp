// A path's sizes, on a file system whose numbers all differ. The suite's own statvfs answers the plug-in.
#include <dlfcn.h>
#include <sys/statvfs.h>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace {

// Null: the real file system answers.
const struct statvfs *answer = nullptr;

}  // namespace

extern "C" __attribute__((visibility("default"))) int statvfs(const char *path, struct statvfs *out) noexcept {
    static const auto next = reinterpret_cast<int (*)(const char *, struct statvfs *)>(dlsym(RTLD_NEXT, "statvfs"));
    if (answer == nullptr)
        return next(path, out);
    *out = *answer;
    return 0;
}

namespace conformance {

namespace {

struct statvfs odd_file_system() {
    struct statvfs sizes {};
    sizes.f_bsize = 4096;
    sizes.f_frsize = 1000;
    sizes.f_blocks = 0x500000007;
    sizes.f_bfree = 0x300000005;
    sizes.f_bavail = 0x200000003;
    return sizes;
}

void set_sizes(sts_lsu_info_v9_t &expected) {
    expected.lsu_class = 1;
    expected.flags |= 0x80;
    expected.block_size_bytes = 1000;
    expected.capacity_bytes = 0x500000007 * 1000;
    expected.used_bytes = (0x500000007 - 0x200000003) * 1000;
}

}  // namespace

CONFORMANCE_TEST(
    "lsu-props.path.sizes",
    "A path's sizes count fragments, not preferred blocks, and what everyone may still use, not root alone.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    const struct statvfs sizes = odd_file_system();
    Watched<sts_lsu_info_v9_t> info;
    answer = &sizes;
    const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, "/"), info.get());
    answer = nullptr;
    require_status(status, 0);
    info.expect_changed("LSU information", [](sts_lsu_info_v9_t &expected) {
        set_sizes(expected);
        put_text(expected.server_name, "nodeA");
    });
}

CONFORMANCE_TEST("lsu-props.copan.sizes", "A Copan LSU's sizes are counted as a path's.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    const auto handle = open_server(new_session(), "copan:arr1");
    const struct statvfs sizes = odd_file_system();
    Watched<sts_lsu_info_v9_t> info;
    answer = &sizes;
    const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, "vol1"), info.get());
    answer = nullptr;
    require_status(status, 0);
    info.expect_changed("LSU information", [](sts_lsu_info_v9_t &expected) {
        expected = {};
        set_sizes(expected);
        put_text(expected.server_name, "arr1");
        put_text(expected.lsu_name, "vol1");
    });
}

}  // namespace conformance
