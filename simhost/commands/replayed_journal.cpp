#include "simhost/commands/replayed_journal.h"

#include <cstdlib>

#include "journal/read_error.h"
#include "simhost/host/plugin_library.h"

void add_replay_options(CLI::App &command, ReplayOptions &options) {
    command.add_option("JOURNAL", options.journal, "Journal whose calls are made again")->required();
    command
        .add_option(
            "-p,--plugin", options.plugin,
            "Plug-in to load (default: the libstspi_kelvarpool.so that was built or installed with this program)")
        ->type_name("FILE");
    command
        .add_option("--image-library", options.image_library,
                    "Image library to load for the plug-in (default: the one it finds itself)")
        ->type_name("FILE");
    command
        .add_option("--image-root", options.image_root,
                    "Where the substitute image library keeps images of LSUs whose text is not a path "
                    "(default: $STSIMAGE_ROOT, or the library's own)")
        ->type_name("DIR");
    command
        .add_option("-c,--config-dir", options.config_dir,
                    "Directory with the .sim files (default: $SIMHOST_CONFIG_DIR, or /etc/quillmere)")
        ->type_name("DIR")
        ->envname("SIMHOST_CONFIG_DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""));
    command.add_option("--timeout", options.timeout_seconds, "Seconds until calls that do not end are given up (60)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 86400U).description(""));
}

ReplaySettings replay_settings(const ReplayOptions &options) {
    if (!options.image_root.empty())
        setenv("STSIMAGE_ROOT", options.image_root.c_str(), 1);
    ReplaySettings settings;
    settings.plugin = options.plugin.empty() ? default_plugin_path() : options.plugin;
    settings.image_library = options.image_library;
    settings.config_dir = options.config_dir;
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
