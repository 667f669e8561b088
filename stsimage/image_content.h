// The bytes of one image, in a file of the image format.
#pragma once

#include <sys/uio.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "stsimage/checksum_tables.h"
#include "stsimage/image_format.h"

namespace stsimage {

// Reads and checks the header of a file that is said to be an image; the path is for messages.
int32_t read_header(int file, const std::string &path, ImageHeader &out_header);

class ImageContent {
public:
    // An empty image, to be written to a file that outlives it.
    static int32_t make(int file, std::string path, std::string_view server_name,
                        std::unique_ptr<ImageContent> &out_content);

    // The image in a file that outlives it.
    static int32_t load(int file, std::string path, std::unique_ptr<ImageContent> &out_content);

    uint64_t size() const { return header.image_size; }
    int64_t creation_time() const { return header.creation_time; }

    // Reads within the image: offset + length is at most the size. Every block it takes from the file is checked. Any
    // number of threads may read side by side while none writes.
    int32_t read(char *buffer, uint64_t length, uint64_t offset);

    // Takes the index off the end of a loaded image's file, which is to be written to: data may come to lie there.
    int32_t drop_index();

    // Writes a range that ends at max_image_size at most. After a failure the content is of no use any more.
    int32_t write(const char *data, uint64_t length, uint64_t offset);

    // Brings all that was written to the file, the header last. Flushing the file is left to the caller.
    int32_t finish();

private:
    ImageContent(int file, std::string path, const ImageHeader &header);

    int32_t read_group_part(char *buffer, uint64_t length, uint64_t offset);
    int32_t read_few(const ChecksumTable &table, char *buffer, uint64_t length, uint64_t offset);
    int32_t read_many(const ChecksumTable &table, char *buffer, uint64_t length, uint64_t offset);
    int32_t transfer(iovec *buffers, int buffer_count, uint64_t first, uint64_t count) const;
    int32_t check(const ChecksumTable &table, const char *data, uint64_t first, uint64_t count) const;

    int32_t write_whole_blocks(const char *data, uint64_t first, uint64_t count);
    int32_t write_within_block(const char *data, uint64_t length, uint64_t offset);
    int32_t hold(uint64_t block);
    int32_t release_held();

    const int file;
    const std::string path;
    ImageHeader header;
    ChecksumTables tables;

    // The block that was last written in part, kept so that a stream of small writes costs one transfer for each block.
    std::array<char, block_size> held_data{};
    uint64_t held_block = 0;
    bool holding = false;
};

}  // namespace stsimage
