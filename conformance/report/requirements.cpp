#include "conformance/report/requirements.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "conformance/report/requirements_text.h"

namespace conformance {

namespace {

using RequirementsOfTests = std::map<const TestCase *, std::vector<const Requirement *>>;

std::string trimmed(const std::string &text) {
    const size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(trimmed(part));
    return parts;
}

[[noreturn]] void refuse(size_t line, const std::string &why) {
    throw std::runtime_error(fmt::format("requirements.txt, line {}: {}", line, why));
}

std::vector<const TestCase *> matching_tests(const std::string &patterns, size_t line) {
    std::set<std::string> known;
    std::vector<const TestCase *> tests;
    for (const std::string &pattern : split(patterns, ',')) {
        bool matches = false;
        for (const TestCase &test : all_tests())
            if (fnmatch(pattern.c_str(), test.id.c_str(), 0) == 0) {
                matches = true;
                if (known.insert(test.id).second)
                    tests.push_back(&test);
            }
        if (!matches)
            refuse(line, fmt::format("no test matches \"{}\"", pattern));
    }
    return tests;
}

Requirement read_requirement(const std::string &text, size_t line) {
    const std::vector<std::string> fields = split(text, '|');
    if (fields.size() != 4)
        refuse(line, fmt::format("4 fields are expected, id | level | sentence | tests, not {}", fields.size()));
    Requirement requirement;
    requirement.id = fields[0];
    requirement.sentence = fields[2];
    if (fields[1].size() != 1 || fields[1][0] < '1' || fields[1][0] > '0' + static_cast<int>(level_count))
        refuse(line, fmt::format("\"{}\" is no level from 1 to {}", fields[1], level_count));
    requirement.level = static_cast<unsigned>(fields[1][0] - '0');
    requirement.tests = matching_tests(fields[3], line);
    if (requirement.tests.empty())
        refuse(line, fmt::format("{} has no test", requirement.id));
    return requirement;
}

std::vector<Requirement> read_table() {
    std::vector<Requirement> table;
    std::set<std::string> ids;
    std::set<const TestCase *> held;
    std::istringstream lines(requirements_text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.empty() || line[0] == '#')
            continue;
        table.push_back(read_requirement(line, number));
        if (!ids.insert(table.back().id).second)
            refuse(number, fmt::format("{} is there twice", table.back().id));
        held.insert(table.back().tests.begin(), table.back().tests.end());
    }
    for (const TestCase &test : all_tests())
        if (held.count(&test) == 0)
            throw std::runtime_error(fmt::format("requirements.txt: no requirement names the test {}", test.id));
    return table;
}

const RequirementsOfTests &requirements_of_tests() {
    static const RequirementsOfTests map = [] {
        RequirementsOfTests made;
        for (const Requirement &requirement : all_requirements())
            for (const TestCase *test : requirement.tests)
                made[test].push_back(&requirement);
        return made;
    }();
    return map;
}

std::string area_of(const std::string &id) { return id.substr(0, id.find('/')); }

}  // namespace

const char *level_name(unsigned level) {
    switch (level) {
        case 1:
            return "loads and refuses";
        case 2:
            return "does its work";
        case 3:
            return "every status";
        case 4:
            return "bytes, messages, hostile arguments";
        case 5:
            return "threads and growth";
        default:
            return "none";
    }
}

const std::vector<Requirement> &all_requirements() {
    static const std::vector<Requirement> table = read_table();
    return table;
}

std::vector<const Requirement *> requirements_of(const TestCase &test) {
    const auto found = requirements_of_tests().find(&test);
    return found == requirements_of_tests().end() ? std::vector<const Requirement *>() : found->second;
}

unsigned level_of(const TestCase &test) {
    unsigned level = 0;
    for (const Requirement *requirement : requirements_of(test))
        level = std::max(level, requirement->level);
    return level;
}

std::string requirements_markdown() {
    std::string out =
        "# What the interface demands\n\n"
        "Every requirement that the conformance suite knows, at which level it stands, and the tests that hold it; "
        "below, each\n"
        "test with its requirements. This page is what `stspi-conformance --requirements` prints; the table behind it "
        "is\n"
        "`conformance/report/requirements.txt`. A requirement without a test, or a test without a requirement, fails "
        "the build.\n\n"
        "| level | a plug-in that passes it whole |\n| --- | --- |\n";
    for (unsigned level = 1; level <= level_count; ++level)
        out += fmt::format("| {} | {} |\n", level, level_name(level));
    std::string area;
    for (const Requirement &requirement : all_requirements()) {
        if (area != area_of(requirement.id)) {
            area = area_of(requirement.id);
            out += fmt::format("\n## {}\n\n| id | level | demand | tests |\n| --- | --- | --- | --- |\n", area);
        }
        std::string tests;
        for (const TestCase *test : requirement.tests)
            tests += fmt::format("{}`{}`", tests.empty() ? "" : ", ", test->id);
        out += fmt::format("| `{}` | {} | {} | {} |\n", requirement.id, requirement.level, requirement.sentence, tests);
    }
    out += "\n## Tests and what they hold\n\n| test | level | requirements |\n| --- | --- | --- |\n";
    for (const TestCase &test : all_tests()) {
        std::string ids;
        for (const Requirement *requirement : requirements_of(test))
            ids += fmt::format("{}`{}`", ids.empty() ? "" : ", ", requirement->id);
        out += fmt::format("| `{}` | {} | {} |\n", test.id, level_of(test), ids);
    }
    return out;
}

}  // namespace conformance
