// Statuses by name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace filter {

// "success", a name of sts_status.h or stsimg.h, or a number, perhaps negative.
std::optional<int32_t> parse_status(std::string_view text);

// Every name that parse_status knows.
std::vector<std::string> status_names();

// "STS_E_SYSTEM (2060017)", "success (0)" or the number alone.
std::string status_text(int32_t status);

}  // namespace filter
