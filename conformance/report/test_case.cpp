#include "conformance/report/test_case.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "base/quoted_bytes.h"

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
    std::istringstream stream(filter);
    std::vector<bool> chosen(tests().size(), filter.empty());
    for (std::string pattern; std::getline(stream, pattern, ',');) {
        bool matches = false;
        for (size_t i = 0; i < tests().size(); ++i)
            if (fnmatch(pattern.c_str(), tests()[i].id.c_str(), 0) == 0)
                chosen[i] = matches = true;
        if (!matches)
            throw std::runtime_error(fmt::format("no test matches {}; --list names them", quoted_bytes(pattern)));
    }
    std::vector<const TestCase *> selected;
    for (size_t i = 0; i < tests().size(); ++i)
        if (chosen[i])
            selected.push_back(&tests()[i]);
    return selected;
}

}  // namespace conformance
