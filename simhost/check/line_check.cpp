#include "simhost/check/line_check.h"

#include <algorithm>
#include <string_view>

#include "sim/ascii.h"

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

bool begins_with(const std::string &text, std::string_view beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

// What to do about a line that is too long.
std::string help_for(const std::string &text) {
    if (begins_with(text, "DISKS=") || begins_with(text, "VOLUMES="))
        return "split the list over several lines, which add up";
    return begins_with(text, "HOSTS=") ? "HOSTS lines do not add up: a pool has no more hosts than fit one line" : "";
}

// "REM" is a word, not the beginning of one.
bool is_remark_word(const ReadLine &line) {
    if (line.text.size() < 3)
        return false;
    const char *word = "REM";
    for (size_t i = 0; i < 3; ++i)
        if ((line.text[i] & ~0x20) != word[i] || (i > 0 && line.blank_before(i)))
            return false;
    return line.text.size() == 3 || line.blank_before(3);
}

}  // namespace

bool looks_like_comment(const ReadLine &line) {
    static constexpr std::string_view marks[] = {"#", "//", "/*", "*",  "--", ";",   "!",
                                                 "%", "==", "~~", "__", "++", "<!--"};
    return is_remark_word(line) || std::any_of(std::begin(marks), std::end(marks),
                                               [&](std::string_view mark) { return begins_with(line.text, mark); });
}

bool is_passed_over(const ReadLine &line) {
    return !line.has_nul && !line.has_later_equals && line.text.find('=') == std::string::npos;
}

bool has_byte_order_mark(const ReadLine &line) {
    return line.reader_line == 1 && begins_with(line.text, byte_order_mark);
}

void LineCheck::read(const ReadLine &line) {
    if (line.begin == 0) {
        m_first_piece = line.text;
        // A remark ends nowhere that matters, and is reported as such.
        m_is_told = !line.text.empty() && is_passed_over(line);
    }
    if (has_byte_order_mark(line))
        m_findings
            .error(Rule::byte_order_mark, line.place(0, byte_order_mark.size()),
                   "the file begins with a byte-order mark, which belongs to the first key for the plug-in",
                   "save the file as plain text")
            .edits = {{line.place(0, byte_order_mark.size()), ""}};
    if (line.begin > 0 && !line.text.empty() && !m_is_told) {
        const size_t column = line.begin + line.offsets[0] + 1;
        m_findings.error(Rule::line_too_long, {line.line, column, line.end + 1 - column},
                         "a line holds at most 1023 bytes: what stands from here on is read as another line",
                         help_for(m_first_piece));
        m_is_told = true;
    }
    if (line.has_nul && m_line_with_nul != line.line) {
        m_findings.error(Rule::nul_byte, {line.line, line.nul, 1}, "the line is read up to this NUL byte only");
        m_line_with_nul = line.line;
    }
}
