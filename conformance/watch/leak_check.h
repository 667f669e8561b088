// What a test's process must not leave behind: files, links, descriptors, child processes, threads.
#pragma once

#include <set>
#include <string>

namespace conformance {

class LeakCheck {
public:
    // directory: the test's working directory, empty at the end.
    explicit LeakCheck(std::string directory);

    // A finding for each thing that is there now and was not when this object was made.
    void expect_nothing_left() const;

private:
    std::string directory_;
    std::set<std::string> descriptors_;
    size_t threads_;
};

// Descriptors open in this process, as "number -> target".
std::set<std::string> open_descriptors();

size_t thread_count();

// Child processes of this process, running or not waited for.
std::set<std::string> child_processes();

}  // namespace conformance
