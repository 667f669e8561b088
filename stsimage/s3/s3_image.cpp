#include "stsimage/s3/s3_image.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/process_end.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

// A name may be given to another image, and the one seen be cleared away, again and again.
constexpr int most_looks = 20;

constexpr uint64_t longest_map = uint64_t{1} << 32;

}  // namespace

S3Image::S3Image(NameTable image_table, std::string image_name)
    : table(std::move(image_table)), name(std::move(image_name)), shown_path(table.path_of(name)) {}

S3Image::~S3Image() {
    try {
        let_go();
    } catch (const std::exception &) {
        // What is left is found by others.
    }
}

void S3Image::let_go() {
    if (log != nullptr && table.bucket().is_ours())
        table.root().presence().forget_reader(entry.id);
    log.reset();
}

int32_t S3Image::open() {
    for (int look = 0; look < most_looks; ++look) {
        SeenRecord seen;
        if (const Answer answer = table.find(name, seen); !answer.ok())
            return tell(answer, std::string("cannot look for ") + QuotedText(shown_path).c_str());
        if (!seen.record.image)
            return fail(STS_E_NOT_FOUND, "there is no image %s in %s", QuotedText(name).c_str(),
                        QuotedText(table.path()).c_str());
        entry = *seen.record.image;
        table.root().presence().note_reader(entry.id);
        log = std::make_unique<LogReader>(table.bucket(), entry.id, entry.log_length);
        const int error = read_map();
        if (error == 0)
            return 0;
        let_go();
        if (error == EBADMSG)
            return fail(STSIMG_E_DAMAGED, "the map of %s is damaged", QuotedText(shown_path).c_str());
        if (error != EIDRM)
            return fail_system(error, "cannot read the map of %s", QuotedText(shown_path).c_str());
    }
    return fail(STSIMG_E_DAMAGED, "parts of %s are missing", QuotedText(shown_path).c_str());
}

int S3Image::read_map() {
    const uint64_t length = entry.log_length - entry.map_place;
    if (length > longest_map)
        return EBADMSG;
    std::string bytes(length, '\0');
    if (!log->read(bytes.data(), length, entry.map_place))
        return errno;
    const bool is_right =
        sha256_in_hexadecimal(bytes) == entry.map_hash && ExtentMap::read(bytes, entry.size, entry.map_place, extents);
    if (process_ends())  // no hash can be had any more
        return ENOTCONN;
    return is_right ? 0 : EBADMSG;
}

ssize_t S3Image::read(iovec *buffers, int count, uint64_t place) {
    if (!table.bucket().is_ours()) {
        errno = ENOTCONN;
        return -1;
    }
    ssize_t total = 0;
    for (int i = 0; i < count; ++i) {
        const uint64_t left = place < entry.size ? entry.size - place : 0;
        const uint64_t length = std::min<uint64_t>(buffers[i].iov_len, left);
        if (!read_range(static_cast<char *>(buffers[i].iov_base), length, place))
            return -1;
        total += static_cast<ssize_t>(length);
        place += length;
    }
    return total;
}

bool S3Image::read_range(char *target, uint64_t length, uint64_t place) {
    while (length > 0) {
        const ExtentMap::Run run = extents.find(place, length);
        if (!run.is_written)
            std::memset(target, 0, run.length);
        else if (!log->read(target, run.length, run.log_place))
            return false;
        target += run.length;
        place += run.length;
        length -= run.length;
    }
    return true;
}

}  // namespace stsimage::s3
