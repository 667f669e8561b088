// The tests of the suite and how a source file adds one.
//
//     CONFORMANCE_TEST("claim.null-name", "A null server name is not claimed.") {
//         expect_status(plugin().claim(nullptr), STS_E_NOT_CLAIMED);
//     }
//
// An id is stable: area, thing and condition in words, joined by dots. The sentence says what the test demands.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace conformance {

struct TestCase {
    std::string id;
    std::string demand;
    std::function<void()> body;
    bool is_long = false;  // takes seconds: started first, and given four times the time limit
};

// Ends the program when the id is taken.
void register_test(TestCase test);

// Every test, sorted by id.
const std::vector<TestCase> &all_tests();

// Tests whose id matches one of the comma-separated shell patterns; all for an empty filter. Throws std::runtime_error
// for a pattern that no test matches: a mistyped one must not pass for tests that were run.
std::vector<const TestCase *> select_tests(const std::string &filter);

struct TestRegistration {
    explicit TestRegistration(TestCase test) { register_test(std::move(test)); }
};

// For tests that a table gives: runs a function that calls register_test.
struct TestFamily {
    explicit TestFamily(void (*add_tests)()) { add_tests(); }
};

}  // namespace conformance

#define STSPI_JOIN_(a, b) a##b
#define STSPI_JOIN(a, b)  STSPI_JOIN_(a, b)
// Numbered, not named after their lines: several sources may be compiled as one.
#define STSPI_ADD_NUMBERED_TEST(number, id, demand, is_long)                                                       \
    static void STSPI_JOIN(test_body_, number)();                                                                  \
    static const ::conformance::TestRegistration STSPI_JOIN(                                                       \
        test_registration_, number)(::conformance::TestCase{id, demand, STSPI_JOIN(test_body_, number), is_long}); \
    static void STSPI_JOIN(test_body_, number)()
#define STSPI_ADD_TEST(id, demand, is_long) STSPI_ADD_NUMBERED_TEST(__COUNTER__, id, demand, is_long)
#define CONFORMANCE_TEST(id, demand)        STSPI_ADD_TEST(id, demand, false)
#define LONG_CONFORMANCE_TEST(id, demand)   STSPI_ADD_TEST(id, demand, true)
