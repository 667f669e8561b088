// A configuration file as the plug-in's readers see it, with the way back to the bytes that a person typed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A stretch of one line. Line 0 is the file as a whole.
struct Place {
    size_t line = 0;    // from 1
    size_t column = 0;  // bytes, from 1
    size_t length = 0;  // bytes
};

// One line as a reader gets it.
struct ReadLine {
    size_t line = 0;         // in the file, from 1
    size_t reader_line = 0;  // as the plug-in counts, which takes each piece of an over-long line as a line
    size_t begin = 0;      // bytes of the line in front of this piece; not 0 for the later pieces of an over-long line
    size_t end = 0;        // bytes of the line up to the end of this piece, the line feed left out
    bool goes_on = false;  // the line has more to say than text holds: in a later piece, or behind a NUL byte
    std::string text;      // without white space, up to a NUL byte
    std::vector<size_t> offsets;  // where each byte of text stands in the line, from 0

    // The place of the bytes of text from first up to last; of the end of the text when there are none.
    Place place(size_t first, size_t last) const;
    Place place() const { return place(0, text.size()); }
};

class SourceText {
public:
    // Splits the bytes with the plug-in's own line reader.
    explicit SourceText(std::string bytes);

    const std::string &bytes() const { return m_bytes; }
    const std::vector<ReadLine> &read_lines() const { return m_read_lines; }
    size_t line_count() const { return m_line_starts.size(); }
    // A line of the file without its line feed.
    std::string_view line(size_t number) const;

private:
    std::string m_bytes;
    std::vector<size_t> m_line_starts;
    std::vector<ReadLine> m_read_lines;
};
