#include "simhost/journal/mask_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "simhost/report/failure.h"
#include "simhost/report/quantities.h"

namespace {

struct Word {
    std::string text;
    size_t column;  // from 1
};

// The words of a line up to a '#' that begins one, and the reason behind it.
std::vector<Word> split(const std::string &line, std::string &reason) {
    std::vector<Word> words;
    size_t at = 0;
    while ((at = line.find_first_not_of(" \t\r", at)) != std::string::npos) {
        if (line[at] == '#') {
            const size_t begin = line.find_first_not_of("# \t", at);
            if (begin != std::string::npos)
                reason = line.substr(begin, line.find_last_not_of(" \t\r") - begin + 1);
            break;
        }
        const size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
        words.push_back({line.substr(at, end - at), at + 1});
        at = end;
    }
    return words;
}

// The masks of a text, with its name for messages.
class MaskParser {
public:
    MaskParser(const std::string &name, size_t line) : name_(name), line_(line) {}

    Mask parse(const std::vector<Word> &words, const std::string &reason, size_t end) const {
        Mask mask = {};
        mask.line = line_;
        mask.action = action(words[0]);
        const size_t expected = mask.action == MaskAction::round ? 5 : 4;
        static const char *const missing[] = {"", "\"on\"", "an entry point", "a path", "a unit, such as 1M"};
        if (words.size() > 1 && words[1].text != "on")
            fail(words[1].column, "expected \"on\"");
        if (words.size() < expected)
            fail(end, fmt::format("expected {}", missing[words.size()]));
        if (words.size() > expected)
            fail(words[expected].column, "expected the reason, behind a '#'");
        mask.entry_point = words[2].text;
        mask.path = words[3].text;
        if (mask.action == MaskAction::round)
            mask.unit = unit(words[4]);
        if (reason.empty())
            fail(end, "expected a reason, behind a '#': whoever reads this later must know why");
        mask.reason = reason;
        return mask;
    }

private:
    MaskAction action(const Word &word) const {
        if (word.text == "drop")
            return MaskAction::drop;
        if (word.text == "sort")
            return MaskAction::sort;
        if (word.text == "round")
            return MaskAction::round;
        fail(word.column, "expected drop, sort or round");
    }

    uint64_t unit(const Word &word) const {
        try {
            const uint64_t bytes = parse_byte_count(word.text);
            if (bytes != 0)
                return bytes;
        } catch (const std::invalid_argument &) {
            fail(word.column, "expected a number, such as 1000 or 1M");
        }
        fail(word.column, "nothing is a multiple of 0");
    }

    [[noreturn]] void fail(size_t column, const std::string &what) const {
        throw UsageError(fmt::format("{}:{}:{}: {}", name_, line_, column, what));
    }

    const std::string &name_;
    size_t line_;
};

}  // namespace

std::vector<Mask> parse_masks(const std::string &text, const std::string &name) {
    std::vector<Mask> masks;
    size_t number = 0;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        ++number;
        std::string reason;
        const std::vector<Word> words = split(line, reason);
        if (!words.empty())
            masks.push_back(MaskParser(name, number).parse(words, reason, line.size() + 1));
    }
    return masks;
}

std::vector<Mask> read_masks(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw UsageError(fmt::format("{}: {}", path, strerror(errno)));
    return parse_masks(text, path);
}
