#include "simhost/load/data_blocks.h"

#include <fmt/format.h>
#include <xxhash.h>

#include <algorithm>
#include <bitset>
#include <cstring>

#include "simhost/load/draw.h"

namespace {

constexpr size_t sector_bytes = 512;
constexpr size_t sectors = block_bytes / sector_bytes;
constexpr uint64_t magic = 0x6b636f6c42646f4cU;
constexpr uint64_t poison = 0xdeadf111edbadf0dU;
constexpr size_t few_bits = 8;

// At the start of every block. In the machine's own order of bytes: who reads is who wrote.
struct Stamp {
    uint64_t magic;
    uint64_t seed;
    uint64_t image;
    uint64_t generation;
    uint64_t offset;
    uint64_t size;
    uint64_t check;
};

static_assert(sizeof(Stamp) == block_identity_bytes);

uint64_t check_of(const Stamp &stamp) { return XXH3_64bits(&stamp, offsetof(Stamp, check)); }

Stamp stamp_of(uint64_t seed, const Content &content, uint64_t offset) {
    Stamp stamp = {magic, seed, content.image, content.generation, offset, content.size, 0};
    stamp.check = check_of(stamp);
    return stamp;
}

// What stands at the start of each later sector.
uint64_t tag_of(uint64_t check, size_t sector) { return (check ^ sector) * 0x9e3779b97f4a7c15U; }

Stamp stamp_in(const char *block) {
    Stamp stamp;
    std::memcpy(&stamp, block, sizeof stamp);
    return stamp;
}

bool is_whole(const Stamp &stamp) { return stamp.magic == magic && stamp.check == check_of(stamp); }

uint64_t word_at(const char *bytes) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

size_t different_bits(const char *a, const char *b, size_t length) {
    size_t bits = 0;
    for (size_t i = 0; i < length; ++i)
        bits += std::bitset<8>(static_cast<unsigned char>(a[i] ^ b[i])).count();
    return bits;
}

bool is_all_zero(const char *bytes, size_t length) {
    return std::all_of(bytes, bytes + length, [](char byte) { return byte == 0; });
}

struct Tags {
    size_t there = 0;
    size_t matching = 0;
};

// The tags in a part of a block, which begins at this place in it, and how many of them are those of the block with that check.
Tags tags_in(const char *part, size_t from, size_t length, uint64_t check) {
    Tags tags;
    for (size_t sector = 1; sector < sectors; ++sector) {
        const size_t place = sector * sector_bytes;
        if (place < from || place + sizeof(uint64_t) > from + length)
            continue;
        ++tags.there;
        if (word_at(part + place - from) == tag_of(check, sector))
            ++tags.matching;
    }
    return tags;
}

// The first place of a spoilt buffer that is as it was.
std::optional<uint64_t> unread_place(const char *bytes, uint64_t offset, uint64_t length) {
    if (length >= sizeof poison && word_at(bytes) == poison)
        return 0;
    for (uint64_t place = (sector_bytes - offset % sector_bytes) % sector_bytes; place + sizeof poison <= length;
         place += sector_bytes)
        if (word_at(bytes + place) == poison)
            return place;
    return std::nullopt;
}

}  // namespace

DataBlocks::DataBlocks(uint64_t seed, uint64_t chunk_bytes, unsigned compressible_percent)
    : m_seed(seed),
      m_period((chunk_bytes + block_bytes - 1) / block_bytes),
      m_blocks((2 * m_period + 1) * block_bytes),
      m_read((m_period + 1) * block_bytes) {
    Draw draw(seed, 0, 0);
    const size_t random_bytes = sector_bytes * (100 - compressible_percent) / 100;
    for (size_t start = 0; start < m_period * block_bytes; start += sector_bytes)
        for (size_t i = 0; i < random_bytes; i += sizeof(uint64_t)) {
            const uint64_t word = draw.next();
            std::memcpy(m_blocks.data() + start + i, &word, std::min(sizeof word, random_bytes - i));
        }
    for (size_t block = m_period; block <= 2 * m_period; ++block)
        std::memcpy(m_blocks.data() + block * block_bytes, m_blocks.data() + block % m_period * block_bytes,
                    block_bytes);
}

void DataBlocks::stamp(char *block, const Content &content, uint64_t offset) const {
    const Stamp stamp = stamp_of(m_seed, content, offset);
    std::memcpy(block, &stamp, sizeof stamp);
    for (size_t sector = 1; sector < sectors; ++sector) {
        const uint64_t tag = tag_of(stamp.check, sector);
        std::memcpy(block + sector * sector_bytes, &tag, sizeof tag);
    }
}

const char *DataBlocks::data(const Content &content, uint64_t offset, uint64_t length) {
    const uint64_t first = offset / block_bytes;
    const uint64_t end = (offset + length + block_bytes - 1) / block_bytes;
    char *start = m_blocks.data() + first % m_period * block_bytes;
    for (uint64_t block = first; block < end; ++block)
        stamp(start + (block - first) * block_bytes, content, block * block_bytes);
    return start + offset % block_bytes;
}

