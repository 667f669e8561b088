#include "filter/rules/status.h"

#include <charconv>

#include "stspi/sts_status.h"
#include "stspi/stsimg.h"

namespace filter {

namespace {

struct NamedStatus {
    const char *name;
    int32_t number;
};

#define NAMED_STATUS(name, number, meaning) {#name, number},
constexpr NamedStatus named_statuses[] = {{"success", 0},
                                          STS_STATUS_LIST(NAMED_STATUS) STSIMG_STATUS_LIST(NAMED_STATUS)};
#undef NAMED_STATUS

}  // namespace

std::optional<int32_t> parse_status(std::string_view text) {
    for (const NamedStatus &status : named_statuses)
        if (text == status.name)
            return status.number;
    int32_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || stop != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::vector<std::string> status_names() {
    std::vector<std::string> names;
    for (const NamedStatus &status : named_statuses)
        names.emplace_back(status.name);
    return names;
}

std::string status_text(int32_t status) {
    for (const NamedStatus &named : named_statuses)
        if (status == named.number)
            return std::string(named.name) + " (" + std::to_string(status) + ")";
    return std::to_string(status);
}

}  // namespace filter
