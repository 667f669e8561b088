#include <ace/Tokenizer_T.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "stspi/stspi.h"

namespace {

template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

// Through which a child tells that it could not become the program. Both ends close on exec, and neither blocks: children
// that other threads fork meanwhile may keep the write end open for as long as they like.
class ReportPipe {
public:
    ReportPipe() {
        if (pipe2(m_ends, O_CLOEXEC | O_NONBLOCK) != 0)
            m_ends[0] = m_ends[1] = -1;
    }
    ~ReportPipe() {
        if (!is_open())
            return;
        close(m_ends[0]);
        close(m_ends[1]);
    }
    ReportPipe(const ReportPipe &) = delete;
    ReportPipe &operator=(const ReportPipe &) = delete;

    bool is_open() const { return m_ends[0] != -1; }

    void send(int error) const {
        retried([&] { return write(m_ends[1], &error, sizeof error); });
    }

    bool holds_a_report() const {
        int error = 0;
        return retried([&] { return read(m_ends[0], &error, sizeof error); }) > 0;
    }

private:
    int m_ends[2];
};

// The child's end: either becomes the program or reports that it could not.
[[noreturn]] void run_program(char *const *arguments, const ReportPipe &report) {
    execvp(arguments[0], arguments);
    report.send(errno);
    _exit(127);
}

// A command line and the words in it. ACE's options for processes split it in the same way, but end the process when there
// is no memory for their buffers.
class CommandLine {
public:
    CommandLine(const char *program, const char *argument) {
        m_text.insert(m_text.end(), program, program + std::strlen(program));
        m_text.insert(m_text.end(), argument, argument + std::strlen(argument) + 1);
        ACE_Tokenizer_T<char> words(m_text.data());
        words.delimiter_replace(' ', '\0');
        words.preserve_designators('"', '"');
        words.preserve_designators('\'', '\'');
        while (char *word = words.next())
            m_words.push_back(word);
        m_words.push_back(nullptr);
    }

    bool is_blank() const { return m_words.front() == nullptr; }

    // Ends with a null pointer.
    char *const *words() const { return m_words.data(); }

private:
    std::vector<char> m_text;
    std::vector<char *> m_words;
};

}  // namespace

int32_t load_process(const char *program, const char *argument) {
    if (program == nullptr || argument == nullptr)
        return 0;
    const CommandLine command(program, argument);
    if (command.is_blank())
        return 0;
    const ReportPipe report;
    if (!report.is_open())
        return 0;
    const pid_t child = fork();
    if (child == 0)
        run_program(command.words(), report);
    if (child == -1)
        return 0;
    int status = 0;
    retried([&] { return waitpid(child, &status, 0); });
    return report.holds_a_report() ? 0 : status;
}
