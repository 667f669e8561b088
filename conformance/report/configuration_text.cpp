#include "conformance/report/configuration_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "base/quoted_bytes.h"

namespace conformance {

namespace {

constexpr size_t most_lines = 24;
constexpr size_t longest_line = 110;

std::string shown_line(std::string line) {
    // Tabs are how sections are indented; everything else that does not print is escaped.
    const size_t indent = std::min(line.find_first_not_of('\t'), line.size());
    const bool prints = std::all_of(line.begin() + static_cast<std::ptrdiff_t>(indent), line.end(),
                                    [](unsigned char byte) { return byte >= 0x20 && byte < 0x7f; });
    if (!prints)
        return quoted_bytes(line, longest_line);
    const size_t size = line.size();
    line = std::string(indent * 4, ' ') + line.substr(indent, longest_line);
    return size - indent > longest_line ? fmt::format("{}... ({} bytes)", line, size) : line;
}

}  // namespace

std::string shown_configuration(const ConfigurationTexts &texts) {
    std::string out;
    for (const auto &[file_name, text] : texts) {
        out += fmt::format("{}{}:\n", file_name, text.empty() ? " (empty)" : "");
        std::istringstream lines(text);
        size_t count = 0;
        for (std::string line; std::getline(lines, line);)
            if (++count <= most_lines)
                out += "  " + shown_line(line) + "\n";
        if (count > most_lines)
            out += fmt::format("  ... ({} lines)\n", count);
    }
    return out;
}

}  // namespace conformance
