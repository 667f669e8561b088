#include <csignal>
#include <cstdio>
#include <exception>

#include "simhost/commands/command_line.h"
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

}  // namespace

// What CLI11 or the C++ library throws here ends the program: there is nobody left to tell.
int main(int argc, char **argv) {  // NOLINT(bugprone-exception-escape)
    if (!prepare_standard_descriptors())
        return static_cast<int>(ExitStatus::usage);
    CommandLine line;
    CLI::App app("Drives a storage-server plug-in the way a backup framework does.", "simhost");
    app.set_version_flag("--version", "simhost " SIMHOST_VERSION, "Show the version and end");
    add_commands(app, line);
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
