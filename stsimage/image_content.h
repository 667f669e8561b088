// The bytes of one image, in a stored run of the image format.
#pragma once

#include <sys/uio.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

#include "stsimage/checksum_tables.h"
#include "stsimage/draft.h"
#include "stsimage/image_format.h"
#include "stsimage/stored_image.h"

namespace stsimage {

// Reads and checks the header of what is said to be an image.
int32_t read_header(StoredImage &file, ImageHeader &out_header);

class ImageContent {
public:
    // An empty image, to be written to a draft that outlives it.
    static int32_t make(Draft &draft, std::string_view server_name, std::unique_ptr<ImageContent> &out_content);

    // The image in a file that outlives it, for reading.
    static int32_t load(StoredImage &file, std::unique_ptr<ImageContent> &out_content);

    // The image in a draft that outlives it, for changing it. Its index is taken off: data may come to lie there.
    static int32_t load_to_change(Draft &draft, std::unique_ptr<ImageContent> &out_content);

    uint64_t size() const { return header.image_size; }
    int64_t creation_time() const { return header.creation_time; }

    // Reads within the image: offset + length is at most the size. Every block it takes from the file is checked. Any
    // number of threads may read side by side while none writes.
    int32_t read(char *buffer, uint64_t length, uint64_t offset);

    // Writes a range that ends at max_image_size at most, to a draft. After a failure the content is of no use any more.
    int32_t write(const char *data, uint64_t length, uint64_t offset);

    // Brings all that was written to the draft, the header last. Publishing it is left to the caller.
    int32_t finish();

private:
    // The draft is the file itself, or null for an image that is only read.
    ImageContent(StoredImage &file, Draft *draft, const ImageHeader &header);

    static int32_t load(StoredImage &file, Draft *draft, std::unique_ptr<ImageContent> &out_content);

    int32_t read_group_part(char *buffer, uint64_t length, uint64_t offset);
    int32_t read_few(const ChecksumTable &table, char *buffer, uint64_t length, uint64_t offset);
    int32_t read_many(const ChecksumTable &table, char *buffer, uint64_t length, uint64_t offset);
    int32_t transfer(iovec *buffers, int buffer_count, uint64_t first, uint64_t count) const;
    int32_t check(const ChecksumTable &table, const char *data, uint64_t first, uint64_t count) const;

    int32_t write_whole_blocks(const char *data, uint64_t first, uint64_t count);
    int32_t write_within_block(const char *data, uint64_t length, uint64_t offset);
    int32_t hold(uint64_t block);
    int32_t release_held();

    StoredImage &file;
    Draft *const draft;
    ImageHeader header;
    ChecksumTables tables;

    // The block that was last written in part, kept so that a stream of small writes costs one transfer for each block.
    std::array<char, block_size> held_data{};
    uint64_t held_block = 0;
    bool holding = false;
};

}  // namespace stsimage
