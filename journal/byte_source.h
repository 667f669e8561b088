// Where a reader takes a journal's bytes from. Files are read, not mapped: one that shrinks meanwhile does no harm.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace journal {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual uint64_t size() const = 0;
    // As many bytes as there are, at most `size`; 0 at the end, and where the file cannot be read.
    virtual size_t read(uint64_t offset, void *buffer, size_t size) = 0;
};

// Throws ReadError when the file cannot be opened or is no regular file.
std::unique_ptr<ByteSource> open_file(const std::string &path);

// The bytes must outlive the source.
std::unique_ptr<ByteSource> memory_source(std::string_view bytes);

}  // namespace journal
