#include "simhost/check/repeated_key.h"

#include <fmt/format.h>

// cppcheck-suppress passedByValue  ; two numbers
void set_key(SetKeys &keys, const std::string &key, const Value &value, Place line, Findings &findings) {
    if (const SetKey *earlier = keys.find(key)) {
        const bool is_same = earlier->text == value.text();
        findings.add(is_same ? Severity::warning : Severity::error, Rule::repeated_key, line,
                     is_same ? fmt::format("{} stands here once more, with the same value", key)
                             : fmt::format("this {} replaces an earlier one", key),
                     key == "HOSTS" && !is_same ? "put all hosts on one line" : "",
                     {{earlier->place, "the earlier one is here"}});
    }
    keys.set(key, line, value.text());
}
