// What holds for messages of all calls: class, level, context, thread, and the mask asked anew each time.
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/mount_messages.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

// The texts of the messages that came, in order.
std::vector<std::string> texts(const Session &session) {
    std::vector<std::string> list;
    for (const RecordedMessage &message : session.messages())
        list.push_back(message.text);
    return list;
}

}  // namespace

CONFORMANCE_TEST("logging.mask-changed-during-call",
                 "Each message asks the mask again: one that the log function clears holds the rest back.") {
    write_example_configs();
    Session &session = new_session();
    session.on_message = [&] { session.set_mask(0); };
    open_server(session, "Kelvarpool:nodeA");
    expect_texts("messages", texts(session), {"++++ Entering stspi_open_server\n"});
    session.on_message = nullptr;
    session.clear();
    session.set_mask(STS_LOG_MASK_TRACE);
    session.on_message = [&] { session.set_mask(STS_LOG_MASK_ERROR); };
    open_server(session, "Kelvarpool:");
    expect_texts("messages", texts(session), {"++++ Entering stspi_open_server\n", "NULL HOST"});
}

CONFORMANCE_TEST("logging.mask-set-during-call",
                 "A mask that the log function widens lets the following messages through.") {
    write_config("copan", "STORAGE_SERVER = arr2;\n");
    Session &session = new_session(STS_LOG_MASK_ERROR);
    session.on_message = [&] { session.set_mask(0xff); };
    sts_server_handle_t handle = nullptr;
    expect_status(plugin().open_server(session.pointer(), "copan:arr1", &handle), STS_E_INTERNAL);
    expect_texts("messages", texts(session),
                 {"copan:arr1", "StorageServer not found", "---- Leaving stspi_open_server\n"});
}

CONFORMANCE_TEST("logging.function-cleared-during-call",
                 "Each message asks for the log function again: one that goes away is called no more.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:nodeA", "copan:arr1", "copan:other", "Kelvarpool:", "nobody:x"}) {
        Session &session = new_session();
        session.on_message = [&] { session.set_log_function(nullptr); };
        sts_server_handle_t handle = nullptr;
        plugin().open_server(session.pointer(), name, &handle);
        expect_texts("messages", texts(session), {"++++ Entering stspi_open_server\n"});
    }
}

CONFORMANCE_TEST("logging.simulator-function-cleared-during-call",
                 "Also the simulators' messages ask for the function each time.") {
    write_config("copan", "STORAGE_SERVER = arr1;\nVOLUMES = vol1;\n");
    Session &session = new_session(0);
    const auto handle = open_server(session, "copan:arr1");
    session.on_message = [&] { session.set_log_function(nullptr); };
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "vol1"), info.get()), STS_E_INVALID_PARAMETER);
    expect_texts("messages", texts(session), {"m_storage_dir directory creation failed: "});
}

CONFORMANCE_TEST("logging.mask-changed-between-calls",
                 "A mask changed between calls counts from the next call on; the session is asked, no copy of it.") {
    write_example_configs();
    Session &session = new_session(0);
    const auto handle = open_server(session, "Kelvarpool:nodeA");
    session.expect_log({});
    Watched<sts_server_info_t> info;
    for (const uint32_t mask : {0x1U, 0x0U, 0x8U, 0xffU, 0xfeU}) {
        session.set_mask(mask);
        expect_status(plugin().get_server_prop(handle, info.get()), 0);
        session.expect_log({entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")});
    }
}

CONFORMANCE_TEST("logging.function-set-between-calls", "A log function given after the open is used from then on.") {
    write_example_configs();
    Session &session = new_session();
    session.set_log_function(nullptr);
    const auto handle = open_server(session, "copan:arr1");
    session.set_log_function(receive);
    expect_texts("LSUs", list_lsus(handle), {"vol1", "vol2", "vol1"});
    expect_number("messages", session.messages().size(), 2 * (1 + 4 + 1));
}

CONFORMANCE_TEST("logging.own-context",
                 "Each handle logs with its own session's context, however calls on two handles mix.") {
    write_example_configs();
    Session &first = new_session();
    Session &second = new_session();
    const auto array = open_server(first, "Kelvarpool:nodeA");
    const auto copan = open_server(second, "copan:arr1");
    first.clear();
    second.clear();
    for (int round = 0; round < 10; ++round) {
        Watched<sts_server_info_t> info;
        plugin().get_server_prop(array, info.get());
        plugin().get_server_prop(copan, info.get());
        first.expect_log({entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")});
        second.expect_log({entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")});
    }
}

CONFORMANCE_TEST("logging.calling-thread", "Messages come on the thread that made the call.") {
    write_example_configs();
    Session &session = new_session();
    const auto handle = open_server(session, "Kelvarpool:nodeA");
    session.clear();
    int thread_id = 0;
    std::thread([&] {
        thread_id = static_cast<int>(syscall(SYS_gettid));
        Watched<sts_server_info_t> info;
        plugin().get_server_prop(handle, info.get());
    }).join();
    expect_number("messages", session.messages().size(), 2);
    for (const RecordedMessage &message : session.messages())
        expect_number("thread", message.thread, thread_id);
}

CONFORMANCE_TEST("logging.simulators-ignore-mask", "The simulators' own messages come at level 4 under every mask.") {
    write_example_configs();
    for (const uint32_t mask : {0x0U, 0x1U, 0x8U, 0xf6U, 0xffU}) {
        Session &session = new_session(mask);
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        fail_a_mount(handle);
        session.expect_log({entering("stspi_mount_lsu"), unknown_group(), leaving("stspi_mount_lsu")});
    }
}

CONFORMANCE_TEST("logging.reentrant-log-function",
                 "A log function may call the plug-in: the message's call and the inner one both end well.") {
    write_example_configs();
    Session &outer = new_session();
    Session &inner = new_session();
    const auto handle = open_server(inner, "copan:arr1");
    inner.clear();
    bool is_inside = false;
    outer.on_message = [&] {
        if (is_inside)
            return;
        is_inside = true;
        Watched<sts_server_info_t> info;
        expect_status(plugin().get_server_prop(handle, info.get()), 0);
        is_inside = false;
    };
    open_server(outer, "Kelvarpool:nodeA");
    outer.on_message = nullptr;
    expect_number("messages of the outer call", outer.messages().size(), 4);
    expect_number("messages of the inner calls", inner.messages().size(), 8);
}

}  // namespace conformance
