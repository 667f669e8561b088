// Which bytes of an image lie where in its log.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace stsimage::s3 {

class ExtentMap {
public:
    // What is written now, instead of what was written there before.
    void assign(uint64_t place, uint64_t length, uint64_t log_place);

    // Forgets all from a place on.
    void cut(uint64_t place);

    // A run that begins at a place, of so many bytes at most: in the log, or never written.
    struct Run {
        uint64_t length = 0;
        bool is_written = false;
        uint64_t log_place = 0;
    };
    Run find(uint64_t place, uint64_t at_most) const;

    // As it lies at the end of a log: three little-endian numbers for each extent.
    std::string bytes() const;

    // False for what is no map of an image of this size whose data end at this place of the log.
    static bool read(const std::string &bytes, uint64_t size, uint64_t log_end, ExtentMap &out_map);

private:
    struct Extent {
        uint64_t length;
        uint64_t log_place;
    };

    // Sees to it that no extent crosses a place.
    void split(uint64_t place);

    std::map<uint64_t, Extent> extents;  // by place
};

}  // namespace stsimage::s3
