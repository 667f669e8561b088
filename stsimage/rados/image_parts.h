// The parts that an image's bytes lie in: objects of 4 MiB under a number of the image's own, of which only those exist that
// something was written to.
//
// The first part is there as long as the image is. It also notes in which spans of 64 parts there may be further ones, before
// they are made, so that those of an image of any size can be found; the first span needs no note.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "stsimage/rados/pool.h"

namespace stsimage {

constexpr uint64_t part_size = uint64_t{4} << 20;
constexpr uint64_t parts_per_span = 64;
constexpr uint64_t unknown_size = ~uint64_t{0};

// The object of a part.
std::string part_object(const std::string &id, uint64_t part);

// The number of the image that an object is a part of; "" for any other object.
std::string id_of_part(const std::string &object);

// Notes a span; the first part is made if it is not there.
int note_span(Pool &pool, const std::string &id, uint64_t span);

// The spans that may have parts, in ascending order.
int list_spans(Pool &pool, const std::string &id, std::vector<uint64_t> &out_spans);

// Removes all parts of an image of this size, or of unknown size; the first part last. Parts that are not there are fine. Without
// the first part those of the first span are removed: it may never have come.
int remove_parts(Pool &pool, const std::string &id, uint64_t size);

// Whether somebody reads the image, on whatever host. -ENOENT when it has no parts any more.
int ask_whether_read(Pool &pool, const std::string &id, bool &out_read);

}  // namespace stsimage
