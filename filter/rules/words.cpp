#include "filter/rules/words.h"

namespace filter {

namespace {

bool is_blank(char byte) { return byte == ' ' || byte == '\t' || byte == '\r'; }

}  // namespace

LineWords split_words(std::string_view line) {
    LineWords result;
    size_t at = 0;
    for (;;) {
        while (at < line.size() && is_blank(line[at]))
            ++at;
        if (at == line.size() || line[at] == '#')
            return result;
        Word word;
        word.column = at + 1;
        const size_t begin = at;
        if (line[at] == '"') {
            word.quoted = true;
            for (++at; at < line.size() && line[at] != '"'; ++at) {
                if (line[at] == '\\' && at + 1 < line.size() && (line[at + 1] == '"' || line[at + 1] == '\\'))
                    ++at;
                word.text += line[at];
            }
            if (at == line.size()) {
                result.mistake = "the quote is not closed";
                result.column = word.column;
                return result;
            }
            ++at;
            if (at < line.size() && !is_blank(line[at])) {
                result.mistake = "a blank is missing behind the quote";
                result.column = at + 1;
                return result;
            }
        } else {
            while (at < line.size() && !is_blank(line[at]))
                word.text += line[at++];
        }
        word.length = at - begin;
        result.words.push_back(word);
    }
}

}  // namespace filter
