// Numbers of their own for what lies in an engine.
#pragma once

#include <string>
#include <string_view>

namespace stsimage {

// Makes 32 hexadecimal digits, random and never used before. False with errno set when there are no random numbers.
bool make_random_id(std::string &out_id);

// Whether a text is one. What is not was not made by this library.
bool is_random_id(std::string_view text);

}  // namespace stsimage
