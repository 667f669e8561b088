// A history as a test of the suite, in C++.
#include <fmt/format.h>

#include "conformance/explore/expectation_text.h"
#include "conformance/explore/exploration_report.h"
#include "conformance/watch/expect.h"

namespace conformance {

using model::Call;
using model::Operation;

namespace {

std::string pointer_to(const std::optional<std::string> &text) {
    return text ? fmt::format("({}).c_str()", literal(*text)) : "nullptr";
}

std::string session_pointer(int session) {
    return session == model::NULL_SESSION ? "nullptr" : fmt::format("session{}.pointer()", session);
}

std::string server(int id) { return id == 0 ? "nullptr" : fmt::format("server{}", id); }
std::string list(int id) { return id == 0 ? "nullptr" : fmt::format("list{}", id); }
std::string lsu_of(const Call &call) {
    return call.null_record ? "nullptr"
                            : fmt::format("lsu({}, {})", server(call.handle), literal(call.name.value_or("")));
}
std::string definition_of(const Call &call) { return call.text ? "token_of_definition" : "nullptr"; }
std::string place(const Call &call, const char *kind) {
    return call.null_out ? "nullptr" : fmt::format("&{}{}", kind, call.id);
}

std::string words_text(const Call &call) {
    return fmt::format("{{{:#x}, {:#x}, {:#x}, {:#x}, {:#x}, {:#x}}}", call.numbers[0], call.numbers[1],
                       call.numbers[2], call.numbers[3], call.numbers[4],
                       call.operation == Operation::not_supported ? 0 : ~call.numbers[0]);
}

// The call as an expression that gives its status, "" for what has none.
std::string expression(const Call &call) {
    const std::string name = model::entry_point_name(call);
    const std::string function = name.substr(name.find('_') + 1);
    switch (call.operation) {
        case Operation::open_server:
            return fmt::format("plugin().open_server({}, {}, {})", session_pointer(call.session), pointer_to(call.name),
                               place(call, "server"));
        case Operation::create_server:
            return fmt::format("plugin().create_server({}, {}, {}, {}, {})", session_pointer(call.session),
                               pointer_to(call.name),
                               call.null_record ? "nullptr" : fmt::format("hosts{}.data()", call.id),
                               static_cast<int32_t>(static_cast<uint32_t>(call.numbers[0])), place(call, "server"));
        case Operation::open_target_server:
            return fmt::format("plugin().open_target_server({}, {}, {})", server(call.handle), pointer_to(call.name),
                               place(call, "server"));
        case Operation::close_server:
            return fmt::format("plugin().close_server({})", server(call.handle));
        case Operation::claim:
            return fmt::format("plugin().claim({})", pointer_to(call.name));
        case Operation::ioctl:
            return fmt::format("plugin().ioctl(token({:#x}), {})", call.ignored,
                               static_cast<int32_t>(static_cast<uint32_t>(call.numbers[0])));
        case Operation::init:
        case Operation::init2:
            return fmt::format("plugin().{}({:#x}, {}record{}.get())", function, call.numbers[0],
                               call.operation == Operation::init ? fmt::format("token({:#x}), ", call.ignored) : "",
                               call.id);
        case Operation::get_server_prop:
            return fmt::format("plugin().get_server_prop({}, {})", server(call.handle),
                               call.null_record ? "nullptr" : fmt::format("record{}.get()", call.id));
        case Operation::get_server_prop_byname:
            return fmt::format("plugin().get_server_prop_byname({}, {}, {})", session_pointer(call.session),
                               pointer_to(call.name),
                               call.null_record ? "nullptr" : fmt::format("record{}.get()", call.id));
        case Operation::open_lsu_list:
            return fmt::format("plugin().open_lsu_list({}, {})", server(call.handle), place(call, "list"));
        case Operation::open_dynamic_lsu_list:
            return fmt::format("plugin().open_dynamic_lsu_list({}, {})", lsu_of(call), place(call, "list"));
        case Operation::list_lsu:
            return fmt::format("plugin().list_lsu({}, {})", list(call.handle), call.null_out ? "nullptr" : "name");
        case Operation::close_lsu_list:
            return fmt::format("plugin().close_lsu_list({})", list(call.handle));
        case Operation::get_lsu_prop_byname:
            return fmt::format("plugin().get_lsu_prop_byname({}, {})", lsu_of(call),
                               call.null_out ? "nullptr" : fmt::format("record{}.get()", call.id));
        case Operation::mount_lsu:
            return fmt::format("plugin().mount_lsu({}, {}, {:#x}, {})", lsu_of(call), pointer_to(call.text),
                               call.numbers[0] & 0xffffffff, call.null_out ? "nullptr" : "name");
        case Operation::create_image:
        case Operation::open_image:
            return fmt::format("plugin().{}({}, {}, {:#x}, {})", function, lsu_of(call), definition_of(call),
                               call.numbers[0] & 0xffffffff, place(call, "image"));
        case Operation::delete_image:
            return fmt::format("plugin().delete_image({}, {}, {:#x})", lsu_of(call), definition_of(call),
                               call.numbers[0] & 0xffffffff);
        case Operation::open_image_list:
            return fmt::format("plugin().open_image_list({}, {:#x}, {})", lsu_of(call), call.numbers[0] & 0xffffffff,
                               place(call, "image"));
        case Operation::get_image_prop_byname:
            return fmt::format("plugin().get_image_prop_byname({}, {}, nullptr)", lsu_of(call), definition_of(call));
        case Operation::load_process:
            return fmt::format("plugin().load_process({}, {})", pointer_to(call.name), pointer_to(call.text));
        case Operation::set_mask:
        case Operation::set_config:
            return {};
        case Operation::copy_extent:
        case Operation::include_in_image:
            return fmt::format(
                "plugin().{}(token({:#x}), {:#x}, token({:#x}), {:#x}, {:#x}{})", function, call.numbers[0],
                call.numbers[1], call.numbers[2], call.numbers[3], call.numbers[4],
                call.operation == Operation::include_in_image
                    ? ""
                    : fmt::format(", token({:#x}), {}", call.ignored, call.null_out ? "nullptr" : "&count"));
        default:
            return fmt::format("plugin().raw(\"{}\", {})", name, words_text(call));
    }
}

// What must be there before the call.
std::string declarations(const Call &call) {
    switch (call.operation) {
        case Operation::open_server:
        case Operation::open_target_server:
            return fmt::format("    sts_server_handle_t server{} = nullptr;\n", call.id);
        case Operation::create_server: {
            std::string hosts;
            for (const std::string &host : call.hosts)
                hosts += fmt::format("{}{}", hosts.empty() ? "" : ", ", literal(host));
            return fmt::format(
                "    sts_server_handle_t server{0} = nullptr;\n    const auto hosts{0} = host_records({{{1}}});\n",
                call.id, hosts);
        }
        case Operation::open_lsu_list:
        case Operation::open_dynamic_lsu_list:
            return fmt::format("    sts_lsu_list_handle_t list{} = nullptr;\n", call.id);
        case Operation::create_image:
        case Operation::open_image:
        case Operation::open_image_list:
            return fmt::format("    void *image{} = nullptr;\n", call.id);
        case Operation::init:
            return fmt::format("    Watched<sts_registration_t> record{}({:#x});\n", call.id, call.fill);
        case Operation::init2:
            return fmt::format("    Watched<sts_registration2_t> record{}({:#x});\n", call.id, call.fill);
        case Operation::get_server_prop:
        case Operation::get_server_prop_byname:
            return fmt::format("    Watched<sts_server_info_t> record{}({:#x});\n", call.id, call.fill);
        case Operation::get_lsu_prop_byname:
            return fmt::format("    Watched<sts_lsu_info_v9_t> record{}({:#x});\n", call.id, call.fill);
        case Operation::set_mask:
            return fmt::format("    session{}.set_mask({:#x});\n", call.session, call.numbers[0] & 0xffffffff);
        case Operation::set_config:
            return call.text ? fmt::format("    write_config({}, {});\n", literal(*call.name), literal(*call.text))
                             : fmt::format("    remove_config({});\n", literal(*call.name));
        default:
            return {};
    }
}

// What the image library answers: without it, 0.
std::string answers_text(const Call &call) {
    if (call.library_status == 0 && call.library_status_2 == 0 && call.operation != Operation::copy_extent &&
        call.operation != Operation::include_in_image)
        return {};
    const bool copies = call.operation == Operation::copy_extent || call.operation == Operation::include_in_image;
    return fmt::format(
        "    images().answer = [](const ImageCall &one) {{\n"
        "        [[maybe_unused]] const bool reads = one.function == \"stsimg_read_image\";\n{}"
        "        return {};\n"
        "    }};\n",
        copies ? fmt::format(
                     "        *static_cast<uint64_t *>(token(one.arguments[reads ? 4 : 5])) = reads ? {:#x} : {:#x};\n",
                     call.library_count, call.library_count_2)
               : "",
        copies ? fmt::format("reads ? {} : {}", call.library_status, call.library_status_2)
               : fmt::format("{}", call.library_status));
}

std::string comment(const char *label, const std::string &text) {
    std::string out = fmt::format("    // {} ", label);
    for (const char byte : text) {
        out += byte;
        if (byte == '\n')
            out += "    //   ";
    }
    return out + "\n";
}

}  // namespace

std::string test_text(const History &history, const HistoryFinding &finding, const Expectations &expected) {
    std::string text = fmt::format("CONFORMANCE_TEST(\"explored.{:08x}\", \"{}.\") {{\n",
                                   std::hash<std::string>()(history_text(history)) & 0xffffffff, finding.what);
    for (const auto &[name, file] : configuration_of(history))
        text += fmt::format("    write_config({}, {});\n", literal(name), literal(file));
    for (int session = 0; session < model::SESSIONS; ++session)
        text += fmt::format("    [[maybe_unused]] Session &session{} = new_session();\n", session);
    text +=
        "    [[maybe_unused]] char name[STS_LSU_NAME_SIZE] = {};\n"
        "    [[maybe_unused]] uint64_t count = 0;\n"
        "    [[maybe_unused]] const auto *token_of_definition = static_cast<const sts_image_definition_t "
        "*>(token(0x222));\n";
    uint64_t ignored = model::UNREADABLE;
    for (size_t i = 0; i < history.calls.size(); ++i) {
        const Call &call = history.calls[i];
        // One that the interface does not allow is not made.
        if (!expected[i])
            continue;
        text += declarations(call);
        if (call.ignored != ignored)
            text += fmt::format("    plugin().set_ignored(token({:#x}));\n", call.ignored);
        ignored = call.ignored;
        const std::string made = expression(call);
        if (made.empty())
            continue;
        const bool is_last = static_cast<int>(i) == finding.call;
        text += answers_text(call);
        if (is_last)
            text += preparation_text(*expected[i]);
        text += fmt::format("    expect_status({}, {});\n", made, status_literal(expected[i]->status));
        if (is_last)
            text += expectation_text(call, *expected[i]);
    }
    return text + comment("expected:", finding.expected) + comment("got:", finding.got) + "}\n";
}

}  // namespace conformance
