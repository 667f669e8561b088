#include "filter/rules/word_reader.h"

#include "base/nearest_word.h"

namespace filter {

bool WordReader::take_if(const char *word) {
    if (at_end() || m_words[m_next].quoted || m_words[m_next].text != word)
        return false;
    ++m_next;
    return true;
}

const Word &WordReader::peek(size_t ahead) const {
    static const Word none;
    return m_next + ahead < m_words.size() ? m_words[m_next + ahead] : none;
}

Word WordReader::take(const char *what) {
    if (at_end()) {
        Word end = m_words.back();
        end.column += end.length;
        end.length = 1;
        throw Mistake(end, std::string(what) + " is missing", "");
    }
    return m_words[m_next++];
}

void WordReader::demand_end() const {
    if (!at_end())
        throw Mistake(m_words[m_next], "nothing is expected here, yet there is " + in_quotes(m_words[m_next].text), "");
}

std::string in_quotes(const std::string &text) {
    std::string shown = "\"";
    for (const char byte : text.substr(0, 80)) {
        const auto value = static_cast<unsigned char>(byte);
        static constexpr char digits[] = "0123456789abcdef";
        if (value < 0x20 || value == 0x7f)
            shown += std::string("\\x") + digits[value >> 4] + digits[value & 15];
        else
            shown += byte == '"' ? "\\\"" : std::string(1, byte);
    }
    return shown + (text.size() > 80 ? "...\"" : "\"");
}

std::string did_you_mean(const std::string &typed, const std::vector<std::string> &words) {
    const std::string nearest = nearest_word(typed, words);
    return nearest.empty() ? "" : "did you mean " + nearest + "?";
}

}  // namespace filter
