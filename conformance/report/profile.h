// What is known of one plug-in: tests that it fails, and tests that are not to be run on it. One line each:
//
//     mount.success = fail "directories are made 0755" TICKET-12
//     growth.servers = skip "takes an hour here"
//     # a remark
//
// Strict, so that it cannot rot: an id that no test has is wrong, and so is a test that is listed as failing and passes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "conformance/report/outcome.h"
#include "conformance/report/test_case.h"

namespace conformance {

struct KnownTest {
    enum Expectation : uint8_t { fail, skip } expectation = fail;
    std::string reason;
    std::string ticket;  // "" for none
};

using Profile = std::map<std::string, KnownTest>;  // by id

// Throws std::runtime_error that names every wrong line as "file:line:column: why".
Profile parse_profile(const std::string &text, const std::string &file_name);
Profile read_profile(const std::string &path);

// What --profile makes of a result: a failure that is listed becomes "known", a listed test that passes fails.
void judge_by_profile(const Profile &profile, TestResult &result);

// The result of a test that the profile leaves out.
TestResult skipped_by_profile(const TestCase &test, unsigned round, const KnownTest &known);

// A profile under which this run would have passed: every failing test is listed. Lines of the profile that was in force stay,
// but for tests that passed.
std::string profile_text(const Profile &in_force, const std::vector<TestResult> &results);

}  // namespace conformance
