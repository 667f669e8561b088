#include "stsimage/host_last_error.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "stsimage/last_error.h"

namespace stsimage {

namespace {

std::atomic<const EngineHost *> current_host{nullptr};

}  // namespace

void use_host(const EngineHost *host) { current_host = host; }

int32_t fail(int32_t status, const char *format, ...) {
    char text[longest_failure];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return current_host.load()->tell(status, text);
}

int32_t fail_system(int error, const char *format, ...) {
    char text[longest_failure];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return current_host.load()->tell_system(error, text);
}

}  // namespace stsimage
