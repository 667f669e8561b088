#include "conformance/explore/history.h"

#include <fmt/format.h>

#include "base/quoted_bytes.h"

namespace conformance {

using model::Call;
using model::Operation;

namespace {

constexpr size_t longest_shown_text = 200;

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

bool opens(Operation operation) {
    switch (operation) {
        case Operation::open_server:
        case Operation::create_server:
        case Operation::open_target_server:
        case Operation::open_lsu_list:
        case Operation::open_dynamic_lsu_list:
            return true;
        default:
            return false;
    }
}

bool has_session(Operation operation) {
    return operation == Operation::open_server || operation == Operation::create_server ||
           operation == Operation::get_server_prop_byname || operation == Operation::set_mask;
}

// Whether there are arguments that mean nothing.
bool has_ignored(Operation operation) {
    return (opens(operation) && operation != Operation::open_dynamic_lsu_list) || operation == Operation::init ||
           operation == Operation::ioctl || operation == Operation::copy_extent;
}

}  // namespace

std::string expanded(std::string text, const Places &places) {
    return replaced(replaced(std::move(text), "{work}", places.work), "{own}", places.own);
}

std::string collapsed(std::string text, const Places &places) {
    return replaced(replaced(std::move(text), places.work, "{work}"), places.own, "{own}");
}

History expanded(History history, const Places &places) {
    for (auto &[name, lines] : history.files)
        for (std::string &line : lines)
            line = expanded(line, places);
    for (Call &call : history.calls) {
        if (call.name)
            call.name = expanded(*call.name, places);
        if (call.text)
            call.text = expanded(*call.text, places);
    }
    return history;
}

model::Configuration configuration_of(const History &history) {
    model::Configuration files;
    for (const auto &[name, lines] : history.files) {
        std::string &text = files[name];
        for (const std::string &line : lines)
            text += line;
    }
    return files;
}

std::string call_text(const Call &call) {
    std::string arguments;
    const auto add = [&](const std::string &one) { arguments += arguments.empty() ? one : ", " + one; };
    if (has_session(call.operation))
        add(call.session == model::NULL_SESSION ? "null session" : fmt::format("session {}", call.session));
    if (call.handle != 0)
        add(fmt::format("handle {}", call.handle));
    if (call.null_record)
        add("null record");
    if (call.null_out)
        add("null out");
    if (call.name)
        add(quoted_bytes(*call.name, longest_shown_text));
    if (call.text)
        add(quoted_bytes(*call.text, longest_shown_text));
    for (const std::string &host : call.hosts)
        add(fmt::format("host {}", quoted_bytes(host, longest_shown_text)));
    size_t shown = call.numbers.size();
    while (shown > 0 && call.numbers[shown - 1] == 0)
        --shown;
    for (size_t i = 0; i < shown; ++i)
        add(call.operation == Operation::ioctl
                ? fmt::format("{} ({:#x})", static_cast<int32_t>(static_cast<uint32_t>(call.numbers[i])),
                              call.numbers[i])
                : fmt::format("{:#x}", call.numbers[i]));
    if (call.ignored != model::UNREADABLE && has_ignored(call.operation))
        add(fmt::format("ignored {:#x}", call.ignored));
    if (call.library_status != 0 || call.library_status_2 != 0)
        add(fmt::format("library answers {} {}", call.library_status, call.library_status_2));
    return fmt::format("{}{}({}){}{}", model::entry_point_name(call), call.by_slot ? " by slot" : "", arguments,
                       opens(call.operation) && !call.null_out ? fmt::format(" -> {}", call.id) : "",
                       call.thread != 0 ? fmt::format(" on thread {}", call.thread) : "");
}

std::string history_text(const History &history) {
    std::string text;
    for (const auto &[name, lines] : history.files) {
        text += fmt::format("  {}.sim:\n", name);
        for (const std::string &line : lines)
            text += fmt::format("    {}\n", quoted_bytes(line, longest_shown_text));
    }
    for (const Call &call : history.calls)
        text += fmt::format("  {}\n", call_text(call));
    return text;
}

}  // namespace conformance
