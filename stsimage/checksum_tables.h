// The checksum tables of one image, read when they are needed and kept within bounds.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "stsimage/draft.h"
#include "stsimage/image_format.h"
#include "stsimage/last_error.h"
#include "stsimage/stored_image.h"

namespace stsimage {

class ChecksumTables {
public:
    // Works on a file that outlives it; the draft is the same one, or null for an image that is only read.
    ChecksumTables(StoredImage &file, Draft *draft, uint64_t seed);

    // Reads the index of an image of so many groups. Takes memory for what the file really holds, whatever it claims:
    // the first entry that is out of order ends it.
    int32_t load_index(uint64_t place, uint64_t entries, uint64_t groups, uint64_t checksum);

    // The table of a group, checked; null when none of the group's blocks was ever written. Any number of threads may
    // find tables side by side. Those that have waited for one whom the store did not answer are told the same: each in turn would
    // wait for it.
    int32_t find(uint64_t group, std::shared_ptr<ChecksumTable> &out_table);

    // The table of a group, made if there is none, for changing it. The pointer is good until the next call. For one
    // thread at a time, with no find at the same time; so is flush.
    int32_t change(uint64_t group, ChecksumTable *&out_table);

    // Writes the changed tables and gives the index that goes with them.
    int32_t flush(std::vector<IndexEntry> &out_index);

private:
    // 512 tables of 16 KiB: random reads within 4 GiB find every table in memory.
    static constexpr size_t most_kept = 512;

    struct Kept {
        std::shared_ptr<ChecksumTable> table;
        uint64_t last_use = 0;
        bool changed = false;
    };

    using Clock = std::chrono::steady_clock;

    struct Failure {
        int32_t status;
        uint64_t group;
        bool unanswered;
        Clock::time_point time;
        EarlierFailure text;
    };

    int32_t keep(uint64_t group, bool make, Kept *&out_kept);
    int32_t load(uint64_t group, uint64_t checksum, ChecksumTable &table) const;
    int32_t make_room();
    int32_t write_back(uint64_t group, Kept &kept);

    StoredImage &file;
    Draft *const draft;
    const uint64_t seed;
    std::mutex mutex;
    std::map<uint64_t, uint64_t> index;  // group -> checksum of its table
    std::unordered_map<uint64_t, Kept> kept_tables;
    uint64_t uses = 0;
    std::unique_ptr<Failure> failure;  // the latest
};

}  // namespace stsimage
