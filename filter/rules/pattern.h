// Shell patterns: '*' is any text, '?' any character, [a-z] and [!a-z] one of a set, '\' takes the next as it is.
#pragma once

#include <string>
#include <string_view>

namespace filter {

// '*' also matches '/' and a leading dot. A '[' that nothing closes is itself.
bool matches(std::string_view pattern, std::string_view text);

bool has_wildcard(std::string_view pattern);

}  // namespace filter
