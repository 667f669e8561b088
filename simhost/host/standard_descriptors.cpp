#include "simhost/host/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace {

// The lowest free descriptor is the closed one: those below it are open.
bool hold_if_closed(int descriptor, int flags) {
    if (fcntl(descriptor, F_GETFD) >= 0)
        return false;
    if (open("/dev/null", flags) != descriptor)
        _exit(2);  // no /dev/null, and no place left to say so
    return true;
}

}  // namespace

bool prepare_standard_descriptors() {
    hold_if_closed(STDIN_FILENO, O_WRONLY);
    const bool no_output = hold_if_closed(STDOUT_FILENO, O_RDONLY);
    hold_if_closed(STDERR_FILENO, O_RDWR);
    if (no_output)
        std::fputs("simhost: standard output is closed; send what is not wanted to /dev/null\n", stderr);
    return !no_output;
}
