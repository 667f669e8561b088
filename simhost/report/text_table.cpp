#include "simhost/report/text_table.h"

#include <algorithm>
#include <utility>

#include "base/text_columns.h"

TextTable::TextTable(const std::vector<std::string> &titles) {
    std::vector<std::string> row;
    for (const std::string &title : titles) {
        m_right.push_back(title.front() == '>');
        row.push_back(m_right.back() ? title.substr(1) : title);
    }
    m_rows.push_back(std::move(row));
}

void TextTable::add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }

std::vector<std::string> TextTable::lines() const {
    std::vector<size_t> widths(m_right.size(), 0);
    for (const auto &row : m_rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], text_columns(row[i]));
    std::vector<std::string> result;
    for (const auto &row : m_rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            if (i > 0)
                line += "  ";
            line += m_right[i] ? at_right(row[i], widths[i]) : at_left(row[i], widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        result.push_back(std::move(line));
    }
    return result;
}
