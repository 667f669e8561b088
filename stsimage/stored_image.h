// A run of bytes that can be read from a store (store.h). Any number of threads may do so side by side.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace stsimage {

class StoredImage {
public:
    virtual ~StoredImage() = default;

    // Where it lies, for messages.
    virtual const std::string &path() const = 0;

    // Returns false with errno set when the size cannot be seen.
    virtual bool ask_size(uint64_t &out_size) = 0;

    // Fills the buffers in order from the given place. Returns the number of bytes, less than asked for only at the end, or
    // -1 with errno set. What was never written reads as zero. Changes the array.
    virtual ssize_t read(iovec *buffers, int count, uint64_t place) = 0;
    ssize_t read(void *buffer, size_t length, uint64_t place) {
        iovec whole{buffer, length};
        return read(&whole, length == 0 ? 0 : 1, place);
    }

    // Whether what was read may have been an older state, which a cache of this host still showed. If so that is forgotten:
    // reading again, or opening by name, may show what is there now.
    virtual bool forget_cached() { return false; }
};

}  // namespace stsimage