char *DataBlocks::read_buffer(uint64_t offset, uint64_t length) {
    char *start = m_read.data() + offset % block_bytes;
    // Each sector's tag, and the first bytes of all.
    std::memcpy(start, &poison, std::min<uint64_t>(sizeof poison, length));
    const uint64_t first = (sector_bytes - offset % sector_bytes) % sector_bytes;
    for (uint64_t place = first; place + sizeof poison <= length; place += sector_bytes)
        std::memcpy(start + place, &poison, sizeof poison);
    return start;
}

std::optional<BlockFault> DataBlocks::check(const char *bytes, const Content &content, uint64_t offset, uint64_t length,
                                            bool earlier_were_right) {
    const char *right = data(content, offset, length);
    if (std::memcmp(bytes, right, length) == 0)
        return std::nullopt;
    // Where nothing was read, what stands there says nothing of the image.
    if (const auto unread = unread_place(bytes, offset, length))
        return BlockFault{PromiseKind::unfilled, (offset + *unread) / block_bytes * block_bytes,
                          fmt::format("nothing was read at byte {}", offset + *unread)};
    for (uint64_t done = 0; done < length;) {
        const size_t from = (offset + done) % block_bytes;
        const size_t part = std::min<uint64_t>(block_bytes - from, length - done);
        if (std::memcmp(bytes + done, right + done, part) != 0)
            return diagnose(bytes + done, right + done, content, offset + done - from, from, part, earlier_were_right);
        // A part without a block's beginning is the same in every generation, but for its marks.
        earlier_were_right = earlier_were_right || (from == 0 && part >= block_identity_bytes);
        done += part;
    }
    return std::nullopt;
}

std::optional<Content> told_content(uint64_t seed, const char *first_bytes, uint64_t length) {
    if (length < sizeof(Stamp))
        return std::nullopt;
    const Stamp stamp = stamp_in(first_bytes);
    if (!is_whole(stamp) || stamp.seed != seed || stamp.offset != 0)
        return std::nullopt;
    return Content{stamp.image, stamp.generation, stamp.size};
}

// A block whose stamp is whole, and not the one that belongs here.
std::optional<BlockFault> DataBlocks::other_identity(const char *bytes, const Content &content, uint64_t offset,
                                                     bool earlier_were_right) const {
    const Stamp stamp = stamp_in(bytes);
    if (!is_whole(stamp))
        return std::nullopt;
    if (stamp.seed != m_seed)
        return BlockFault{PromiseKind::foreign_block, offset, fmt::format("it is of a run with seed {}", stamp.seed)};
    if (stamp.image != content.image)
        return BlockFault{PromiseKind::foreign_block, offset, fmt::format("it is of image number {}", stamp.image)};
    if (stamp.generation != content.generation)
        return BlockFault{earlier_were_right ? PromiseKind::mixed_generations : PromiseKind::stale_block, offset,
                          fmt::format("it is of generation {}, not {}", stamp.generation, content.generation)};
    if (stamp.offset != offset)
        return BlockFault{PromiseKind::misplaced_block, offset,
                          fmt::format("it is the one of offset {}", stamp.offset)};
    return std::nullopt;
}

BlockFault DataBlocks::diagnose(const char *bytes, const char *right, const Content &content, uint64_t offset,
                                size_t from, size_t length, bool earlier_were_right) const {
    if (is_all_zero(bytes, length))
        return {PromiseKind::lost_block, offset, "it is zeros"};
    const size_t bits = different_bits(bytes, right, length);
    if (bits <= few_bits)
        return {PromiseKind::flipped_bits, offset,
                fmt::format("{} of its bits {} wrong", bits, bits == 1 ? "is" : "are")};
    const Tags right_tags = tags_in(bytes, from, length, stamp_of(m_seed, content, offset).check);
    const bool has_stamp = from == 0 && length >= sizeof(Stamp);
    const Stamp stamp = has_stamp ? stamp_in(bytes) : Stamp{};
    if (is_whole(stamp)) {
        const Tags tags = tags_in(bytes, from, length, stamp.check);
        if (tags.matching < tags.there)
            return {PromiseKind::torn_block, offset, "its sectors are of different blocks"};
    } else if (right_tags.matching > 0 && (has_stamp || right_tags.matching < right_tags.there)) {
        return {PromiseKind::torn_block, offset, "a part of it is something else"};
    }
    if (!has_stamp)
        return {PromiseKind::foreign_block, offset, fmt::format("{} of its bits are wrong", bits)};
    if (auto other = other_identity(bytes, content, offset, earlier_were_right))
        return *other;
    if (is_whole(stamp))
        return {PromiseKind::flipped_bits, offset, fmt::format("{} of its bits are wrong", bits)};
    return {PromiseKind::foreign_block, offset, "it is no block of such a run"};
}
