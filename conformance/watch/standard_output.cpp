#include "conformance/watch/standard_output.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace conformance {

namespace {

off_t taken = 0;

}  // namespace

void redirect_output(int output_file, int error_file) {
    taken = 0;
    dup2(output_file, STDOUT_FILENO);
    dup2(error_file, STDERR_FILENO);
}

std::string take_output() { return output_since(taken); }

std::string output_since(off_t &place) {
    std::cout.flush();
    std::fflush(stdout);
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = pread(STDOUT_FILENO, buffer, sizeof buffer, place)) > 0; place += count)
        text.append(buffer, static_cast<size_t>(count));
    return text;
}

}  // namespace conformance
