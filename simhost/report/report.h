// What a command tells: for people line by line, or as one JSON document at the end.
//
// A command's answer goes to standard output. The calls it makes go to standard output too for a command that is about
// the calls (run), otherwise to standard error and only when asked for. Errors, warnings and what the plug-in prints go
// to standard error, or into the document.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simhost/report/failure.h"
#include "simhost/report/log_line.h"

using Json = nlohmann::ordered_json;

struct OutputOptions {
    bool json = false;
    bool verbose = false;
    bool strict = false;
    bool progress = true;
};

// One call of an entry point, or several of the same one in a row.
struct Call {
    std::string entry_point;
    std::string arguments;
    uint64_t times = 1;
    int32_t status = 0;
    bool expected = true;
    double seconds = 0;
    std::string result;  // what came back, in short
    std::string reason;  // why it failed, when more is known than what the status means
    std::vector<LogLine> log;
    std::string printed;        // on standard output, by the plug-in
    std::string library_error;  // the image library's own words for its last failure, with escapes of its own
};

class Report {
public:
    // own_output is the standard output as it was before it was captured.
    Report(std::string command, const OutputOptions &options, FILE *own_output);

    const OutputOptions &options() const { return m_options; }
    FILE *own_output() const { return m_out; }
    // Whether the answer is data on standard output: then lines for people go to standard error.
    void answer_is_data() { m_people = stderr; }

    // Shows calls on standard output from now on.
    void show_calls() { m_show_calls = true; }
    void call(const Call &call);

    // Text for standard output as it is, in any case.
    void raw(const std::string &text);
    // A line of the answer, for people.
    template <class... Arguments>
    void line(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
        write_line(fmt::format(format, std::forward<Arguments>(arguments)...));
    }
    void lines(const std::vector<std::string> &texts);
    // The answer, for programs; becomes the member "result".
    Json &result() { return m_result; }

    void warn(const std::string &text);
    // The answer holds warnings: they count for --strict without being told once more.
    void warnings_told() { m_warnings_told = true; }
    void error(const std::string &text);
    // The program is going to end by this signal.
    void ends_by(int signal) { m_signal = signal; }
    // An error that comes up when the command's own end is settled: it ends with status 1 at best.
    void fail(const std::string &text);

    // Progress bars are drawn on standard error when it is a terminal.
    bool shows_progress() const;
    bool colours() const { return m_colours; }

    // Whether writing failed because standard output is a pipe that nobody reads any more.
    bool reader_has_gone() const;
    // Writes what is outstanding. status as the command ended; the result is the status to exit with.
    ExitStatus finish(ExitStatus status);

private:
    void write_line(const std::string &text);
    void write_call(FILE *stream, const Call &call) const;
    std::string paint(const char *colour, const std::string &text) const;

    std::string m_command;
    OutputOptions m_options;
    FILE *m_out;
    FILE *m_people;
    bool m_show_calls = false;
    bool m_colours;
    Json m_result = Json::object();
    Json m_calls = Json::array();
    Json m_printed = Json::array();
    Json m_warnings = Json::array();
    bool m_warnings_told = false;
    int m_signal = 0;
    bool m_failed = false;
    Json m_errors = Json::array();
};
