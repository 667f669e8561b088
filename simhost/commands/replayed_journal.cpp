#include "simhost/commands/replayed_journal.h"

#include "journal/read_error.h"
#include "simhost/host/image_root.h"
#include "simhost/host/plugin_library.h"

void add_replay_options(CLI::App &command, ReplayOptions &options) {
    command.add_option("JOURNAL", options.journal, "Journal whose calls are made again")->required();
    add_plugin_options(command, options.host);
    command.add_option("--timeout", options.timeout_seconds, "Seconds until calls that do not end are given up (60)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 86400U).description(""));
}

ReplaySettings replay_settings(const ReplayOptions &options) {
    if (!options.host.image_root.empty())
        use_image_root(options.host.image_root);
    ReplaySettings settings;
    settings.plugin = options.host.plugin.empty() ? default_plugin_path() : options.host.plugin;
    settings.image_library = options.host.image_library;
    settings.config_dir = options.host.config_dir;
    settings.pace = options.pace == "real" ? ReplayPace::as_recorded : ReplayPace::as_fast_as_possible;
    settings.time_limit = std::chrono::seconds(options.timeout_seconds);
    return settings;
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

ReplayOutcome replayed(const RecordedSession &session, const std::vector<bool> &wanted, const ReplaySettings &settings,
                       const std::string &path) {
    ReplayOutcome outcome = replay_calls(session, wanted, settings, path);
    if (outcome.end == ReplayOutcome::End::failed)
        throw UsageError(fmt::format("the calls cannot be made again: {}", outcome.reason));
    return outcome;
}
