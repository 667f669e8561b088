#include "conformance/report/profile.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "base/nearest_word.h"
#include "base/quoted_bytes.h"

namespace conformance {

namespace {

constexpr size_t longest_reason = 160;

struct WrongLine {
    size_t column;  // from 1
    std::string why;
};

bool is_blank(char character) { return character == ' ' || character == '\t' || character == '\r'; }

std::string no_such_test(const std::string &id) {
    std::vector<std::string> ids;
    ids.reserve(all_tests().size());
    for (const TestCase &test : all_tests())
        ids.push_back(test.id);
    const std::string near = nearest_word(id, ids);
    return fmt::format("there is no test {}{}", quoted_bytes(id, 80),
                       near.empty() ? "; --list names them" : fmt::format("; is {} meant?", near));
}

bool is_test(const std::string &id) {
    return std::any_of(all_tests().begin(), all_tests().end(), [&](const TestCase &test) { return test.id == id; });
}

class Line {
public:
    explicit Line(const std::string &text) : text_(text) {}

    void skip_blanks() {
        while (at_ < text_.size() && is_blank(text_[at_]))
            ++at_;
    }
    bool at_end() const { return at_ == text_.size() || text_[at_] == '#'; }
    size_t column() const { return at_ + 1; }

    // Up to a blank, a '=' or a '"'.
    std::string word() {
        const size_t begin = at_;
        while (at_ < text_.size() && !is_blank(text_[at_]) && text_[at_] != '=' && text_[at_] != '"')
            ++at_;
        return text_.substr(begin, at_ - begin);
    }

    void take(char character, const char *what) {
        if (at_ == text_.size() || text_[at_] != character)
            throw WrongLine{column(), fmt::format("{} is missing", what)};
        ++at_;
    }

    // In double quotes, in which \" and \\ stand for the two.
    std::string text_in_quotes() {
        const size_t begin = column();
        take('"', "the reason, in double quotes,");
        std::string out;
        for (; at_ < text_.size() && text_[at_] != '"'; ++at_) {
            if (text_[at_] == '\\' && at_ + 1 < text_.size() && (text_[at_ + 1] == '"' || text_[at_ + 1] == '\\'))
                ++at_;
            out += text_[at_];
        }
        if (at_ == text_.size())
            throw WrongLine{begin, "the reason does not end: its second '\"' is missing"};
        ++at_;
        if (out.find_first_not_of(" \t") == std::string::npos)
            throw WrongLine{begin, "the reason is empty"};
        return out;
    }

private:
    const std::string &text_;
    size_t at_ = 0;
};

void read_line(const std::string &text, Profile &profile) {
    Line line(text);
    line.skip_blanks();
    if (line.at_end())
        return;
    const size_t id_column = line.column();
    const std::string id = line.word();
    if (!is_test(id))
        throw WrongLine{id_column, no_such_test(id)};
    line.skip_blanks();
    line.take('=', "'=' behind the test's id");
    line.skip_blanks();
    const size_t word_column = line.column();
    const std::string word = line.word();
    if (word != "fail" && word != "skip")
        throw WrongLine{word_column, fmt::format("{} is neither fail nor skip", quoted_bytes(word, 80))};
    line.skip_blanks();
    KnownTest known{word == "fail" ? KnownTest::fail : KnownTest::skip, line.text_in_quotes(), ""};
    line.skip_blanks();
    if (!line.at_end())
        known.ticket = line.word();
    line.skip_blanks();
    if (!line.at_end())
        throw WrongLine{line.column(), "nothing may stand behind the ticket, which is one word"};
    if (!profile.emplace(id, known).second)
        throw WrongLine{id_column, fmt::format("{} is listed already", id)};
}

std::string in_profile_quotes(const std::string &text) {
    std::string out = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\')
            out += '\\';
        out += character == '\n' || character == '\r' ? ' ' : character;
    }
    return out + "\"";
}

std::string known_text(const KnownTest &known) {
    return known.reason + (known.ticket.empty() ? "" : fmt::format(" ({})", known.ticket));
}

// What a reader of the profile should know: how it ended, or the first difference.
std::string reason_of(const TestResult &result) {
    std::string reason = result.reason;
    for (const Finding &finding : result.findings)
        if (reason.empty() && !finding.warning)
            reason =
                fmt::format("{}: expected {}, got {}", finding.what, finding.shown_expected(), finding.shown_got());
    // A line of its own in the file: the rest stands in the report.
    reason.resize(std::min(reason.find('\n'), reason.size()));
    if (reason.size() > longest_reason)
        reason.replace(longest_reason, std::string::npos, "...");
    return reason.empty() ? "fails" : reason;
}

}  // namespace

Profile parse_profile(const std::string &text, const std::string &file_name) {
    Profile profile;
    std::string wrong;
    std::istringstream lines(text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            read_line(line, profile);
        } catch (const WrongLine &error) {
            wrong +=
                fmt::format("{}{}:{}:{}: {}", wrong.empty() ? "" : "\n", file_name, number, error.column, error.why);
        }
    }
    if (!wrong.empty())
        throw std::runtime_error(wrong);
    return profile;
}

Profile read_profile(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file)
        throw std::runtime_error(fmt::format("cannot read the profile {}", path));
    return parse_profile(text.str(), path);
}

void judge_by_profile(const Profile &profile, TestResult &result) {
    const auto found = profile.find(result.test->id);
    if (found == profile.end() || found->second.expectation != KnownTest::fail || result.outcome == Outcome::skip)
        return;
    const std::string known = known_text(found->second);
    if (is_failure(result.outcome)) {
        const std::string ended = result.outcome == Outcome::fail ? "" : fmt::format("; {}", result.reason);
        result.outcome = Outcome::known;
        result.reason = fmt::format("the profile says that it fails: {}{}", known, ended);
        return;
    }
    result.outcome = Outcome::fail;
    result.reason = fmt::format("it passes, and the profile says that it fails: {}", known);
}

TestResult skipped_by_profile(const TestCase &test, unsigned round, const KnownTest &known) {
    TestResult result;
    result.test = &test;
    result.round = round;
    result.outcome = Outcome::skip;
    result.reason = fmt::format("the profile says so: {}", known_text(known));
    return result;
}

std::string profile_text(const Profile &in_force, const std::vector<TestResult> &results) {
    Profile profile = in_force;
    std::map<std::string, const TestResult *> failed;
    for (const TestResult &result : results) {
        const bool fails = result.outcome == Outcome::known ||
                           (is_failure(result.outcome) && in_force.find(result.test->id) == in_force.end());
        const auto [place, is_first] = failed.emplace(result.test->id, fails ? &result : nullptr);
        if (fails && place->second == nullptr)
            place->second = &result;
    }
    for (const auto &[id, result] : failed) {
        const auto listed = profile.find(id);
        if (listed != profile.end() && listed->second.expectation == KnownTest::skip)
            continue;
        if (result == nullptr)
            profile.erase(id);
        else if (listed == profile.end())
            profile[id] = {KnownTest::fail, reason_of(*result), ""};
    }
    std::string text =
        "# Tests that this plug-in is known to fail, and tests that are not run: id = fail|skip \"reason\" [ticket]\n";
    for (const auto &[id, known] : profile)
        text += fmt::format("{} = {} {}{}\n", id, known.expectation == KnownTest::fail ? "fail" : "skip",
                            in_profile_quotes(known.reason), known.ticket.empty() ? "" : " " + known.ticket);
    return text;
}

}  // namespace conformance
