#include "simhost/check/text_report.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/characters.h"
#include "base/escaped_text.h"
#include "simhost/check/findings.h"

namespace {

constexpr size_t tab_width = 4;
constexpr size_t widest = 110;  // columns of a line that are shown
constexpr size_t before_caret = 50;
constexpr size_t surroundings = 1024;  // bytes on each side of a place

constexpr char red[] = "\033[1;31m";
constexpr char magenta[] = "\033[1;35m";
constexpr char cyan[] = "\033[1;36m";
constexpr char bold[] = "\033[1m";
constexpr char plain[] = "\033[0m";

std::string painted(bool colours, const char *colour, const std::string &text) {
    return colours ? colour + text + plain : text;
}

// A stretch of a line made safe for a terminal, column by column.
class Columns {
public:
    explicit Columns(std::string_view line) {
        for (size_t i = 0; i < line.size();) {
            const Character character = first_character(line.substr(i));
            m_first.resize(i + character.bytes, m_cells.size());
            if (line[i] == '\t')
                do
                    m_cells.emplace_back(" ");
                while (m_cells.size() % tab_width != 0);
            else if (!character.is_valid)
                // NOLINTNEXTLINE(bugprone-branch-clone): bytes and characters are told alike
                add_escape(fmt::format("\\x{:02x}", static_cast<unsigned char>(line[i])));
            else if (hidden_name(character.code) == nullptr)
                add_character(line.substr(i, character.bytes), character_columns(character.code));
            else if (character.code >= 0x80)
                add_escape(fmt::format("\\u{:04x}", static_cast<uint32_t>(character.code)));
            else if (line[i] != '\r' || i + 1 != line.size())
                add_escape(fmt::format("\\x{:02x}", static_cast<unsigned char>(line[i])));
            i += character.bytes;
        }
        m_first.push_back(m_cells.size());
    }

    size_t size() const { return m_cells.size(); }
    // The column at which a byte begins; the end for one behind it.
    size_t of_byte(size_t byte) const { return byte < m_first.size() ? m_first[byte] : m_cells.size(); }

    std::string text(size_t from, size_t to) const {
        std::string result;
        for (size_t i = from; i < std::min(to, m_cells.size()); ++i)
            result += m_cells[i];
        return result;
    }

private:
    void add_escape(const std::string &escape) {
        for (const char each : escape)
            m_cells.emplace_back(1, each);
    }

    // A wide character has its text in its first cell. A mark goes along with the character that it sits on.
    void add_character(std::string_view text, size_t columns) {
        if (columns == 0 && !m_cells.empty())
            m_cells.back() += text;
        else
            m_cells.emplace_back(text);
        for (size_t i = 1; i < columns; ++i)
            m_cells.emplace_back();
    }

    std::vector<std::string> m_cells;
    std::vector<size_t> m_first;  // by byte
};

std::string without_trailing_blanks(std::string text) {
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

std::string shown_line(const SourceText &source, Place place, bool colours, const char *colour) {
    const std::string_view line = source.line(place.line);
    // Lines may be as long as files: only the surroundings of the place are looked at.
    size_t begin = place.column > surroundings ? place.column - surroundings : 0;
    while (begin > 0 && begin < line.size() && (static_cast<unsigned char>(line[begin]) & 0xc0) == 0x80)
        --begin;
    const Columns columns(line.substr(begin, 2 * surroundings));
    const size_t first = place.column - 1 - begin;
    const size_t caret = columns.of_byte(first);
    const size_t end = std::max(columns.of_byte(first + place.length), caret + 1);
    const size_t from = columns.size() <= widest || caret < before_caret ? 0 : caret - before_caret;
    const size_t to = from + widest;
    const std::string before = from > 0 || begin > 0 ? "..." : "";
    const std::string behind = to < columns.size() || begin + 2 * surroundings < line.size() ? "..." : "";
    const std::string marks = "^" + std::string(std::min(end, to) - caret - 1, '~');
    return without_trailing_blanks(fmt::format("{:>5} | {}{}{}", place.line, before, columns.text(from, to), behind)) +
           "\n" +
           fmt::format("      | {}{}\n", std::string(before.size() + caret - from, ' '),
                       painted(colours, colour, marks));
}

std::string headline(const CheckedFile &file, Place place, bool colours, const char *colour, const char *word,
                     const std::string &text) {
    const std::string where = place.line == 0
                                  ? fmt::format("{}:", printable(file.name))
                                  : fmt::format("{}:{}:{}:", printable(file.name), place.line, place.column);
    return fmt::format("{} {} {}\n", painted(colours, bold, where), painted(colours, colour, fmt::format("{}:", word)),
                       text);
}

std::string finding_text(const CheckedFile &file, const Finding &finding, bool colours) {
    const char *colour = finding.severity == Severity::error ? red : magenta;
    std::string text = headline(file, finding.place, colours, colour, severity_word(finding.severity),
                                fmt::format("{} [{}]", finding.text, rule_id(finding.rule)));
    if (finding.place.line != 0)
        text += shown_line(file.source, finding.place, colours, colour);
    if (!finding.help.empty())
        text += fmt::format("      = {}\n", finding.help);
    for (const Note &note : finding.notes) {
        text += headline(file, note.place, colours, cyan, "note", note.text);
        text += shown_line(file.source, note.place, colours, cyan);
    }
    return text;
}

}  // namespace

std::string findings_text(const CheckedFile &file, bool colours) {
    std::string text;
    for (const Finding &finding : file.findings)
        text += finding_text(file, finding, colours);
    return text;
}

std::string verdict_text(const std::vector<Finding> &findings) {
    const size_t errors = count(findings, Severity::error);
    const size_t warnings = count(findings, Severity::warning);
    if (errors == 0 && warnings == 0)
        return "good";
    if (warnings == 0)
        return counted(errors, "error");
    if (errors == 0)
        return counted(warnings, "warning");
    return fmt::format("{}, {}", counted(errors, "error"), counted(warnings, "warning"));
}

std::string summary_text(const CheckedFile &file) {
    return fmt::format("{}: {}, {}: {}{}", printable(file.name), grammar_word(file.outline.grammar),
                       contents_summary(file.outline), verdict_text(file.findings),
                       file.ignored == 0 ? "" : fmt::format(", {} ignored", file.ignored));
}
