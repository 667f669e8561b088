#include "simhost/commands/mending.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/escaped_text.h"
#include "simhost/commands/file_replacement.h"
#include "simhost/report/failure.h"

namespace {

// A second name for the file. No name that ends in ".sim", which the plug-in would read.
std::string keep_old(const std::string &path) {
    for (int number = 0; number < 1000; ++number) {
        std::string kept = number == 0 ? path + ".orig" : fmt::format("{}.orig.{}", path, number);
        if (link(path.c_str(), kept.c_str()) == 0)
            return kept;
        if (errno != EEXIST)
            break;
    }
    throw UsageError(
        fmt::format("{}: no copy of the file can be kept beside it: {}", printable(path), std::strerror(errno)));
}

}  // namespace

std::string write_mended(const std::string &path, const Mend &mend) {
    FileReplacement replacement(path);
    replacement.fill(mend.bytes);
    std::string kept = keep_old(replacement.target());
    replacement.take_place();
    return kept;
}
