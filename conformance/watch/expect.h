// How a test says what it expects. A difference is a finding; the test goes on after expect_..., and ends after require_...
#pragma once

#include <fmt/format.h>
#include <sys/types.h>

#include <cstdint>
#include <exception>
#include <string>
#include <type_traits>
#include <vector>

#include "base/quoted_bytes.h"
#include "conformance/report/outcome.h"

namespace conformance {

// Thrown through a test's body; the plug-in is never on the stack then.
struct StopTest {};
struct SkipTest {
    std::string reason;
};

[[noreturn]] void skip_test(const std::string &reason);

// The findings of this process's test so far.
std::vector<Finding> &findings();

// With the configuration files as they are now. A finding that is there already, but for addresses in the call, only counts.
void add_finding(Finding finding);

// Adds a finding about the last call.
void add_finding(const std::string &what, const std::string &expected, const std::string &got,
                 const std::string &detail = {});

// Adds a finding about an earlier call, "" for none in particular.
void add_finding_of(const std::string &call, const std::string &what, const std::string &expected,
                    const std::string &got, const std::string &detail = {});

// The interface leaves a choice, and this plug-in's may surprise.
void warn(const std::string &what, const std::string &usual, const std::string &got);

// "STS_E_VERSION (2060008)", "0", or the bare number.
std::string status_text(int32_t status);

bool expect_status(int32_t got, int32_t expected);
void require_status(int32_t got, int32_t expected);

bool expect_true(bool holds, const std::string &what, const std::string &expected, const std::string &got);
void require_true(bool holds, const std::string &what, const std::string &expected, const std::string &got);

bool expect_text(const std::string &what, const std::string &got, const std::string &expected);
// fields: what is known of the difference; the bytes are shown below it.
bool expect_bytes(const std::string &what, const void *got, const void *expected, size_t size,
                  const std::string &fields = {});
// As expect_bytes, where before is what stood there before the call, which must write nothing.
bool expect_untouched_bytes(const std::string &what, const void *now, const void *before, size_t size);
// Lists that are long are shown to people around their first difference; the reports for programs hold them whole.
bool expect_texts(const std::string &what, const std::vector<std::string> &got,
                  const std::vector<std::string> &expected);

// The interface leaves a choice: the usual list passes, one of the permitted others with a warning.
bool expect_usual_texts(const std::string &what, const std::vector<std::string> &got,
                        const std::vector<std::string> &usual, const std::vector<std::vector<std::string>> &permitted);

// Access modes, in octal.
bool expect_mode(const std::string &what, mode_t got, mode_t expected);

template <typename Got, typename Expected>
bool expect_number(const std::string &what, Got got, Expected expected) {
    static_assert(std::is_integral_v<Got> && (std::is_integral_v<Expected> || std::is_enum_v<Expected>));
    const auto wanted = static_cast<Got>(expected);
    return expect_true(got == wanted, what, fmt::format("{} (0x{:x})", wanted, wanted),
                       fmt::format("{} (0x{:x})", got, got));
}

}  // namespace conformance
