#include "base/nearest_word.h"

#include <algorithm>

namespace {

char upper(char byte) { return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte; }

// Changes that turn one word into the other: a swap of neighbours counts as one.
size_t distance(const std::string &a, const std::string &b) {
    std::vector<std::vector<size_t>> changes(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                changes[i][j] = i + j;
                continue;
            }
            const bool same = upper(a[i - 1]) == upper(b[j - 1]);
            changes[i][j] = std::min({changes[i - 1][j] + 1, changes[i][j - 1] + 1, changes[i - 1][j - 1] + !same});
            if (i > 1 && j > 1 && upper(a[i - 1]) == upper(b[j - 2]) && upper(a[i - 2]) == upper(b[j - 1]))
                changes[i][j] = std::min(changes[i][j], changes[i - 2][j - 2] + 1);
        }
    }
    return changes[a.size()][b.size()];
}

}  // namespace

std::string nearest_word(const std::string &typed, const std::vector<std::string> &words) {
    std::string nearest;
    size_t fewest = 0;
    for (const std::string &word : words) {
        // No word within reach differs by more letters than this: saves the work for long texts.
        if (typed.size() > 2 * word.size())
            continue;
        const size_t changes = distance(typed, word);
        if (changes <= word.size() / 3 && (nearest.empty() || changes < fewest)) {
            nearest = word;
            fewest = changes;
        }
    }
    return nearest;
}

std::string in_upper_case(const std::string &text) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(), upper);
    return result;
}
