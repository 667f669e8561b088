// stspi_create_server.
#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/calls/mount_messages.h"
#include "conformance/report/test_case.h"
#include "conformance/tests/long_host.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

constexpr char create_server_name[] = "stspi_create_server";

int32_t create(Session &session, const char *name, const std::vector<std::string> &hosts) {
    const auto records = host_records(hosts);
    sts_server_handle_t handle = nullptr;
    const int32_t status =
        plugin().create_server(session.pointer(), name, records.data(), static_cast<int32_t>(records.size()), &handle);
    expect_true(handle != nullptr, "stored handle", "a handle, whatever the status", "null");
    return status;
}

// Pools that a handle for these hosts lists, with a host set of its own for each of pools a, b and c.
std::vector<std::string> pools_of(const std::vector<std::string> &hosts) {
    return list_lsus(create_server(new_session(), "Kelvarpool:nodeA", hosts));
}

void write_three_pools() {
    write_config("Kelvarpool",
                 "ENCLOSURE = a;\n\tHOSTS = h1;\nENCLOSURE = b;\n\tHOSTS = h2;\nENCLOSURE = c;\n\tHOSTS = h3;\n");
}

}  // namespace

CONFORMANCE_TEST("server-create.hosts.log",
                 "With hosts, \"Multi Host handle\" stands between the trace lines; the name is not logged.") {
    write_example_configs();
    expect_under_every_mask(0, {entering(create_server_name), trace("Multi Host handle"), leaving(create_server_name)},
                            [](Session &session) {
                                return create(session, "Kelvarpool:nodeA", {"h1", "h2", "h3"});
                            });
}

CONFORMANCE_TEST("server-create.no-hosts.log",
                 "With no hosts, \"Single Host handle\" stands between the trace lines.") {
    write_example_configs();
    expect_under_every_mask(0, {entering(create_server_name), trace("Single Host handle"), leaving(create_server_name)},
                            [](Session &session) { return create(session, "Kelvarpool:nodeA", {}); });
}

CONFORMANCE_TEST("server-create.hosts.all-read", "Every host record counts, each by the text at its begin.") {
    write_three_pools();
    expect_texts("pools of h1", pools_of({"h1"}), {"a"});
    expect_texts("pools of h2 and h3", pools_of({"h2", "h3"}), {"c", "b"});
    expect_texts("pools of h1, h2 and h3", pools_of({"h1", "h2", "h3"}), {"c", "b", "a"});
    expect_texts("pools of h3 behind two unknown hosts", pools_of({"x", "y", "h3"}), {"c"});
    expect_texts("pools of strangers", pools_of({"x", "H1", "h", "h11", ""}), {});
}

CONFORMANCE_TEST("server-create.no-hosts.single-host",
                 "A handle without hosts is a single-host one: it lists no pools.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {});
    sts_lsu_list_handle_t list = nullptr;
    expect_status(plugin().open_lsu_list(handle, &list), STS_E_INVALID_PARAMETER);
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "enc1"), info.get()), 0);
}

CONFORMANCE_TEST("server-create.no-hosts.null-array", "With a count of 0 the host array may be null.") {
    write_example_configs();
    sts_server_handle_t handle = nullptr;
    expect_status(plugin().create_server(new_session().pointer(), "Kelvarpool:nodeA", nullptr, 0, &handle), 0);
}

CONFORMANCE_TEST("server-create.negative-count",
                 "A negative count makes a handle without hosts, multi-host or as a count of 0; no record is read.") {
    write_example_configs();
    const auto *unreadable = static_cast<const sts_host_t *>(token(0x111));
    for (const int32_t count : {-1, -2, -1000, INT32_MIN})
        for (const sts_host_t *hosts : {unreadable, static_cast<const sts_host_t *>(nullptr)}) {
            Session &session = new_session();
            sts_server_handle_t handle = nullptr;
            require_status(plugin().create_server(session.pointer(), "Kelvarpool:nodeA", hosts, count, &handle), 0);
            if (session.messages().size() > 1 && session.messages()[1].text == "Single Host handle") {
                warn("handle of a negative count", "a multi-host handle", "a single-host handle");
                session.expect_log(
                    {entering(create_server_name), trace("Single Host handle"), leaving(create_server_name)});
                sts_lsu_list_handle_t list = nullptr;
                expect_status(plugin().open_lsu_list(handle, &list), STS_E_INVALID_PARAMETER);
                continue;
            }
            session.expect_log({entering(create_server_name), trace("Multi Host handle"), leaving(create_server_name)});
            expect_texts("pools", list_lsus(handle), {});
        }
}

