#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "simhost/commands/all_commands.h"
#include "simhost/commands/completion.h"
#include "simhost/host/interrupt.h"
#include "simhost/host/standard_descriptors.h"
#include "simhost/report/failure.h"
#include "simhost/simhost_version.h"

namespace {

ExitStatus carry_out(const CommandLine &line, int &signal) {
    CapturedStdout captured;
    Report report(line.command, line.output, captured.own_output());
    ExitStatus status = ExitStatus::good;
    try {
        Workbench bench{report, captured};
        line.action(bench);
    } catch (const UsageError &failure) {
        report.error(failure.what());
        status = ExitStatus::usage;
    } catch (const ReaderGone &) {
        signal = SIGPIPE;
        status = ExitStatus::bad;
    } catch (const Interrupted &failure) {
        report.error(failure.what());
        report.ends_by(failure.signal);
        signal = failure.signal;
        status = ExitStatus::bad;
    } catch (const std::exception &failure) {
        report.error(failure.what());
        status = ExitStatus::bad;
    }
    status = report.finish(status);
    if (report.reader_has_gone())
        signal = SIGPIPE;
    return status;
}

// For the completion scripts. Whatever the plug-in and its host have to say is nothing for somebody who is typing.
int print_completion(const CLI::App &app, const std::vector<std::string> &words) {
    if (std::freopen("/dev/null", "w", stderr) == nullptr)
        return static_cast<int>(ExitStatus::bad);
    const std::string text = completion_text(complete(app, words));
    std::fputs(text.c_str(), stdout);
    return static_cast<int>(ExitStatus::good);
}

}  // namespace

// What CLI11 or the C++ library throws here ends the program: there is nobody left to tell.
int main(int argc, char **argv) {  // NOLINT(bugprone-exception-escape)
    if (!prepare_standard_descriptors())
        return static_cast<int>(ExitStatus::usage);
    CommandLine line;
    CLI::App app("Drives a storage-server plug-in the way a backup framework does.", "simhost");
    app.set_version_flag("--version", "simhost " SIMHOST_VERSION, "Show the version and end");
    add_commands(app, line);
    if (argc > 1 && std::strcmp(argv[1], "--complete") == 0)
        return print_completion(app, {argv + 2, argv + argc});
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &failure) {
        if (failure.get_exit_code() == 0)
            return app.exit(failure);
        std::fputs(usage_error_text(app, failure).c_str(), stderr);
        return static_cast<int>(ExitStatus::usage);
    }
    catch_interrupts();
    int signal = 0;
    const ExitStatus status = carry_out(line, signal);
    if (signal != 0)
        end_by_signal(signal);
    return static_cast<int>(status);
}
