// How an image's bytes lie in the service: as a log of all that was written, in parts of 8 MiB, each an object that is written
// once and never changed. What was written last holds; the map of what lies where is the end of the log.
//
// So a stream of writes in any order is uploaded as it comes, and nothing ever has to be fetched to change a few bytes of it.
#pragma once

#include <cstdint>
#include <string>

namespace stsimage::s3 {

constexpr uint64_t part_size = uint64_t{8} << 20;
constexpr uint64_t longest_log = uint64_t{1} << 63;

// What the keys of an image's parts begin with; without an id, those of all.
inline std::string parts_of(const std::string &id) { return id.empty() ? "image/" : "image/" + id + "/"; }

// The object of a part.
std::string part_key(const std::string &id, uint64_t part);

}  // namespace stsimage::s3
