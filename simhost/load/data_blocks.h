// Data that proves itself: every block of 4096 bytes tells run, image, generation and offset, and each of its sectors of
// 512 bytes a part of that. So what is read tells whether it is what was written, and if not, what became of it.
//
// What is not such a stamp is filler, the same for all blocks at one place of a chunk: making data costs only its stamps.
// Offset 0 of an image is the start of a block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/page_buffer.h"
#include "simhost/load/broken_promise.h"
#include "simhost/load/content.h"

constexpr size_t block_bytes = 4096;
// As many at a block's beginning tell which block it is.
constexpr size_t block_identity_bytes = 56;

struct BlockFault {
    PromiseKind kind;
    uint64_t offset;   // of the first block that is wrong
    std::string what;  // in words
};

// The content that the first block of an image says it is; nothing when that is no block of a run with that seed.
std::optional<Content> told_content(uint64_t seed, const char *first_bytes, uint64_t length);

class DataBlocks {
public:
    // For calls of at most chunk_bytes. compressible_percent of the filler is zeros.
    DataBlocks(uint64_t seed, uint64_t chunk_bytes, unsigned compressible_percent);

    // length bytes of a content from offset; length is at most chunk_bytes. Valid until the next call.
    const char *data(const Content &content, uint64_t offset, uint64_t length);

    // A buffer of chunk_bytes for a read, spoilt at every sector, so that what a read leaves out is seen.
    char *read_buffer(uint64_t offset, uint64_t length);

    // Whether length bytes read from offset are of that content; what is wrong if not. earlier_were_right: blocks of the same
    // image that were read before were.
    std::optional<BlockFault> check(const char *bytes, const Content &content, uint64_t offset, uint64_t length,
                                    bool earlier_were_right);

private:
    void stamp(char *block, const Content &content, uint64_t offset) const;
    BlockFault diagnose(const char *bytes, const char *right, const Content &content, uint64_t offset, size_t from,
                        size_t length, bool earlier_were_right) const;
    std::optional<BlockFault> other_identity(const char *bytes, const Content &content, uint64_t offset,
                                             bool earlier_were_right) const;

    uint64_t m_seed;
    size_t m_period;             // blocks after which the filler repeats
    std::vector<char> m_blocks;  // two periods and one block
    PageBuffer m_read;
};
