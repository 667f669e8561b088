#include "simhost/report/report.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

#include "base/escaped_text.h"
#include "journal/calls/status_name.h"
#include "simhost/report/quantities.h"

namespace {

// Grows when a member changes its name, type or meaning or goes; not when one is added.
constexpr int document_version = 1;

constexpr char red[] = "\033[31m";
constexpr char green[] = "\033[32m";
constexpr char yellow[] = "\033[33m";
constexpr char dim[] = "\033[2m";

bool wants_colours(FILE *stream) {
    const char *no_color = std::getenv("NO_COLOR");
    const char *terminal = std::getenv("TERM");
    return isatty(fileno(stream)) != 0 && (no_color == nullptr || *no_color == '\0') &&
           (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

// A failure is left in the stream's error mark: one of standard output is told at the end, one of standard error cannot.
template <class... Arguments>
void put(FILE *stream, fmt::format_string<Arguments...> format, Arguments &&...arguments) {
    const std::string text = fmt::format(format, std::forward<Arguments>(arguments)...);
    std::fwrite(text.data(), 1, text.size(), stream);
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// A message of the plug-in often ends in a line end of its own.
std::string without_line_end(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

Json to_json(const Call &call) {
    Json json = {{"entry_point", call.entry_point},
                 {"arguments", call.arguments},
                 {"times", call.times},
                 {"status", call.status},
                 {"status_name", status_name(call.status)},
                 {"expected", call.expected},
                 {"seconds", call.seconds}};
    if (!call.result.empty())
        json["result"] = call.result;
    if (!call.expected && !call.reason.empty())
        json["reason"] = call.reason;
    if (!call.library_error.empty())
        json["library_error"] = call.library_error;
    if (!call.log.empty()) {
        Json log = Json::array();
        for (const LogLine &line : call.log)
            log.push_back({{"level", line.level}, {"text", line.text}});
        json["log"] = std::move(log);
    }
    return json;
}

}  // namespace

Report::Report(std::string command, const OutputOptions &options, FILE *own_output)
    : m_command(std::move(command)),
      m_options(options),
      m_out(own_output),
      m_people(own_output),
      m_colours(!options.json && wants_colours(own_output)) {}

std::string Report::paint(const char *colour, const std::string &text) const {
    return m_colours ? colour + text + "\033[0m" : text;
}

void Report::raw(const std::string &text) { put(m_out, "{}", text); }

void Report::write_line(const std::string &text) {
    if (m_options.json)
        return;
    put(m_people, "{}\n", text);
    std::fflush(m_people);
}

void Report::lines(const std::vector<std::string> &texts) {
    for (const std::string &text : texts)
        write_line(text);
}

void Report::call(const Call &call) {
    for (const std::string &line : lines_of(call.printed))
        m_printed.push_back(line);
    m_calls.push_back(to_json(call));
    if (m_options.json)
        return;
    if (m_show_calls || m_options.verbose) {
        FILE *stream = m_show_calls ? m_people : stderr;
        write_call(stream, call);
        std::fflush(stream);
        return;
    }
    for (const std::string &line : lines_of(call.printed))
        put(stderr, "simhost: the plug-in printed: {}\n", printable(line));
    // What the plug-in has to say about a call that went well is for -v.
    if (!call.expected)
        for (const LogLine &line : call.log)
            put(stderr, "simhost: the plug-in says: {}\n", printable(without_line_end(line.text)));
}

void Report::write_call(FILE *stream, const Call &call) const {
    const std::string name = call.times == 1 ? call.entry_point : fmt::format("{} x{}", call.entry_point, call.times);
    const std::string status = describe_status(call.status);
    const std::string padding(status.size() < 32 ? 32 - status.size() : 0, ' ');
    const std::string arguments = call.arguments.empty() ? "" : "  " + paint(dim, call.arguments);
    put(stream, "{:<33} {}{} {:>9}{}\n", name, paint(call.expected ? green : red, status), padding,
        format_duration(call.seconds), arguments);
    if (!call.result.empty())
        put(stream, "    = {}\n", call.result);
    if (!call.expected && !call.library_error.empty())
        put(stream, "    image library: {}\n", visible(call.library_error));
    for (const std::string &line : lines_of(call.printed))
        put(stream, "    printed: {}\n", paint(yellow, printable(line)));
    if (m_options.verbose || !call.expected)
        for (const LogLine &line : call.log)
            put(stream, "    log {}: {}\n", line.level, paint(dim, printable(without_line_end(line.text))));
}

void Report::warn(const std::string &text) {
    m_warnings.push_back(text);
    if (!m_options.json)
        put(stderr, "simhost: warning: {}\n", visible(text));
}

void Report::error(const std::string &text) {
    m_errors.push_back(text);
    put(stderr, "simhost: {}\n", visible(text));
}

void Report::fail(const std::string &text) {
    error(text);
    m_failed = true;
}

bool Report::shows_progress() const { return m_options.progress && isatty(STDERR_FILENO) != 0; }

ExitStatus Report::finish(ExitStatus status) {
    if (!m_printed.empty())
        warn(fmt::format("the plug-in printed {} line{} on standard output", m_printed.size(),
                         m_printed.size() == 1 ? "" : "s"));
    if (status == ExitStatus::good && m_failed)
        status = ExitStatus::bad;
    if (status == ExitStatus::good && m_options.strict && (!m_warnings.empty() || m_warnings_told))
        status = ExitStatus::warnings;
    if (m_options.json) {
        Json document = {{"format_version", document_version},
                         {"command", m_command},
                         {"ok", status == ExitStatus::good},
                         {"exit_status", m_signal == 0 ? static_cast<int>(status) : 128 + m_signal},
                         {"result", m_result},
                         {"warnings", m_warnings},
                         {"errors", m_errors},
                         {"plugin_output", m_printed},
                         {"calls", m_calls}};
        if (m_signal != 0)
            document["signal"] = m_signal;
        // Texts of the interface are bytes without an encoding; JSON is UTF-8, and ASCII is safe on a terminal, too.
        put(m_people, "{}\n", document.dump(2, ' ', true, Json::error_handler_t::replace));
    }
    std::fflush(m_people);
    if (std::fflush(m_out) == 0 && std::ferror(m_out) == 0)
        return status;
    if (!reader_has_gone())
        put(stderr, "simhost: cannot write to standard output\n");
    return ExitStatus::bad;
}

bool Report::reader_has_gone() const {
    pollfd output = {fileno(m_out), POLLOUT, 0};
    return std::ferror(m_out) != 0 && poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}
