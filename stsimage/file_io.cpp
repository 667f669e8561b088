#include "stsimage/file_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace stsimage {

namespace {

void skip(iovec *&buffers, int &count, size_t bytes) {
    while (count > 0 && bytes >= buffers->iov_len) {
        bytes -= buffers->iov_len;
        ++buffers;
        --count;
    }
    if (count > 0) {
        buffers->iov_base = static_cast<char *>(buffers->iov_base) + bytes;
        buffers->iov_len -= bytes;
    }
}

}  // namespace

ssize_t read_fully(int file, iovec *buffers, int count, uint64_t place) {
    ssize_t total = 0;
    while (count > 0) {
        const auto position = static_cast<off_t>(place + static_cast<uint64_t>(total));
        // One buffer is the common case, and pread is the cheaper call.
        const ssize_t got = count == 1 ? pread(file, buffers->iov_base, buffers->iov_len, position)
                                       : preadv(file, buffers, count, position);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        total += got;
        skip(buffers, count, static_cast<size_t>(got));
    }
    return total;
}

ssize_t read_fully(int file, void *buffer, size_t length, uint64_t place) {
    iovec whole{buffer, length};
    return read_fully(file, &whole, length == 0 ? 0 : 1, place);
}

bool write_fully(int file, const void *data, size_t length, uint64_t place) {
    const auto *bytes = static_cast<const char *>(data);
    while (length > 0) {
        const ssize_t put = pwrite(file, bytes, length, static_cast<off_t>(place));
        if (put < 0 && errno == EINTR)
            continue;
        if (put == 0)
            errno = EIO;
        if (put <= 0)
            return false;
        bytes += put;
        length -= static_cast<size_t>(put);
        place += static_cast<uint64_t>(put);
    }
    return true;
}

bool start_write_back(int file, uint64_t place, uint64_t length) {
    return sync_file_range(file, static_cast<off_t>(place), static_cast<off_t>(length), SYNC_FILE_RANGE_WRITE) == 0 ||
           (errno != EIO && errno != ENOSPC && errno != EDQUOT);
}

}  // namespace stsimage
