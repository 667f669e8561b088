#include "simhost/check/line_check.h"

#include <string_view>

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

}  // namespace

bool looks_like_comment(const std::string &text) {
    for (const std::string_view mark : {"#", "//", "/*", "*", "--", ";", "!"})
        if (begins_with(text, mark))
            return true;
    return false;
}

bool has_byte_order_mark(const ReadLine &line) {
    return line.reader_line == 1 && begins_with(line.text, byte_order_mark);
}

void check_lines(const SourceText &source, Findings &findings) {
    size_t reported_line = 0;
    std::string first_piece;
    for (const ReadLine &line : source.read_lines()) {
        if (line.begin == 0)
            first_piece = line.text;
        if (has_byte_order_mark(line))
            findings.error(Rule::byte_order_mark, line.place(0, byte_order_mark.size()),
                           "the file begins with a byte-order mark, which belongs to the first key for the plug-in",
                           "save the file as plain text");
        if (line.begin > 0 && !line.text.empty() && line.line != reported_line) {
            findings.error(Rule::line_too_long, {line.line, line.offsets[0] + 1, line.end - line.offsets[0]},
                           "a line holds at most 1023 bytes: what stands from here on is read as another line",
                           help_for(first_piece));
            reported_line = line.line;
        }
        const size_t nul = source.line(line.line).substr(0, line.end).find('\0', line.begin);
        if (nul != std::string_view::npos)
            findings.error(Rule::nul_byte, {line.line, nul + 1, 1}, "the line is read up to this NUL byte only");
    }
}
