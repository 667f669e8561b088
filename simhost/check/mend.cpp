#include "simhost/check/mend.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "base/escaped_text.h"
#include "simhost/check/checked_file.h"
#include "simhost/check/form_check.h"

namespace {

constexpr size_t most_rounds = 50;  // a mended line may show what was hidden before

// A line with the number of the one that it comes from.
struct Line {
    size_t origin;
    std::string text;
};

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    lines.push_back(text.substr(start));
    return lines;
}

std::string joined(const std::vector<Line> &lines) {
    std::string text;
    for (size_t i = 0; i < lines.size(); ++i)
        text += (i != 0 ? "\n" : "") + lines[i].text;
    return text;
}

// Last first, so that the places of the others stay what they are. Of two that touch the same bytes one waits for the
// next round.
std::vector<Edit> edits_of(const CheckedFile &file) {
    std::vector<Edit> edits;
    for (const Finding &finding : file.findings)
        edits.insert(edits.end(), finding.edits.begin(), finding.edits.end());
    const auto order = [](const Edit &edit) { return std::make_tuple(edit.place.line, edit.place.column); };
    std::stable_sort(edits.begin(), edits.end(), [&](const Edit &a, const Edit &b) { return order(a) > order(b); });
    std::vector<Edit> chosen;
    for (const Edit &edit : edits) {
        const bool touches =
            !chosen.empty() && chosen.back().place.line == edit.place.line &&
            edit.place.column + edit.place.length >= chosen.back().place.column + (edit.place.length != 0);
        if (!touches)
            chosen.push_back(edit);
    }
    return chosen;
}

void apply(const Edit &edit, std::vector<Line> &lines) {
    const size_t index = edit.place.line - 1;
    Line &line = lines.at(index);
    std::string text = line.text;
    text.replace(edit.place.column - 1, edit.place.length, edit.text);
    const std::vector<std::string> pieces = lines_of(text);
    const size_t origin = line.origin;
    line.text = pieces[0];
    for (size_t i = 1; i < pieces.size(); ++i)
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(index + i), {origin, pieces[i]});
}

std::string diff_of(const std::vector<std::string> &before, const std::vector<Line> &after) {
    std::string diff;
    for (size_t i = 0, next = 0; i < before.size(); ++i) {
        const size_t first = next;
        while (next < after.size() && after[next].origin == i)
            ++next;
        if (next == first + 1 && after[first].text == before[i])
            continue;
        diff += fmt::format("@@ line {} @@\n-{}\n", i + 1, printable(before[i]));
        for (size_t j = first; j < next; ++j)
            diff += fmt::format("+{}\n", printable(after[j].text));
    }
    return diff;
}

}  // namespace

Mend mended(const std::string &name, const std::string &bytes, Grammar grammar) {
    Mend mend;
    const std::optional<std::string> plain = in_plain_form(bytes);
    mend.is_other_form = plain.has_value();
    mend.bytes = plain.value_or(bytes);
    const std::vector<std::string> before = lines_of(mend.bytes);
    std::vector<Line> lines;
    for (size_t i = 0; i < before.size(); ++i)
        lines.push_back({i, before[i]});
    for (size_t round = 0; round < most_rounds; ++round) {
        const std::vector<Edit> edits = edits_of(check_file(name, mend.bytes, grammar));
        if (edits.empty())
            break;
        for (const Edit &edit : edits)
            apply(edit, lines);
        mend.bytes = joined(lines);
    }
    mend.diff = diff_of(before, lines);
    return mend;
}
