#include "simhost/text_field.h"

#include <fmt/format.h>

#include "simhost/failure.h"

void set_field(char *field, size_t size, const std::string &text, const char *what) {
    if (text.size() >= size)
        throw UsageError(fmt::format("{} is too long: {} bytes, {} fit", what, text.size(), size - 1));
    if (text.find('\0') != std::string::npos)
        throw UsageError(fmt::format("{} holds a NUL byte", what));
    std::memcpy(field, text.c_str(), text.size() + 1);
}

namespace {

std::string escaped(const std::string &text, bool quotes) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == '\n')
            result += "\\n";
        else if (byte < 0x20 || byte == 0x7f)
            result += fmt::format("\\x{:02x}", byte);
        else if (c == '\\' || (quotes && c == '"'))
            result += {'\\', c};
        else
            result += c;
    }
    return result;
}

}  // namespace

std::string in_quotes(const std::string &text) { return '"' + escaped(text, true) + '"'; }

std::string printable(const std::string &text) { return escaped(text, false); }
