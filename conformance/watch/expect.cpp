#include "conformance/watch/expect.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <regex>
#include <utility>

#include "conformance/report/hex_diff.h"
#include "conformance/watch/call_note.h"
#include "conformance/watch/written_configuration.h"
#include "stspi/sts_status.h"

namespace conformance {

namespace {

// Lists that take more than this are shown by an excerpt.
constexpr size_t longest_list = 400;
constexpr size_t around_difference = 3;  // entries in front of the first difference and behind it

std::string joined(const std::vector<std::string> &texts) {
    std::string out;
    for (const std::string &text : texts)
        out += (out.empty() ? "" : ", ") + quoted_bytes(text, std::string::npos);
    return texts.empty() ? "nothing" : out;
}

// "2000 entries; from number 11: ... "a", "b" ...", about the entry at index difference.
std::string excerpt(const std::vector<std::string> &texts, size_t difference) {
    const size_t begin = difference > around_difference ? difference - around_difference : 0;
    const size_t end = std::min(texts.size(), difference + around_difference + 1);
    std::string out = fmt::format("{} entries", texts.size());
    for (size_t i = begin; i < end; ++i)
        out += fmt::format("{}{}", i == begin ? fmt::format("; from number {}: ", i + 1) : ", ",
                           quoted_bytes(texts[i], 80));
    return out + (begin >= end || end == texts.size() ? "" : ", ...");
}

// Addresses differ from call to call and say nothing.
std::string without_addresses(const std::string &text) {
    static const std::regex address("0x[0-9a-f]{7,}");
    return std::regex_replace(text, address, "0x...");
}

constexpr char untouched[] = "untouched";

// Whatever pattern stood there before, what was written is the same.
bool has_same_detail(const Finding &a, const Finding &b) { return a.expected == untouched || a.detail == b.detail; }

bool is_same(const Finding &a, const Finding &b) {
    return a.warning == b.warning && a.what == b.what && a.expected == b.expected && a.got == b.got &&
           has_same_detail(a, b) && a.configuration == b.configuration &&
           without_addresses(a.called) == without_addresses(b.called);
}

// The printable text that a block begins with, "" when it does not begin with one.
std::string leading_text(const void *bytes, size_t size) {
    const auto *text = static_cast<const char *>(bytes);
    const size_t length = strnlen(text, size);
    const bool prints =
        std::all_of(text, text + length, [](unsigned char byte) { return byte >= 0x20 && byte < 0x7f; });
    return length < size && prints ? std::string(text, length) : "";
}

// "3 other bytes, the first at offset 64".
std::string difference_text(const void *got, const void *expected, size_t size) {
    const auto *left = static_cast<const unsigned char *>(got);
    const auto *right = static_cast<const unsigned char *>(expected);
    const auto first = static_cast<size_t>(std::mismatch(left, left + size, right).first - left);
    size_t differing = 0;
    for (size_t i = first; i < size; ++i)
        differing += left[i] != right[i] ? 1U : 0U;
    return fmt::format("{} other byte{}, the first at offset {}", differing, differing == 1 ? "" : "s", first);
}

}  // namespace

void skip_test(const std::string &reason) { throw SkipTest{reason}; }

std::vector<Finding> &findings() {
    static std::vector<Finding> list;
    return list;
}

void add_finding(Finding finding) {
    static std::mutex mutex;
    finding.configuration = written_configuration();
    if (finding.called == last_call())
        finding.earlier = earlier_calls();
    const std::lock_guard lock(mutex);
    const auto same = std::find_if(findings().begin(), findings().end(),
                                   [&](const Finding &earlier) { return is_same(earlier, finding); });
    if (same != findings().end())
        ++same->times;
    else
        findings().push_back(std::move(finding));
}

void add_finding(const std::string &what, const std::string &expected, const std::string &got,
                 const std::string &detail) {
    add_finding_of(last_call(), what, expected, got, detail);
}

void add_finding_of(const std::string &call, const std::string &what, const std::string &expected,
                    const std::string &got, const std::string &detail) {
    Finding finding;
    finding.called = call;
    finding.what = what;
    finding.expected = expected;
    finding.got = got;
    finding.detail = detail;
    add_finding(std::move(finding));
}

void warn(const std::string &what, const std::string &usual, const std::string &got) {
    Finding finding;
    finding.warning = true;
    finding.called = last_call();
    finding.what = what;
    finding.expected = usual;
    finding.got = got;
    add_finding(std::move(finding));
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

bool expect_mode(const std::string &what, mode_t got, mode_t expected) {
    return expect_true(got == expected, what, fmt::format("{:04o}", expected), fmt::format("{:04o}", got));
}

bool expect_text(const std::string &what, const std::string &got, const std::string &expected) {
    return expect_true(got == expected, what, quoted_bytes(expected), quoted_bytes(got));
}

bool expect_bytes(const std::string &what, const void *got, const void *expected, size_t size,
                  const std::string &fields) {
    if (std::memcmp(got, expected, size) == 0)
        return true;
    // Of a block that holds a text the text says most.
    const std::string expected_text = fields.empty() ? leading_text(expected, size) : "";
    const std::string got_text = fields.empty() ? leading_text(got, size) : "";
    const bool are_texts = !expected_text.empty() && !got_text.empty() && expected_text != got_text;
    add_finding(
        what, are_texts ? quoted_bytes(expected_text) : fmt::format("{} given bytes", size),
        are_texts ? quoted_bytes(got_text) : difference_text(got, expected, size),
        fields + hex_diff(static_cast<const unsigned char *>(expected), static_cast<const unsigned char *>(got), size));
    return false;
}

bool expect_untouched_bytes(const std::string &what, const void *now, const void *before, size_t size) {
    if (std::memcmp(now, before, size) == 0)
        return true;
    add_finding(what, untouched, difference_text(now, before, size),
                hex_diff(static_cast<const unsigned char *>(before), static_cast<const unsigned char *>(now), size));
    return false;
}

bool expect_texts(const std::string &what, const std::vector<std::string> &got,
                  const std::vector<std::string> &expected) {
    if (got == expected)
        return true;
    Finding finding;
    finding.called = last_call();
    finding.what = what;
    finding.expected = joined(expected);
    finding.got = joined(got);
    if (finding.expected.size() > longest_list || finding.got.size() > longest_list) {
        const size_t both = std::min(got.size(), expected.size());
        const auto length = static_cast<std::ptrdiff_t>(both);
        const auto place = std::mismatch(got.begin(), got.begin() + length, expected.begin());
        const auto difference = static_cast<size_t>(place.first - got.begin());
        finding.detail = fmt::format("the first difference is number {}", difference + 1);
        finding.expected_excerpt = excerpt(expected, difference);
        finding.got_excerpt = excerpt(got, difference);
    }
    add_finding(std::move(finding));
    return false;
}

bool expect_usual_texts(const std::string &what, const std::vector<std::string> &got,
                        const std::vector<std::string> &usual, const std::vector<std::vector<std::string>> &permitted) {
    if (got == usual || std::find(permitted.begin(), permitted.end(), got) == permitted.end())
        return expect_texts(what, got, usual);
    warn(what, joined(usual), joined(got));
    return true;
}

}  // namespace conformance
