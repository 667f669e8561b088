#include "stsimage/s3/extent_map.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "stsimage/little_endian.h"

namespace stsimage::s3 {

namespace {

struct StoredExtent {
    LittleEndian<uint64_t> place;
    LittleEndian<uint64_t> length;
    LittleEndian<uint64_t> log_place;
};
static_assert(sizeof(StoredExtent) == 24);

}  // namespace

void ExtentMap::split(uint64_t place) {
    auto found = extents.lower_bound(place);
    if (found == extents.begin())
        return;
    --found;
    auto &[begin, extent] = *found;
    if (begin + extent.length <= place)
        return;
    const uint64_t kept = place - begin;
    extents.emplace_hint(std::next(found), place, Extent{extent.length - kept, extent.log_place + kept});
    extent.length = kept;
}

void ExtentMap::assign(uint64_t place, uint64_t length, uint64_t log_place) {
    if (length == 0)
        return;
    split(place);
    split(place + length);
    const auto next = extents.erase(extents.lower_bound(place), extents.lower_bound(place + length));
    if (next != extents.begin()) {
        auto &[begin, extent] = *std::prev(next);
        if (begin + extent.length == place && extent.log_place + extent.length == log_place) {
            extent.length += length;
            return;
        }
    }
    extents.emplace_hint(next, place, Extent{length, log_place});
}

void ExtentMap::cut(uint64_t place) {
    split(place);
    extents.erase(extents.lower_bound(place), extents.end());
}

ExtentMap::Run ExtentMap::find(uint64_t place, uint64_t at_most) const {
    const auto next = extents.upper_bound(place);
    if (next != extents.begin()) {
        const auto &[begin, extent] = *std::prev(next);
        if (place - begin < extent.length)
            return {std::min(at_most, extent.length - (place - begin)), true, extent.log_place + (place - begin)};
    }
    return {next == extents.end() ? at_most : std::min(at_most, next->first - place), false, 0};
}

std::string ExtentMap::bytes() const {
    std::string text;
    text.reserve(extents.size() * sizeof(StoredExtent));
    for (const auto &[place, extent] : extents) {
        StoredExtent stored;
        stored.place = place;
        stored.length = extent.length;
        stored.log_place = extent.log_place;
        text.append(reinterpret_cast<const char *>(&stored), sizeof stored);
    }
    return text;
}

bool ExtentMap::read(const std::string &bytes, uint64_t size, uint64_t log_end, ExtentMap &out_map) {
    out_map = ExtentMap();
    if (bytes.size() % sizeof(StoredExtent) != 0)
        return false;
    uint64_t end = 0;
    for (size_t begin = 0; begin < bytes.size(); begin += sizeof(StoredExtent)) {
        StoredExtent stored;
        std::memcpy(&stored, bytes.data() + begin, sizeof stored);
        const uint64_t place = stored.place, length = stored.length, log_place = stored.log_place;
        if (place < end || length == 0 || place > size || length > size - place || log_place > log_end ||
            length > log_end - log_place)
            return false;
        out_map.extents.emplace_hint(out_map.extents.end(), place, Extent{length, log_place});
        end = place + length;
    }
    return true;
}

}  // namespace stsimage::s3
