#include "stsimage/last_error.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr size_t text_size = longest_failure;
thread_local char last_text[text_size];
thread_local int last_errno = 0;

int32_t status_of(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return STSIMG_E_NO_SPACE;
        case EACCES:
        case EPERM:
        case EROFS:
            return STSIMG_E_NO_ACCESS;
        case ENOMEM:
            return STSIMG_E_NO_MEMORY;
        case EFBIG:
        case EOVERFLOW:
            return STSIMG_E_TOO_LARGE;
        default:
            return STS_E_SYSTEM;
    }
}

}  // namespace

int32_t fail(int32_t status, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(last_text, text_size, format, arguments);
    va_end(arguments);
    last_errno = 0;
    return status;
}

int32_t fail_system(int error, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(last_text, text_size, format, arguments);
    va_end(arguments);
    const size_t used = std::strlen(last_text);
    const char *meaning = strerrordesc_np(error);
    std::snprintf(last_text + used, text_size - used, ": %s", meaning != nullptr ? meaning : "unknown error");
    last_errno = error;
    return status_of(error);
}

int32_t final_failure(int32_t status) {
    last_errno = 0;
    return status;
}

void tell_failure_again(const char *text, int error) {
    std::memcpy(last_text, text, std::strlen(text) + 1);
    last_errno = error;
}

const char *last_error() { return last_text; }

int last_system_error() { return last_errno; }

EarlierFailure::EarlierFailure() : error(last_errno) { std::memcpy(text, last_text, std::strlen(last_text) + 1); }

void EarlierFailure::tell_again() const { tell_failure_again(text, error); }

}  // namespace stsimage
