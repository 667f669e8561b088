// A table of texts in columns.
#pragma once

#include <string>
#include <vector>

class TextTable {
public:
    // A title that begins with '>' is of a column whose texts stand at its right edge.
    explicit TextTable(const std::vector<std::string> &titles);

    // As many texts as there are titles.
    void add(std::vector<std::string> row);
    // The title line and the rows, each without blanks at its end.
    std::vector<std::string> lines() const;

private:
    std::vector<bool> m_right;
    std::vector<std::vector<std::string>> m_rows;
};
