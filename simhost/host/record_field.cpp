#include "simhost/host/record_field.h"

#include <fmt/format.h>

#include <cstring>

#include "simhost/report/failure.h"

void set_field(char *field, size_t size, const std::string &text, const char *what) {
    if (text.size() >= size)
        throw UsageError(fmt::format("{} is too long: {} bytes, {} fit", what, text.size(), size - 1));
    if (text.find('\0') != std::string::npos)
        throw UsageError(fmt::format("{} holds a NUL byte", what));
    std::memcpy(field, text.c_str(), text.size() + 1);
}
