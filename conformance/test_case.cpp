#include "test_case.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace conformance {

namespace {

std::vector<TestCase> &tests() {
    static std::vector<TestCase> list;
    return list;
}

}  // namespace

void register_test(TestCase test) {
    const auto place = std::lower_bound(tests().begin(), tests().end(), test,
                                        [](const TestCase &a, const TestCase &b) { return a.id < b.id; });
    if (place != tests().end() && place->id == test.id) {
        std::fprintf(stderr, "two tests have the id %s\n", test.id.c_str());
        std::abort();
    }
    tests().insert(place, std::move(test));
}

const std::vector<TestCase> &all_tests() { return tests(); }

std::vector<const TestCase *> select_tests(const std::string &filter) {
    std::vector<std::string> patterns;
    std::istringstream stream(filter);
    for (std::string pattern; std::getline(stream, pattern, ',');)
        if (!pattern.empty())
            patterns.push_back(pattern);
    std::vector<const TestCase *> selected;
    for (const TestCase &test : tests()) {
        const bool matches =
            patterns.empty() || std::any_of(patterns.begin(), patterns.end(), [&](const std::string &pattern) {
                return fnmatch(pattern.c_str(), test.id.c_str(), 0) == 0;
            });
        if (matches)
            selected.push_back(&test);
    }
    return selected;
}

}  // namespace conformance
