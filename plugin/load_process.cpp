#include <ace/Log_Msg.h>
#include <ace/Process.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "stspi/stspi.h"

namespace {

constexpr size_t command_line_size = 1024;  // more for a longer command: a cut one could do harm
constexpr size_t environment_size = 16384;
constexpr size_t environment_count = 512;
constexpr size_t argument_count = 128;

template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

// The child's end: either becomes the program or tells through the pipe that it could not.
[[noreturn]] void run_program(char *const *arguments, int report) {
    execvp(arguments[0], arguments);
    const int error = errno;
    retried([&] { return write(report, &error, sizeof error); });
    _exit(127);
}

// Whether the program runs: the write end of the pipe closes on exec, so nothing arrives when it does.
bool was_started(int report) {
    int error = 0;
    return retried([&] { return read(report, &error, sizeof error); }) == 0;
}

}  // namespace

int32_t load_process(const char *program, const char *argument) {
    if (program == nullptr || argument == nullptr)
        return 0;
    const std::string command = std::string(program) + argument;
    if (command.find_first_not_of(' ') == std::string::npos)  // ACE crashes on a command line without a word
        return 0;

    const auto words = static_cast<size_t>(std::count(command.begin(), command.end(), ' ')) + 1;
    ACE_Process_Options options(true, std::max(command_line_size, command.size() + 1), environment_size,
                                environment_count, std::max(argument_count, words + 1));
    options.command_line("%s", command.c_str());
    // Forked only, and executed here: ACE's own way cannot tell a missing program from one that exits with status 2.
    options.creation_flags(ACE_Process_Options::NO_EXEC);
    // Otherwise ACE copies the first word, of any length, into a buffer of a path's size. Nothing uses this name.
    options.process_name("load_process");
    char *const *arguments = options.command_line_argv();

    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0)
        return 0;
    ACE_Log_Msg::instance();  // before the fork: made in the child of a threaded process it could find a lock held
    ACE_Process process;
    const pid_t child = process.spawn(options);
    if (child == 0)
        run_program(arguments, report[1]);
    close(report[1]);
    const bool started = child != -1 && was_started(report[0]);
    close(report[0]);
    if (child != -1)
        retried([&] { return process.wait(); });
    return started ? static_cast<int32_t>(process.exit_code()) : 0;
}
