#include "stsimage/image_file_copy.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/page_buffer.h"
#include "stsimage/file_io.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

namespace {

bool copy_range(int source, int target, uint64_t begin, uint64_t end, PageBuffer &buffer) {
    while (begin < end) {
        const ssize_t got = read_fully(source, buffer.data(), std::min<uint64_t>(buffer.size(), end - begin), begin);
        if (got < 0)
            return false;
        if (got == 0)
            break;  // cut short meanwhile; loading the copy finds out
        if (!write_fully(target, buffer.data(), static_cast<size_t>(got), begin))
            return false;
        begin += static_cast<uint64_t>(got);
    }
    return true;
}

bool copy_data(int source, int target) {
    const off_t size = lseek(source, 0, SEEK_END);
    if (size < 0 || ftruncate(target, size) != 0)
        return false;
    PageBuffer buffer(size_t{1} << 20);
    for (off_t end = 0;;) {
        const off_t begin = lseek(source, end, SEEK_DATA);
        if (begin < 0)
            return errno == ENXIO;  // nothing but a hole is left
        end = lseek(source, begin, SEEK_HOLE);
        if (end < 0 || !copy_range(source, target, static_cast<uint64_t>(begin), static_cast<uint64_t>(end), buffer))
            return false;
    }
}

}  // namespace

int32_t copy_file(int source, int target, const std::string &path) {
    if (ioctl(target, FICLONE, source) == 0 || copy_data(source, target))
        return 0;
    return fail_system(errno, "cannot copy %s for writing", QuotedText(path).c_str());
}

}  // namespace stsimage
