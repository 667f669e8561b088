#include "conformance/watch/log_recorder.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>

#include "conformance/report/log_diff.h"
#include "conformance/watch/call_note.h"

namespace conformance {

namespace {

// Contexts are no addresses, so that one lost or changed on its way is told from a right one.
constexpr uint64_t context_base = 0xc0de5e55'00000000;

std::deque<std::unique_ptr<Session>> &sessions() {
    static std::deque<std::unique_ptr<Session>> list;
    return list;
}

MessageListener message_listener = nullptr;

std::string show(uint64_t context, int32_t level, const std::string &text) {
    return fmt::format("level {} context {:x} {}", level, context, quoted_bytes(text));
}

bool passes(const LogLine &line, uint32_t mask) {
    return line.log_class == LogClass::unmasked ||
           (mask & (line.log_class == LogClass::trace ? STS_LOG_MASK_TRACE : STS_LOG_MASK_ERROR)) != 0;
}

}  // namespace

LogLine trace(const std::string &text) { return {LogClass::trace, text}; }
LogLine error(const std::string &text) { return {LogClass::error, text}; }
LogLine unmasked(const std::string &text) { return {LogClass::unmasked, text}; }
LogLine entering(const std::string &entry_point) { return trace("++++ Entering " + entry_point + "\n"); }
LogLine leaving(const std::string &entry_point) { return trace("---- Leaving " + entry_point + "\n"); }

void set_message_listener(MessageListener listener) { message_listener = listener; }

void receive(uint64_t context, const char *text, int32_t level) {
    if (message_listener != nullptr)
        message_listener(level, text == nullptr ? "" : text);
    const uint64_t index = context - context_base;
    Session *session = index < sessions().size() ? sessions()[index].get() : nullptr;
    if (session == nullptr) {
        add_finding("log context", "the context of a session", fmt::format("{:x}", context));
        return;
    }
    if (!is_this_thread_in_a_call())
        add_finding("thread of the message " + quoted_bytes(text == nullptr ? "(null)" : text, 60),
                    "the one that made the call", "another");
    if (session->on_message)
        session->on_message();
    session->messages_.push_back(
        {context, text == nullptr ? "(null)" : text, level, static_cast<int>(syscall(SYS_gettid))});
}

Session::Session(uint32_t mask, bool is_null) : is_null_(is_null), record_(both_fills[0]) {
    record_->log_context = context_base + sessions().size();
    record_->log_function = receive;
    set_mask(mask);
}

Session &new_session(uint32_t mask) {
    return *sessions().emplace_back(std::unique_ptr<Session>(new Session(mask, false)));
}

Session &new_null_session() { return *sessions().emplace_back(std::unique_ptr<Session>(new Session(0, true))); }

std::vector<std::string> Session::shown(const std::vector<LogLine> &lines) const {
    std::vector<std::string> texts;
    if (is_null_ || record_->log_function == nullptr)
        return texts;
    for (const LogLine &line : lines)
        if (passes(line, record_->log_mask))
            texts.push_back(show(record_->log_context,
                                 line.log_class == LogClass::trace ? STS_LOG_LEVEL_TRACE : STS_LOG_LEVEL_ERROR,
                                 line.text));
    return texts;
}

std::vector<std::string> Session::take_shown_messages() {
    std::vector<std::string> texts;
    texts.reserve(messages_.size());
    for (const RecordedMessage &message : messages_)
        texts.push_back(show(message.context, message.level, message.text));
    clear();
    return texts;
}

void Session::add_log_finding(const std::vector<std::string> &expected, const std::vector<std::string> &got) const {
    const auto both = static_cast<std::ptrdiff_t>(std::min(expected.size(), got.size()));
    const auto place = std::mismatch(expected.begin(), expected.begin() + both, got.begin());
    const std::string where =
        is_null_ ? "log of a null session" : fmt::format("log under mask 0x{:x}", record_->log_mask);
    add_finding(fmt::format("{}, message {}", where, place.first - expected.begin() + 1),
                place.first == expected.end() ? "none" : *place.first,
                place.second == got.end() ? "none" : *place.second, log_diff(expected, got));
}

bool Session::expect_log(const std::vector<LogLine> &lines) {
    const auto expected = shown(lines);
    const auto got = take_shown_messages();
    if (expected != got)
        add_log_finding(expected, got);
    return expected == got;
}

bool Session::expect_log_around(const std::vector<LogLine> &before, const std::vector<LogLine> &after) {
    const auto begin = shown(before);
    const auto end = shown(after);
    const auto got = take_shown_messages();
    const bool holds = got.size() >= begin.size() + end.size() && std::equal(begin.begin(), begin.end(), got.begin()) &&
                       std::equal(end.rbegin(), end.rend(), got.rbegin());
    if (!holds) {
        auto expected = begin;
        expected.emplace_back("anything");
        expected.insert(expected.end(), end.begin(), end.end());
        add_log_finding(expected, got);
    }
    return holds;
}

void Session::set_mask(uint32_t mask) {
    record_->log_mask = mask;
    record_.remember();
}

void Session::set_log_function(sts_log_function_t function) {
    record_->log_function = function;
    record_.remember();
}

void Session::expect_unwritten() { record_.expect_untouched("session record"); }

void for_every_mask(const std::function<void(Session &)> &action) {
    for (const uint32_t mask : {0xffU, 0x9U, 0x1U, 0x8U, 0x0U, 0xf6U, 0xffffff00U, 0x101U, 0x800U})
        action(new_session(mask));
    Session &without_function = new_session();
    without_function.set_log_function(nullptr);
    action(without_function);
    action(new_null_session());
}

void expect_under_every_mask(int32_t status, const std::vector<LogLine> &lines,
                             const std::function<int32_t(Session &)> &action) {
    for_every_mask([&](Session &session) {
        expect_status(action(session), status);
        session.expect_log(lines);
        session.expect_unwritten();
    });
}

}  // namespace conformance
