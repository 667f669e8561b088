#include "simhost/check/source_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "sim/ascii.h"
#include "sim/config_file.h"
#include "sim/readline.h"

namespace {

constexpr int line_size = 1024;  // as both of the plug-in's readers have it

File stream_of(const std::string &bytes) {
    // Opened for reading, so the bytes are not written to.
    File stream(fmemopen(const_cast<char *>(bytes.data()), bytes.size(), "r"));
    if (stream == nullptr)
        throw std::system_error(errno, std::generic_category(), "cannot read from memory");
    return stream;
}

// Whether a reader finds anything in a piece: white space is dropped, and a NUL byte ends it.
bool says_something(std::string_view piece) {
    for (const char byte : piece)
        if (!is_ascii_space(byte))
            return byte != '\0';
    return false;
}

}  // namespace

Place ReadLine::place(size_t first, size_t last) const {
    if (first >= offsets.size())
        return {line, begin + (offsets.empty() ? 0 : offsets.back() + size_t{1}) + 1, 1};
    const size_t from = offsets[first];
    const size_t to = last > first ? offsets[std::min(last, offsets.size()) - 1] : from;
    return {line, begin + from + 1, to - from + 1};
}

Place ReadLine::place_behind() const {
    return {line, begin + (offsets.empty() ? 0 : offsets.back() + size_t{1}) + 1, 0};
}

bool ReadLine::blank_before(size_t index) const {
    return index == 0 ? offsets[0] != 0 : offsets[index] != offsets[index - 1] + 1;
}

SourceText::SourceText(std::string bytes) : m_bytes(std::move(bytes)) {
    if (m_bytes.size() > UINT32_MAX)
        throw std::length_error("a text of more than 4 GiB");
    for (size_t start = 0; start < m_bytes.size(); start = m_bytes.find('\n', start) + 1) {
        m_line_starts.push_back(static_cast<uint32_t>(start));
        if (m_bytes.find('\n', start) == std::string::npos)
            break;
    }
}

void SourceText::for_each_line(const std::function<void(const ReadLine &)> &take) const {
    if (m_bytes.empty())
        return;
    const File stream = stream_of(m_bytes);
    char text[line_size];
    ReadLine read;
    size_t start = 0;        // of the piece
    size_t line_start = 0;   // of the line it belongs to
    size_t last_equals = 0;  // of the line; npos without one
    while (readline(text, line_size, stream.get()) != nullptr) {
        const auto next = static_cast<size_t>(std::ftell(stream.get()));
        const bool line_ends = m_bytes[next - 1] == '\n';
        if (start == line_start) {
            ++read.line;
            last_equals = line_ends ? std::string::npos : line(read.line).rfind('=');
        }
        ++read.reader_line;
        read.begin = start - line_start;
        read.end = next - line_start - (line_ends ? 1 : 0);
        read.text = text;
        read.offsets.clear();
        for (size_t i = start; read.offsets.size() < read.text.size(); ++i)
            if (!is_ascii_space(m_bytes[i]))
                read.offsets.push_back(static_cast<uint16_t>(i - start));
        const std::string_view piece = std::string_view(m_bytes).substr(start, next - start);
        const size_t nul = piece.find('\0');
        read.has_nul = nul != std::string_view::npos;
        read.nul = read.has_nul ? read.begin + nul + 1 : 0;
        read.has_later_equals = last_equals != std::string_view::npos && last_equals >= read.end;
        read.goes_on = read.has_nul;
        if (!line_ends && next < m_bytes.size()) {
            std::string_view following = std::string_view(m_bytes).substr(next, line_size - 1);
            following = following.substr(0, following.find('\n'));
            read.goes_on = read.goes_on || says_something(following);
        }
        take(read);
        start = next;
        if (line_ends)
            line_start = next;
    }
}

std::string_view SourceText::line(size_t number) const {
    const size_t start = m_line_starts.at(number - 1);
    const size_t end = number < m_line_starts.size() ? m_line_starts[number] - 1 : m_bytes.size();
    const bool ends_with_line_feed = end > start && number == m_line_starts.size() && m_bytes[end - 1] == '\n';
    return std::string_view(m_bytes).substr(start, end - start - (ends_with_line_feed ? 1 : 0));
}
