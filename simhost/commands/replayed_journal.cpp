#include "simhost/commands/replayed_journal.h"

#include <filesystem>

#include "base/escaped_text.h"
#include "journal/read_error.h"
#include "simhost/host/image_root.h"
#include "simhost/host/plugin_library.h"

void add_replay_options(CLI::App &command, ReplayOptions &options) {
    command.add_option("JOURNAL", options.journal, "Journal whose calls are made again")->required();
    add_host_options(command, options.host);
    command.add_option("--timeout", options.timeout_seconds, "Seconds until calls that do not end are given up (60)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 86400U).description(""));
}

RecordedSession recorded_session(const ReplayOptions &options, Report &report) {
    uint64_t left_out = 0;
    RecordedSession session;
    try {
        session = read_recorded_calls(options.journal, left_out);
    } catch (const journal::ReadError &error) {
        throw UsageError(error.what());
    }
    if (session.steps.empty())
        throw UsageError(fmt::format("{}: there are no calls in this journal", options.journal));
    if (left_out != 0)
        report.warn(fmt::format("{}: {} {} not whole in the journal and cannot be made again", options.journal,
                                left_out, left_out == 1 ? "call is" : "calls are"));
    if (session.processes > 1)
        report.warn(fmt::format("{}: the calls of {} processes are made in one", options.journal, session.processes));
    return session;
}

void demand_another_file(const ReplayOptions &options, const char *option, const std::string &written) {
    std::error_code failure;
    if (!written.empty() && std::filesystem::equivalent(written, options.journal, failure))
        throw UsageError(fmt::format("{} {}: this is the journal whose calls are made", option, printable(written)));
}

ReplayPlace::ReplayPlace(const ReplayOptions &options) : m_host(options.host) {
    demand_another_file(options, "--record", m_host.filter.record);
    if (!m_host.image_root.empty())
        use_image_root(m_host.image_root);
    m_settings.plugin = m_host.plugin.empty() ? default_plugin_path() : m_host.plugin;
    m_settings.image_library = m_host.image_library;
    m_settings.config_dir = m_host.config_dir;
    m_settings.pace = options.pace == "real" ? ReplayPace::as_recorded : ReplayPace::as_fast_as_possible;
    m_settings.time_limit = std::chrono::seconds(options.timeout_seconds);
}

ReplayOutcome ReplayPlace::replayed(const RecordedSession &session, const std::vector<bool> &wanted,
                                    const std::string &path) {
    if (m_host.filter.wanted()) {
        m_filter.emplace(m_host.filter, m_host.plugin, default_plugin_path());
        m_settings.plugin = default_filter_path();
    }
    ReplayOutcome outcome = replay_calls(session, wanted, m_settings, path);
    if (outcome.end == ReplayOutcome::End::failed)
        throw UsageError(fmt::format("the calls cannot be made again: {}", outcome.reason));
    return outcome;
}

void ReplayPlace::tell(Report &report) const {
    if (m_filter)
        m_filter->tell(report);
}
