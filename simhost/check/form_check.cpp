#include "simhost/check/form_check.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "sim/ascii.h"

namespace {

enum class Utf16 { none, little_endian, big_endian };

// By its mark, or by the zero bytes of plain letters.
Utf16 utf16_of(const std::string &bytes) {
    if (bytes.compare(0, 2, "\xFF\xFE") == 0)
        return Utf16::little_endian;
    if (bytes.compare(0, 2, "\xFE\xFF") == 0)
        return Utf16::big_endian;
    if (bytes.size() < 4 || bytes.size() % 2 != 0)
        return Utf16::none;
    size_t even = 0;
    size_t odd = 0;
    const size_t looked_at = std::min<size_t>(bytes.size(), 512);
    for (size_t i = 0; i < looked_at; ++i)
        if (bytes[i] == '\0')
            ++(i % 2 == 0 ? even : odd);
    if (odd == looked_at / 2 && even == 0)
        return Utf16::little_endian;
    return even == looked_at / 2 && odd == 0 ? Utf16::big_endian : Utf16::none;
}

void append_utf8(std::string &text, uint32_t code) {
    const auto add = [&](uint32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xc0 | code >> 6);
        add(0x80 | (code & 0x3f));
    } else if (code < 0x10000) {
        add(0xe0 | code >> 12);
        add(0x80 | (code >> 6 & 0x3f));
        add(0x80 | (code & 0x3f));
    } else {
        add(0xf0 | code >> 18);
        add(0x80 | (code >> 12 & 0x3f));
        add(0x80 | (code >> 6 & 0x3f));
        add(0x80 | (code & 0x3f));
    }
}

// Without the mark. Halves of pairs become U+FFFD.
std::string utf8_of(const std::string &bytes, Utf16 order) {
    const auto unit = [&](size_t index) {
        const auto first = static_cast<unsigned char>(bytes[index]);
        const auto second = static_cast<unsigned char>(bytes[index + 1]);
        return order == Utf16::little_endian ? static_cast<uint32_t>(first | second << 8)
                                             : static_cast<uint32_t>(first << 8 | second);
    };
    std::string text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        uint32_t code = unit(i);
        if (code == 0xfeff && i == 0)
            continue;
        if (code >= 0xd800 && code < 0xdc00 && i + 3 < bytes.size() && unit(i + 2) >= 0xdc00 && unit(i + 2) < 0xe000) {
            code = 0x10000 + ((code - 0xd800) << 10) + (unit(i + 2) - 0xdc00);
            i += 2;
        } else if (code >= 0xd800 && code < 0xe000) {
            code = 0xfffd;
        }
        append_utf8(text, code);
    }
    return text;
}

// Carriage returns with something behind them, and no line feed.
bool has_carriage_returns_alone(const std::string &bytes) {
    const size_t first = bytes.find('\r');
    return first != std::string::npos && bytes.find('\n') == std::string::npos &&
           bytes.find_first_not_of("\r \t", first) != std::string::npos;
}

std::string_view without_blanks(std::string_view text) {
    while (!text.empty() && is_ascii_space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_ascii_space(text.back()))
        text.remove_suffix(1);
    return text;
}

bool is_json(const std::string &bytes) {
    const std::string_view text = without_blanks(bytes);
    if (text.empty() || (text.front() != '{' && text.front() != '['))
        return false;
    return nlohmann::json::accept(text) || (text.front() == '{' && text.find('"') < text.find('='));
}

bool is_xml(const std::string &bytes) {
    const std::string_view text = without_blanks(bytes);
    return text.size() > 2 && text.front() == '<' && (text[1] == '?' || is_ascii_letter(text[1])) && text.back() == '>';
}

// Headers in brackets, and none of the format's.
bool is_ini(const SourceText &source) {
    bool has_brackets = false;
    for (size_t number = 1; number <= source.line_count(); ++number) {
        const std::string_view line = without_blanks(source.line(number));
        has_brackets = has_brackets || (line.size() > 2 && line.front() == '[' && line.back() == ']');
        const std::string_view key = without_blanks(line.substr(0, line.find('=')));
        if (key == "ENCLOSURE" || key == "DISKGROUP" || key == "STORAGE_SERVER")
            return false;
    }
    return has_brackets;
}

}  // namespace

bool check_form(const SourceText &source, Findings &findings) {
    const std::string &bytes = source.bytes();
    if (utf16_of(bytes) != Utf16::none)
        findings.error(Rule::utf_16, {}, "this file is written in UTF-16: the plug-in understands no line of it",
                       "save it as UTF-8 without a byte-order mark");
    else if (has_carriage_returns_alone(bytes))
        findings.error(Rule::carriage_returns, {},
                       "the lines end with carriage returns alone: for the plug-in all of the file is one line",
                       "save it with line feeds at the ends of lines");
    else if (is_json(bytes))
        findings.error(Rule::other_format, {}, "this is JSON", "\"simhost init\" writes a .sim file to start from");
    else if (is_xml(bytes))
        findings.error(Rule::other_format, {}, "this is XML", "\"simhost init\" writes a .sim file to start from");
    else if (is_ini(source))
        findings.error(Rule::other_format, {}, "this is an INI file: sections do not begin with [NAME] here",
                       "\"simhost init\" writes a .sim file to start from");
    else
        return false;
    return true;
}

std::optional<std::string> in_plain_form(const std::string &bytes) {
    if (const Utf16 order = utf16_of(bytes); order != Utf16::none)
        return utf8_of(bytes, order);
    if (!has_carriage_returns_alone(bytes))
        return std::nullopt;
    std::string text = bytes;
    std::replace(text.begin(), text.end(), '\r', '\n');
    return text;
}
