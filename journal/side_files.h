// The bytes of what was written and read, each content once, in files named by their hash.
#pragma once

#include <cstddef>
#include <string>

#include "journal/format.h"

namespace journal {

// "0123456789abcdef0123456789abcdef", the hash's canonical form.
std::string hash_name(const DataItem &data);

DataItem hash_data(const void *bytes, size_t size) noexcept;

// Keeps the bytes as directory/hash_name, and makes the directory if need be. False when that fails: the disk is full,
// say. Leaves errno alone.
bool save_data(const std::string &directory, const DataItem &data, const void *bytes) noexcept;

}  // namespace journal
