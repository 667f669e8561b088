// Shell patterns: '*' is any text, '?' any character, [a-z] and [!a-z] one of a set, '\' takes the next as it is.
#pragma once

#include <string>
#include <string_view>

namespace filter {

// '*' also matches '/' and a leading dot. A '[' that nothing closes is itself.
bool matches(std::string_view pattern, std::string_view text);

// What every text that matches begins with, byte for byte: the pattern up to its first wildcard.
std::string_view literal_head(std::string_view pattern);

bool has_wildcard(std::string_view pattern);

}  // namespace filter
