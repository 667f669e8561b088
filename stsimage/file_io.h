// Whole transfers at a place in a file: interrupted and short ones are carried on.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

namespace stsimage {

// Fills the buffers in order from the given place. Returns the number of bytes, less than asked for only at the end of the
// file, or -1 with errno set. Changes the array.
ssize_t read_fully(int file, iovec *buffers, int count, uint64_t place);
ssize_t read_fully(int file, void *buffer, size_t length, uint64_t place);

// Writes all of it. Returns false with errno set when it could not.
bool write_fully(int file, const void *data, size_t length, uint64_t place);

// Lets the system begin to bring a part of the file to the disk, so that a flush at the end has less to wait for. Returns
// false with errno set when the disk does not take it, which the flush might not tell again; a system that cannot begin
// is fine.
bool start_write_back(int file, uint64_t place, uint64_t length);

}  // namespace stsimage
