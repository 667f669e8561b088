#pragma once

#include <string>
#include <string_view>

// The columns that a line of UTF-8 takes on a terminal: wide characters two, marks none, a byte that is no UTF-8 one.
size_t text_columns(std::string_view text);

// The text with as many blanks in front of it, or behind it, as make it so many columns wide.
std::string at_right(const std::string &text, size_t columns);
std::string at_left(const std::string &text, size_t columns);
