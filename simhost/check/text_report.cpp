#include "simhost/check/text_report.h"

#include <fmt/format.h>

#include "base/utf8.h"
#include "simhost/check/findings.h"

namespace {

constexpr size_t tab_width = 4;
constexpr size_t widest = 110;  // columns of a line that are shown
constexpr size_t before_caret = 50;

constexpr char red[] = "\033[1;31m";
constexpr char magenta[] = "\033[1;35m";
constexpr char cyan[] = "\033[1;36m";
constexpr char bold[] = "\033[1m";
constexpr char plain[] = "\033[0m";

std::string painted(bool colours, const char *colour, const std::string &text) {
    return colours ? colour + text + plain : text;
}

// A line of a file made safe for a terminal, column by column.
class Columns {
public:
    explicit Columns(std::string_view line) {
        for (size_t i = 0; i < line.size();) {
            m_first.resize(i + 1, m_cells.size());
            const size_t length = utf8_length(line.substr(i));
            const auto byte = static_cast<unsigned char>(line[i]);
            if (line[i] == '\t')
                do
                    m_cells.emplace_back(" ");
                while (m_cells.size() % tab_width != 0);
            else if (length > 1 || (byte >= 0x20 && byte < 0x7f))
                m_cells.emplace_back(line.substr(i, length));
            else if (line[i] != '\r' || i + 1 != line.size())
                for (const char each : fmt::format("\\x{:02x}", byte))
                    m_cells.emplace_back(1, each);
            const size_t start = m_first.back();
            m_first.resize(i + length, start);
            i += length;
        }
        m_first.push_back(m_cells.size());
    }

    size_t size() const { return m_cells.size(); }
    // The column at which a byte of the line begins; the end of the line for one behind it.
    size_t of_byte(size_t byte) const { return byte < m_first.size() ? m_first[byte] : m_cells.size(); }

    std::string text(size_t from, size_t to) const {
        std::string result;
        for (size_t i = from; i < std::min(to, m_cells.size()); ++i)
            result += m_cells[i];
        return result;
    }

private:
    std::vector<std::string> m_cells;
    std::vector<size_t> m_first;  // by byte
};

std::string without_trailing_blanks(std::string text) {
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

std::string shown_line(const SourceText &source, Place place, bool colours, const char *colour) {
    const Columns columns(source.line(place.line));
    const size_t caret = columns.of_byte(place.column - 1);
    const size_t end = std::max(columns.of_byte(place.column - 1 + place.length), caret + 1);
    const size_t from = columns.size() <= widest || caret < before_caret ? 0 : caret - before_caret;
    const size_t to = from + widest;
    const std::string before = from > 0 ? "..." : "";
    const std::string behind = to < columns.size() ? "..." : "";
    const std::string marks = "^" + std::string(std::min(end, to) - caret - 1, '~');
    return without_trailing_blanks(fmt::format("{:>5} | {}{}{}", place.line, before, columns.text(from, to), behind)) +
           "\n" +
           fmt::format("      | {}{}\n", std::string(before.size() + caret - from, ' '),
                       painted(colours, colour, marks));
}

std::string headline(const CheckedFile &file, Place place, bool colours, const char *colour, const char *word,
                     const std::string &text) {
    const std::string where =
        place.line == 0 ? fmt::format("{}:", file.name) : fmt::format("{}:{}:{}:", file.name, place.line, place.column);
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
    return fmt::format("{}: {}, {}: {}", file.name, grammar_word(file.outline.grammar), contents_summary(file.outline),
                       verdict_text(file.findings));
}