CONFORMANCE_TEST("server-create.null-hosts",
                 "A null host array with a positive count gives STS_E_INVALID_PARAMETER, trace lines and no handle.") {
    write_example_configs();
    expect_under_every_mask(
        STS_E_INVALID_PARAMETER, {entering(create_server_name), leaving(create_server_name)}, [](Session &session) {
            sts_server_handle_t handle = nullptr;
            const int32_t status = plugin().create_server(session.pointer(), "Kelvarpool:nodeA", nullptr, 2, &handle);
            expect_true(handle == nullptr, "stored handle", "none", "a handle");
            return status;
        });
}

CONFORMANCE_TEST("server-create.null-out-handle",
                 "A null out-address gives STS_E_INVALID_PARAMETER and trace lines only.") {
    write_example_configs();
    expect_under_every_mask(
        STS_E_INVALID_PARAMETER, {entering(create_server_name), leaving(create_server_name)}, [](Session &session) {
            const auto hosts = host_records({"h1"});
            return plugin().create_server(session.pointer(), "Kelvarpool:nodeA", hosts.data(), 1, nullptr);
        });
}

CONFORMANCE_TEST("server-create.not-claimed",
                 "A name without a configuration file gives STS_E_INTERNAL and a handle to close.") {
    for (const char *name : {"Kelvarpool:nodeA", "nobody:x"}) {
        expect_under_every_mask(STS_E_INTERNAL,
                                {entering(create_server_name), trace("Multi Host handle"), leaving(create_server_name)},
                                [&](Session &session) { return create(session, name, {"h1"}); });
        expect_under_every_mask(
            STS_E_INTERNAL, {entering(create_server_name), trace("Single Host handle"), leaving(create_server_name)},
            [&](Session &session) { return create(session, name, {}); });
    }
}

CONFORMANCE_TEST("server-create.null-name", "A null or empty name is not claimed.") {
    for (const char *name : {static_cast<const char *>(nullptr), ""})
        expect_under_every_mask(STS_E_INTERNAL,
                                {entering(create_server_name), trace("Multi Host handle"), leaving(create_server_name)},
                                [&](Session &session) { return create(session, name, {"h1"}); });
}

CONFORMANCE_TEST("server-create.null-host", "An empty host part succeeds with a null-host handle, for any prefix.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:", "copan:"}) {
        expect_under_every_mask(0,
                                {entering(create_server_name), trace("Multi Host handle"), leaving(create_server_name)},
                                [&](Session &session) { return create(session, name, {"h1"}); });
        const auto handle = create_server(new_session(), name, {"h1"});
        sts_lsu_list_handle_t list = nullptr;
        expect_status(plugin().open_lsu_list(handle, &list), STS_E_INTERNAL);
    }
}

CONFORMANCE_TEST("server-create.copan",
                 "A Copan name is refused with STS_E_INTERNAL and a message; the handle stays.") {
    write_example_configs();
    const char *refusal = "create_server should not be called by non-ZEPH storages";
    expect_under_every_mask(
        STS_E_INTERNAL,
        {entering(create_server_name), trace("Multi Host handle"), error(refusal), leaving(create_server_name)},
        [](Session &session) { return create(session, "copan:arr1", {"h1"}); });
    expect_under_every_mask(
        STS_E_INTERNAL,
        {entering(create_server_name), trace("Single Host handle"), error(refusal), leaving(create_server_name)},
        [](Session &session) { return create(session, "copan:arr1", {}); });
}

CONFORMANCE_TEST("server-create.copan.without-colon",
                 "A claimed name without ':' has itself as its host part and is refused as Copan.") {
    write_config("lab", copan_config());
    expect_under_every_mask(
        STS_E_INTERNAL,
        {entering(create_server_name), trace("Multi Host handle"),
         error("create_server should not be called by non-ZEPH storages"), leaving(create_server_name)},
        [](Session &session) { return create(session, "lab", {"h1"}); });
}

