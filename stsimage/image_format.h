// The layout of an image file, version 1. docs/image-library.md describes it for users; change both together.
//
//     section 0 | section 1 | ... | index
//     section: header (in section 0, a gap elsewhere) | 63 checksum tables | 63 groups of data blocks
//
// A data block has a fixed place, so writing out of order and leaving gaps needs no bookkeeping: a gap is a hole in the
// file. A table holds one checksum for each block of its group, 0 for a block that was never written. The index, at the
// end, holds the checksum of every table that was written, and the header that of the index. All numbers are little-endian,
// on every processor: files can be carried from one machine to another.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "stsimage/little_endian.h"

namespace stsimage {

// The block size is the price of a small random read: one block is read and checked whole.
constexpr uint64_t block_size = 4096;
constexpr uint64_t blocks_per_group = 2048;
constexpr uint64_t header_size = 4096;
constexpr uint64_t table_size = blocks_per_group * sizeof(uint64_t);
constexpr uint64_t group_size = blocks_per_group * block_size;

// With the room of one more table for the header, the tables take 1 MiB: so data that is aligned in the image is aligned
// in the file, up to that size, and the page cache can keep it in large pages.
constexpr uint64_t groups_per_section = 63;
constexpr uint64_t section_head_size = (1 + groups_per_section) * table_size;
constexpr uint64_t section_size = section_head_size + groups_per_section * group_size;
static_assert(section_head_size == uint64_t{1} << 20 && header_size <= table_size);

// Every place in the file of an image of this size fits an off_t.
constexpr uint64_t max_image_size = uint64_t{1} << 62;

constexpr uint64_t groups_of(uint64_t image_size) {
    return image_size / group_size + (image_size % group_size != 0 ? 1 : 0);
}
constexpr uint64_t table_place(uint64_t group) {
    return group / groups_per_section * section_size + (1 + group % groups_per_section) * table_size;
}
constexpr uint64_t block_place(uint64_t block) {
    const uint64_t group = block / blocks_per_group;
    return group / groups_per_section * section_size + section_head_size + group % groups_per_section * group_size +
           block % blocks_per_group * block_size;
}

constexpr char image_magic[8] = {'\x89', 'S', 'T', 'S', 'I', 'M', 'G', '\n'};
constexpr uint32_t image_version = 1;
constexpr size_t server_name_size = 512;

struct ImageHeader {
    char magic[sizeof image_magic];
    LittleEndian<uint32_t> version;
    LittleEndian<uint32_t> block_size;
    LittleEndian<uint32_t> blocks_per_group;
    char zero_20[4];
    LittleEndian<uint64_t>
        seed;  // random; part of every checksum below, so that a block of another image or place never passes
    LittleEndian<uint64_t> image_size;
    LittleEndian<int64_t> creation_time;
    LittleEndian<uint64_t> index_place;
    LittleEndian<uint64_t> index_entries;
    LittleEndian<uint64_t> index_checksum;
    char zero_72[440];
    char server_name[server_name_size];
    char zero_1024[3064];
    LittleEndian<uint64_t> checksum;  // of all bytes before it
};
static_assert(offsetof(ImageHeader, version) == 8 && offsetof(ImageHeader, seed) == 24 &&
              offsetof(ImageHeader, index_checksum) == 64 && offsetof(ImageHeader, server_name) == 512 &&
              offsetof(ImageHeader, checksum) == 4088 && sizeof(ImageHeader) == header_size);

struct IndexEntry {
    LittleEndian<uint64_t> group;
    LittleEndian<uint64_t> table_checksum;
};
static_assert(sizeof(IndexEntry) == 16);

using ChecksumTable = std::array<LittleEndian<uint64_t>, blocks_per_group>;
static_assert(sizeof(ChecksumTable) == table_size);

// Never 0.
uint64_t checksum_of_block(const void *data, uint64_t seed, uint64_t block);

uint64_t checksum_of_table(const ChecksumTable &table, uint64_t seed, uint64_t group);
uint64_t checksum_of_header(const ImageHeader &header);

}  // namespace stsimage
