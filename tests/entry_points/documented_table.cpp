#include "tests/entry_points/documented_table.h"

#include <fstream>
#include <stdexcept>

namespace {

std::string trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(" `");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" `") - first + 1);
}

// The cells of a line like "| a | b |"; none for another line.
std::vector<std::string> cells_of(const std::string &line) {
    std::vector<std::string> cells;
    if (line.empty() || line[0] != '|')
        return cells;
    size_t start = 1;
    for (size_t end = line.find('|', start); end != std::string::npos; end = line.find('|', start)) {
        cells.push_back(trimmed(line.substr(start, end - start)));
        start = end + 1;
    }
    return cells;
}

}  // namespace

std::vector<DocumentedStatus> documented_statuses(const std::string &path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    std::vector<DocumentedStatus> statuses;
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> cells = cells_of(line);
        if (cells.size() >= 4 && (cells[0].rfind("stspi_", 0) == 0 || cells[0] == "load_process"))
            statuses.push_back({cells[0], cells[1], cells[2], cells[3], cells.size() > 4 ? cells[4] : ""});
    }
    return statuses;
}
