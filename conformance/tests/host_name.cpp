// The simulated host's name, on machines of other names. The suite's own uname answers the plug-in.
#include <dlfcn.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/standard_output.h"

namespace {

// Null: the machine's own name.
const char *node_name = nullptr;
bool fails = false;
int asked = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int uname(struct utsname *out) noexcept {
    static const auto next = reinterpret_cast<int (*)(struct utsname *)>(dlsym(RTLD_NEXT, "uname"));
    ++asked;
    if (fails) {
        errno = EFAULT;
        return -1;
    }
    const int result = next(out);
    if (node_name != nullptr)
        std::memcpy(out->nodename, node_name, std::strlen(node_name) + 1);
    return result;
}

namespace conformance {

namespace {

sts_server_handle_t array_on(const char *name) {
    if (node_name == nullptr)
        register_resource(&node_name, "the machine's name", [] {
            node_name = nullptr;
            fails = false;
        });
    node_name = name;
    asked = 0;
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    if (asked == 0)
        skip_test("this plug-in asks for the machine's name by other means than uname");
    return handle;
}

}  // namespace

CONFORMANCE_TEST("server-props.by-handle.node-name",
                 "The name of a disk array is the machine's, whatever that is, as it is, with a domain behind it.") {
    write_example_configs();
    std::string domain;
    const std::string longest(64, 'N');
    for (const char *name : {"mediaA", "media-b.lab", "x", longest.c_str(), "UPPER_case%s"}) {
        const auto handle = array_on(name);
        Watched<sts_server_info_t> info;
        expect_status(plugin().get_server_prop(handle, info.get()), 0);
        const std::string got = info->server_name;
        expect_text("begin of the server name", got.substr(0, std::strlen(name) + 1), std::string(name) + ".");
        const std::string rest = got.substr(std::min(got.size(), std::strlen(name)));
        if (!domain.empty())
            expect_text("domain", rest, domain);
        domain = rest;
    }
}

CONFORMANCE_TEST("server-open.node-name-of-open",
                 "An open server keeps the machine's name as it was when it was opened.") {
    write_example_configs();
    const auto first = array_on("first");
    const auto second = array_on("second");
    Watched<sts_server_info_t> info;
    expect_status(plugin().get_server_prop(first, info.get()), 0);
    expect_text("begin of the server name", std::string(info->server_name).substr(0, 6), "first.");
    expect_status(plugin().get_server_prop(second, info.get()), 0);
    expect_text("begin of the server name", std::string(info->server_name).substr(0, 7), "second.");
}

CONFORMANCE_TEST("server-open.without-node-name",
                 "When the machine has no name to tell, that is printed, and the array is empty; the open succeeds.") {
    write_example_configs();
    array_on("x");
    take_output();
    fails = true;
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    expect_text("standard output", take_output(), "Error getting hostname\n");
    expect_texts("pools", list_lsus(handle), {});
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "enc1"), info.get()), STS_E_NO_SERVER);
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "enc1:d1"), info.get()), STS_E_NO_SERVER);
}

}  // namespace conformance
