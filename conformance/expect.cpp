#include "expect.h"

#include <cstring>
#include <mutex>

#include "call_note.h"
#include "hex_diff.h"
#include "stspi/sts_status.h"

namespace conformance {

namespace {

std::string joined(const std::vector<std::string> &texts) {
    std::string out;
    for (const std::string &text : texts)
        out += (out.empty() ? "" : ", ") + quoted(text, 80);
    return texts.empty() ? "nothing" : out;
}

}  // namespace

void skip_test(const std::string &reason) { throw SkipTest{reason}; }

std::vector<Finding> &findings() {
    static std::vector<Finding> list;
    return list;
}

void add_finding(const std::string &what, const std::string &expected, const std::string &got,
                 const std::string &detail) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    findings().push_back({false, last_call(), what, expected, got, detail});
}

void warn(const std::string &what, const std::string &usual, const std::string &got) {
    findings().push_back({true, last_call(), what, usual, got, {}});
}

std::string status_text(int32_t status) {
    switch (status) {
#define STATUS_CASE(name, number, meaning) \
    case number:                           \
        return #name " (" #number ")";
        STS_STATUS_LIST(STATUS_CASE)
#undef STATUS_CASE
        default:
            return std::to_string(status);
    }
}

bool expect_status(int32_t got, int32_t expected) {
    return expect_true(got == expected, "status", status_text(expected), status_text(got));
}

void require_status(int32_t got, int32_t expected) {
    if (!expect_status(got, expected))
        throw StopTest{};
}

bool expect_true(bool holds, const std::string &what, const std::string &expected, const std::string &got) {
    if (!holds)
        add_finding(what, expected, got);
    return holds;
}

void require_true(bool holds, const std::string &what, const std::string &expected, const std::string &got) {
    if (!expect_true(holds, what, expected, got))
        throw StopTest{};
}

bool expect_text(const std::string &what, const std::string &got, const std::string &expected) {
    return expect_true(got == expected, what, quoted(expected), quoted(got));
}

bool expect_bytes(const std::string &what, const void *got, const void *expected, size_t size) {
    if (std::memcmp(got, expected, size) == 0)
        return true;
    add_finding(what, fmt::format("{} given bytes", size), "others",
                hex_diff(static_cast<const unsigned char *>(expected), static_cast<const unsigned char *>(got), size));
    return false;
}

bool expect_texts(const std::string &what, const std::vector<std::string> &got,
                  const std::vector<std::string> &expected) {
    return expect_true(got == expected, what, joined(expected), joined(got));
}

}  // namespace conformance
