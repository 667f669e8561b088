#include "simhost/check/source_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include "sim/ascii.h"
#include "sim/config_file.h"
#include "sim/readline.h"

namespace {

constexpr int line_size = 1024;  // as both of the plug-in's readers have it

File stream_of(std::string &bytes) {
    File stream(fmemopen(bytes.data(), bytes.size(), "r"));
    if (stream == nullptr)
        throw std::system_error(errno, std::generic_category(), "cannot read from memory");
    return stream;
}

}  // namespace

Place ReadLine::place(size_t first, size_t last) const {
    if (first >= offsets.size())
        return {line, (offsets.empty() ? begin : offsets.back() + 1) + 1, 1};
    const size_t from = offsets[first];
    const size_t to = last > first ? offsets[std::min(last, offsets.size()) - 1] : from;
    return {line, from + 1, to - from + 1};
}

SourceText::SourceText(std::string bytes) : m_bytes(std::move(bytes)) {
    const File stream = stream_of(m_bytes);
    char text[line_size];
    size_t start = 0;       // of the piece
    size_t line_start = 0;  // of the line it belongs to
    while (readline(text, line_size, stream.get()) != nullptr) {
        const auto next = static_cast<size_t>(std::ftell(stream.get()));
        const bool line_ends = m_bytes[next - 1] == '\n';
        if (start == line_start)
            m_line_starts.push_back(line_start);
        ReadLine line;
        line.line = m_line_starts.size();
        line.reader_line = m_read_lines.size() + 1;
        line.begin = start - line_start;
        line.end = next - line_start - (line_ends ? 1 : 0);
        line.text = text;
        for (size_t i = start; line.offsets.size() < line.text.size(); ++i)
            if (!is_ascii_space(m_bytes[i]))
                line.offsets.push_back(i - line_start);
        line.goes_on = std::memchr(&m_bytes[start], '\0', next - start) != nullptr;
        if (line.begin > 0 && !line.text.empty())
            m_read_lines.back().goes_on = true;
        m_read_lines.push_back(std::move(line));
        start = next;
        if (line_ends)
            line_start = next;
    }
}

std::string_view SourceText::line(size_t number) const {
    const size_t start = m_line_starts.at(number - 1);
    const size_t end = std::min(m_bytes.find('\n', start), m_bytes.size());
    return std::string_view(m_bytes).substr(start, end - start);
}
