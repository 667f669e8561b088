#include "conformance/watch/leak_check.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "conformance/watch/call_watch.h"
#include "conformance/watch/creations.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/sanitizers.h"
#include "conformance/watch/task_state.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

// Each with the call that left it.
void expect_none(const std::string &what, const std::set<std::string> &extra,
                 const std::function<std::string(const std::string &)> &culprit) {
    for (const std::string &one : extra)
        add_finding_of(culprit(one), what, "none left behind", one);
}

std::set<std::string> entries_below(const std::string &directory) {
    std::set<std::string> found;
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(directory, fs::directory_options::skip_permission_denied, error);
         it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (error)
            break;
        found.insert(it->path().string());
    }
    return found;
}

// Of a child that nobody waits for because SIGCHLD is ignored, the end comes a moment before it leaves the lists.
bool is_vanishing(const std::string &process) {
    const char state = task_state(fmt::format("/proc/{}", process));
    return state == 'X' || state == '\0';
}

}  // namespace

std::set<std::string> open_descriptors() {
    std::set<std::string> found;
    for (int number = 0; number < 1024; ++number) {
        if (fcntl(number, F_GETFD) < 0)
            continue;
        char target[512];
        const auto length = readlink(fmt::format("/proc/self/fd/{}", number).c_str(), target, sizeof target - 1);
        if (length >= 0)
            found.insert(fmt::format("{} -> {}", number, std::string(target, static_cast<size_t>(length))));
    }
    return found;
}

size_t thread_count() {
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator("/proc/self/task"))
        ++count;
    return count;
}

std::set<std::string> child_processes() {
    std::set<std::string> found;
    for (const auto &task : fs::directory_iterator("/proc/self/task")) {
        std::ifstream children(task.path() / "children");
        for (std::string id; children >> id;)
            if (!is_vanishing(id))
                found.insert(id);
    }
    return found;
}

LeakCheck::LeakCheck(std::string directory)
    : directory_(std::move(directory)), descriptors_(open_descriptors()), threads_(thread_count()) {}

void LeakCheck::expect_nothing_left() const {
    expect_none("files and links", entries_below(directory_), creator_of);
    expect_nothing_outside();
    std::set<std::string> opened;
    for (const std::string &descriptor : open_descriptors())
        if (descriptors_.count(descriptor) == 0)
            opened.insert(descriptor);
    expect_none("descriptors", opened, [](const std::string &one) { return opener_of_descriptor(std::stoi(one)); });
    expect_none("child processes", child_processes(), [](const std::string &) { return starter_of_children(); });
    // A joined thread may need a moment to vanish from the kernel's list.
    const size_t allowed = threads_ + threads_of_sanitizer;
    for (int tries = 0; thread_count() > allowed && tries < 400; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (const size_t now = thread_count(); now > allowed)
        add_finding_of(starter_of_threads(), "threads", std::to_string(allowed), std::to_string(now));
}

}  // namespace conformance
