// How texts of servers and of configuration files are taken apart.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace conformance::model {

// "lab:a:b" is of the configuration "lab" and names the host "a:b"; a name without ':' is both.
std::string before_colon(const std::string &name);
std::string after_colon(const std::string &name);

bool starts_with(const std::string &text, const std::string &beginning);

// The lines that a reader sees: at most 1,023 bytes each, the rest of a longer one being the next, and all white space
// dropped.
std::vector<std::string> squeezed_lines(const std::string &file);

// The value of a name: what fits 31 bytes, up to the first byte that is no letter, digit, '_', '-' or '.'.
std::string clean_name(const std::string &value);

// The non-empty pieces between commas, each cleaned; a piece may be cleaned to nothing and counts all the same.
std::vector<std::string> name_list(const std::string &value);

// "10G;" in bytes. The unit stands before the last byte. The number has 32 bits with a sign, and the product wraps.
uint64_t size_in_bytes(const std::string &value);

// What fits a field of that size with its terminator.
std::string cut(const std::string &text, size_t field_size);

}  // namespace conformance::model
