#include "conformance/model/text_rules.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace conformance::model {

namespace {

constexpr size_t longest_piece = 1023;
constexpr size_t name_field = 32;

bool is_letter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }
bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

std::string without_white_space(const std::string &piece) {
    std::string out;
    for (const char byte : piece)
        if (std::strchr(" \t\n\v\f\r", byte) == nullptr || byte == '\0')
            out += byte;
    return out;
}

uint64_t unit_of(char letter) {
    switch (letter) {
        case 'k':
        case 'K':
            return uint64_t{1} << 10;
        case 'm':
        case 'M':
            return uint64_t{1} << 20;
        case 'g':
        case 'G':
            return uint64_t{1} << 30;
        case 't':
        case 'T':
            return uint64_t{1} << 40;
        case 'p':
        case 'P':
            return uint64_t{1} << 50;
        default:
            return 1;
    }
}

}  // namespace

std::string before_colon(const std::string &name) { return name.substr(0, name.find(':')); }

std::string after_colon(const std::string &name) {
    const size_t colon = name.find(':');
    return colon == std::string::npos ? name : name.substr(colon + 1);
}

bool starts_with(const std::string &text, const std::string &beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

std::vector<std::string> squeezed_lines(const std::string &file) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < file.size();) {
        const size_t end = file.find('\n', at);
        const size_t length = std::min(end == std::string::npos ? file.size() - at : end + 1 - at, longest_piece);
        lines.push_back(without_white_space(file.substr(at, length)));
        at += length;
    }
    return lines;
}

std::string clean_name(const std::string &value) {
    std::string name;
    for (const char byte : value.substr(0, name_field - 1)) {
        if (!is_letter(byte) && !is_digit(byte) && byte != '_' && byte != '-' && byte != '.')
            break;
        name += byte;
    }
    return name;
}

std::vector<std::string> name_list(const std::string &value) {
    std::vector<std::string> names;
    for (size_t at = 0; at < value.size();) {
        const size_t end = std::min(value.find(',', at), value.size());
        if (end > at)
            names.push_back(clean_name(value.substr(at, end - at)));
        at = end + 1;
    }
    return names;
}

uint64_t size_in_bytes(const std::string &value) {
    const char before_last = value.size() < 2 ? '\0' : value[value.size() - 2];
    const uint64_t unit = is_letter(before_last) ? unit_of(before_last) : 1;
    const auto number = static_cast<int32_t>(static_cast<uint32_t>(std::strtol(value.c_str(), nullptr, 10)));
    return static_cast<uint64_t>(int64_t{number}) * unit;
}

std::string cut(const std::string &text, size_t field_size) { return text.substr(0, field_size - 1); }

}  // namespace conformance::model
