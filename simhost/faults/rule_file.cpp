#include "simhost/faults/rule_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/escaped_text.h"
#include "base/text_columns.h"
#include "filter/rules/hidden_rules.h"
#include "simhost/report/failure.h"

namespace {

std::string_view line_of(const std::string &text, size_t number) {
    std::string_view rest = text;
    for (; number > 1; --number) {
        const size_t end = rest.find('\n');
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    return rest.substr(0, rest.find('\n'));
}

// The line with a mark below it; tabs become blanks, so that the mark stands where it belongs. column and length count
// bytes, of which a character may have several, and one that takes no or two columns of a terminal.
std::string marked_line(const RuleFile &file, size_t line, size_t column, size_t length) {
    std::string shown(line_of(file.text, line));
    for (char &byte : shown)
        if (static_cast<unsigned char>(byte) < 0x20)
            byte = ' ';
    const std::string_view text = shown;
    const size_t before = text_columns(text.substr(0, column - 1));
    const size_t marked = column <= text.size() ? text_columns(text.substr(column - 1, length)) : length;
    return fmt::format("{:>5} | {}\n      | {}^{}\n", line, shown, std::string(before, ' '),
                       std::string(marked > 1 ? marked - 1 : 0, '~'));
}

}  // namespace

RuleFile read_rule_file(const std::string &path) {
    RuleFile file;
    file.name = path == "-" ? "<stdin>" : path;
    errno = 0;
    const std::unique_ptr<FILE, int (*)(FILE *)> stream(path == "-" ? stdin : std::fopen(path.c_str(), "re"),
                                                        path == "-" ? [](FILE *) { return 0; } : std::fclose);
    char piece[4096];
    size_t got = 0;
    while (stream != nullptr && (got = std::fread(piece, 1, sizeof piece, stream.get())) > 0)
        file.text.append(piece, got);
    if (stream == nullptr || std::ferror(stream.get()) != 0)
        throw UsageError(fmt::format("cannot read {}: {}", printable(path), std::strerror(errno)));
    file.settings = filter::read_settings(file.text);
    return file;
}

std::string mistakes_text(const RuleFile &file) {
    std::string text;
    for (const filter::Finding &finding : file.settings.errors) {
        text += fmt::format("{}:{}:{}: error: {}\n", file.name, finding.line, finding.column, finding.text);
        text += marked_line(file, finding.line, finding.column, finding.length);
        if (!finding.help.empty())
            text += fmt::format("      = {}\n", finding.help);
    }
    return text;
}

std::string hidden_rules_text(const RuleFile &file, size_t &count) {
    std::string text;
    for (const filter::Section &section : file.settings.sections)
        for (size_t i = 0; i < section.rules.size(); ++i)
            if (const auto earlier = filter::hidden_by(section.rules, i)) {
                ++count;
                text += fmt::format("{}:{}:1: warning: the rule of line {} always hides this one\n", file.name,
                                    section.rules[i].line, section.rules[*earlier].line);
                const std::string_view line = line_of(file.text, section.rules[i].line);
                text += marked_line(file, section.rules[i].line, 1, line.size());
            }
    return text;
}

void demand_no_mistakes(const RuleFile &file) {
    if (file.settings.errors.empty())
        return;
    throw UsageError(
        filter::finding_text(file.name, file.settings.errors.front()) +
        (file.settings.errors.size() > 1 ? fmt::format("; {} more", file.settings.errors.size() - 1) : ""));
}
