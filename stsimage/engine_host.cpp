#include "stsimage/engine_host.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "stsimage/call_patience.h"
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

EarlierFailure::EarlierFailure() {
    const char *const latest = current_host.load()->latest(error);
    std::memcpy(text, latest, std::strlen(latest) + 1);
}

void EarlierFailure::tell_again() const { current_host.load()->tell_again(text, error); }

void give_up_open_at_end() { current_host.load()->give_up_open_at_end(); }

std::chrono::milliseconds time_left_at_end() { return current_host.load()->time_left_at_end(); }

CallState &call_state() { return current_host.load()->call_state(); }

}  // namespace stsimage
