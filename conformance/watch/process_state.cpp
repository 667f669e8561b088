#include "conformance/watch/process_state.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>

namespace conformance {

namespace {

std::string directory_now() {
    char directory[4096];
    return getcwd(directory, sizeof directory) == nullptr ? "" : directory;
}

unsigned umask_now() {
    const mode_t mask = umask(022);
    umask(mask);
    return mask;
}

}  // namespace

ProcessState::ProcessState() : umask_(umask_now()), locale_(setlocale(LC_ALL, nullptr)), directory_(directory_now()) {
    signals_.take();
    environment_.take();
}

std::vector<ProcessChange> ProcessState::changes() const {
    std::vector<ProcessChange> changes;
    if (!signals_.is_current()) {
        const auto difference = signals_.difference();
        changes.push_back({"signal dispositions and mask of the process", difference.then, difference.now});
    }
    if (!environment_.is_current()) {
        const auto difference = environment_.difference();
        changes.push_back({"environment of the process", difference.then, difference.now});
    }
    const auto compare = [&](const char *what, const std::string &before, const std::string &now) {
        if (before != now)
            changes.push_back({what, before, now});
    };
    compare("umask of the process", fmt::format("{:04o}", umask_), fmt::format("{:04o}", umask_now()));
    compare("locale of the process", locale_, setlocale(LC_ALL, nullptr));
    compare("working directory of the process", directory_, directory_now());
    return changes;
}

}  // namespace conformance