CONFORMANCE_TEST("server-create.hosts-copied",
                 "The host records are the caller's: they may change once the call is over.") {
    write_three_pools();
    auto records = host_records({"h1", "h2"});
    sts_server_handle_t handle = nullptr;
    require_status(plugin().create_server(new_session().pointer(), "Kelvarpool:nodeA", records.data(), 2, &handle), 0);
    put_text(records[0].name, "h3");
    put_text(records[1].name, "h3");
    expect_texts("pools", list_lsus(handle), {"b", "a"});
}

CONFORMANCE_TEST("server-create.hosts-unwritten", "The host records are only read, and nothing behind the last one.") {
    write_three_pools();
    GuardedMemory memory(3 * sizeof(sts_host_t));
    auto *hosts = static_cast<sts_host_t *>(memory.data());
    put_text(hosts[0].name, "h1");
    put_text(hosts[1].name, "x");
    put_text(hosts[2].name, "h3");
    memory.make_read_only();
    sts_server_handle_t handle = nullptr;
    require_status(plugin().create_server(new_session().pointer(), "Kelvarpool:nodeA", hosts, 3, &handle), 0);
    expect_texts("pools", list_lsus(handle), {"c", "a"});
}

CONFORMANCE_TEST("server-create.long-hosts", "Host names up to 2,055 bytes are taken whole.") {
    write_three_pools();
    expect_texts("pools", pools_of({std::string(2055, 'h'), std::string(512, 'h'), "h2"}), {"b"});
}

CONFORMANCE_TEST("server-create.unterminated-host",
                 "A host record without a terminator is read to its end and not beyond.") {
    write_three_pools();
    const GuardedMemory memory(sizeof(sts_host_t), 'h');
    sts_server_handle_t handle = nullptr;
    require_status(plugin().create_server(new_session().pointer(), "Kelvarpool:nodeA",
                                          static_cast<const sts_host_t *>(memory.data()), 1, &handle),
                   0);
    expect_texts("pools", list_lsus(handle), {});
}

CONFORMANCE_TEST("server-create.many-hosts", "A thousand hosts are all kept.") {
    write_three_pools();
    std::vector<std::string> hosts;
    hosts.reserve(1001);
    for (int i = 0; i < 1000; ++i)
        hosts.push_back("host" + std::to_string(i));
    hosts.push_back("h3");
    expect_texts("pools", pools_of(hosts), {"c"});
}

CONFORMANCE_TEST("server-create.session-not-for-simulators",
                 "The session of a created server does not become the simulators' session.") {
    write_example_configs();
    Session &opener = new_session();
    open_server(opener, "Kelvarpool:nodeA");
    Session &creator = new_session();
    const auto handle = create_server(creator, "Kelvarpool:nodeA", {"h1"});
    opener.clear();
    creator.clear();
    fail_a_mount(handle);
    opener.expect_log({unknown_group()});
    creator.expect_log({entering("stspi_mount_lsu"), leaving("stspi_mount_lsu")});
}

CONFORMANCE_TEST("server-create.host-name-stays-empty",
                 "A created handle has no host name: image calls on it hand on an empty one.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    expect_status(plugin().open_image_list(lsu(handle, "enc1"), 0, nullptr), 0);
    expect_text("server name given to the image library", take_image_call("stsimg_open_image_list").server_name, "");
}

CONFORMANCE_TEST("server-create.ignored-arguments", "The third and fourth arguments are not looked at.") {
    write_example_configs();
    for (const uint64_t value : {0ULL, 1ULL, 0xffffffffffffffffULL}) {
        plugin().set_ignored(token(value));
        create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    }
}

CONFORMANCE_TEST("server-create.long-name", "A host part of 3,000 bytes does no harm.") {
    write_example_configs();
    const std::string host(3000, 'x');
    const auto hosts = host_records({"h1"});
    sts_server_handle_t handle = nullptr;
    const int32_t status =
        plugin().create_server(new_session().pointer(), ("Kelvarpool:" + host).c_str(), hosts.data(), 1, &handle);
    if (!is_refused_long_host(host, status))
        expect_status(status, 0);
}

CONFORMANCE_TEST("server-create.ten-times", "Ten creations give ten handles that list alike.") {
    write_example_configs();
    for (int round = 0; round < 10; ++round)
        expect_texts("pools", list_lsus(create_server(new_session(), "Kelvarpool:nodeA", {"h1"})), {"enc2", "enc1"});
}

}  // namespace conformance
