// A configuration file as the plug-in's readers see it, with the way back to the bytes that a person typed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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
    bool has_nul = false;  // this piece holds a NUL byte
    size_t nul = 0;        // the column of its first one
    bool has_later_equals = false;  // a later piece of the line holds a '='
    std::string text;               // without white space, up to a NUL byte
    std::vector<uint16_t> offsets;  // where each byte of text stands in the piece, from 0

    // The place of the bytes of text from first up to last; of the end of the text when there are none.
    Place place(size_t first, size_t last) const;
    Place place() const { return place(0, text.size()); }
    // The place behind the last byte of text, of no length.
    Place place_behind() const;
    // Whether white space stands in front of a byte of text.
    bool blank_before(size_t index) const;
};

class SourceText {
public:
    explicit SourceText(std::string bytes);

    const std::string &bytes() const { return m_bytes; }

    // Splits the bytes with the plug-in's own line reader. The lines come one after the other and are not kept.
    void for_each_line(const std::function<void(const ReadLine &)> &take) const;

    size_t line_count() const { return m_line_starts.size(); }
    // A line of the file without its line feed.
    std::string_view line(size_t number) const;
    // Where the bytes of a place stand in the file.
    size_t offset(const Place &place) const { return m_line_starts.at(place.line - 1) + place.column - 1; }

private:
    std::string m_bytes;
    std::vector<uint32_t> m_line_starts;
};
