// What is wrong with lines, whatever they say.
#pragma once

#include <string>

#include "simhost/check/findings.h"
#include "simhost/check/source_text.h"

// Looks at one line after the other: marks in front of the file, lines that are too long, NUL bytes.
class LineCheck {
public:
    explicit LineCheck(Findings &findings) : m_findings(findings) {}
    void read(const ReadLine &line);

private:
    Findings &m_findings;
    std::string m_first_piece;  // of the line
    bool m_is_told = false;     // that the line is too long
    size_t m_line_with_nul = 0;
};

// Whether a line looks like a remark, or a rule drawn across the page.
bool looks_like_comment(const ReadLine &line);

// Whether nothing of an over-long line is taken for anything: no piece of it holds a '='.
bool is_passed_over(const ReadLine &line);

// Whether the line begins with the mark that some editors put in front of a file.
bool has_byte_order_mark(const ReadLine &line);
