// What a file system keeps of that which the image library relies on, on one host and between two.
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "stsimage/probe/one_mount.h"
#include "stsimage/probe/two_mounts.h"

namespace fs = std::filesystem;

using namespace stsimage::probe;

namespace {

constexpr char usage[] =
    "Usage: stsimage-probe DIRECTORY [SAME-DIRECTORY-BY-ANOTHER-MOUNT]\n"
    "\n"
    "Tries what the image library relies on, in a directory of its own below DIRECTORY, which it removes again.\n"
    "With a second mount of the same file system, it tries what holds between two hosts.\n"
    "\n"
    "Exit status: 0 all that is needed holds, 1 it does not, 2 it could not be tried.\n";

// A directory of the probe's own, removed at the end.
class Workplace {
public:
    explicit Workplace(const std::string &directory) : path(directory + "/stsimage-probe-XXXXXX") {
        if (mkdtemp(path.data()) == nullptr)
            throw fs::filesystem_error("cannot make a directory", path,
                                       std::error_code(errno, std::generic_category()));
    }
    Workplace(const Workplace &) = delete;
    Workplace &operator=(const Workplace &) = delete;
    ~Workplace() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }

    std::string path;
};

bool appears(const std::string &path) {
    for (int attempt = 0; attempt < 50; ++attempt) {
        std::error_code ignored;
        if (fs::is_directory(path, ignored))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

// Returns whether all that is needed holds.
bool tell(const char *heading, const std::vector<Finding> &findings) {
    static constexpr const char *answers[] = {"yes", "no", "?"};
    bool fine = true;
    std::printf("%s\n", heading);
    for (const Finding &finding : findings) {
        const bool amiss = finding.needed && finding.answer != Answer::yes;
        std::printf("  %-4s %s%s%s%s\n", answers[static_cast<int>(finding.answer)], finding.what.c_str(),
                    finding.detail.empty() ? "" : ": ", finding.detail.c_str(), amiss ? "  <- needed" : "");
        fine = fine && !amiss;
    }
    return fine;
}

int probe(const std::string &directory, const char *other) {
    const Workplace workplace(directory);
    bool fine = tell("On one host", try_one_mount(workplace.path));
    if (other != nullptr) {
        const std::string there = (fs::path(other) / fs::path(workplace.path).filename()).string();
        if (!appears(there)) {
            std::fprintf(stderr,
                         "stsimage-probe: %s is not the same directory: what is made in %s does not appear there\n",
                         other, directory.c_str());
            return 2;
        }
        fine = tell("Between two hosts", try_two_mounts(workplace.path, there)) && fine;
    }
    std::printf("%s\n",
                fine ? "All that the image library needs holds." : "The image library cannot keep its promises here.");
    return fine ? 0 : 1;
}

}  // namespace

int main(int count, char **arguments) {
    if (count == 2 && std::string(arguments[1]) == "--help") {
        std::fputs(usage, stdout);
        return 0;
    }
    if (count < 2 || count > 3 || arguments[1][0] == '-') {
        std::fputs(usage, stderr);
        return 2;
    }
    try {
        return probe(arguments[1], count == 3 ? arguments[2] : nullptr);
    } catch (const std::exception &trouble) {
        std::fprintf(stderr, "stsimage-probe: %s\n", trouble.what());
        return 2;
    }
}
