// One piece of work in a process of its own, with a time limit, and what became of it.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conformance/run/process_time.h"
#include "conformance/watch/call_note.h"

namespace conformance {

// A file without a name, closed with the object.
class UnnamedFile {
public:
    explicit UnnamedFile(const char *label);
    ~UnnamedFile();
    UnnamedFile(UnnamedFile &&other) noexcept;
    UnnamedFile &operator=(UnnamedFile &&) = delete;

    int descriptor() const { return descriptor_; }
    std::string contents() const;

private:
    int descriptor_;
};

class ChildProcess {
public:
    using Clock = std::chrono::steady_clock;

    // Forks at once. work receives the file for its report; its standard output and error go to files. The process leads
    // a group of its own, and dies with this one. Its time is that of ProcessTime: a busy machine is not its fault.
    ChildProcess(const std::function<void(int report)> &work, std::chrono::milliseconds time_limit);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    // Readable when the process has ended.
    int end_descriptor() const { return end_descriptor_; }
    // Asked a few times a second.
    bool is_out_of_time();

    // Waits for the process; first ends it, with its whole group, when it has not ended yet.
    void finish();

    // After finish().
    bool timed_out() const { return timed_out_; }
    // True when the work came to its end and the process ended with status 0.
    bool ended_well() const;
    // What became of a process that did not end well: "ended by signal 11 (SIGSEGV) in stspi_claim(...)".
    std::string end_text() const;
    bool crashed() const;
    double seconds() const { return seconds_; }
    std::string report() const { return report_.contents(); }
    std::string standard_output() const { return output_.contents(); }
    // The last lines of standard error.
    std::string error_output() const;

private:
    UnnamedFile report_;
    UnnamedFile output_;
    UnnamedFile errors_;
    SharedNote *note_;
    int process_;
    int end_descriptor_;
    Clock::time_point start_;
    std::chrono::milliseconds time_limit_;
    std::optional<ProcessTime> time_;
    Clock::time_point next_look_;
    double seconds_ = 0;
    int wait_status_ = 0;
    bool finished_ = false;
    bool timed_out_ = false;
};

// Waits until one of the processes ends or its time is up, then finishes it; gives its index. Gives the number of
// processes when stopped() turns true, which is asked after every signal, and a few times a second.
size_t wait_for_any(const std::vector<ChildProcess *> &children, const std::function<bool()> &stopped);

}  // namespace conformance
