#include "stsimage/image_reader.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "stsimage/image_info.h"
#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

namespace {

// What a file that another host is still writing, or has just written, may look like by way of a cache.
bool may_be_old(int32_t status) {
    return status == STSIMG_E_NOT_AN_IMAGE || status == STSIMG_E_TRUNCATED || status == STSIMG_E_DAMAGED;
}

// Opens a file by its name and does something with it, anew as long as a cache may be to blame for what is seen.
template <class Operation>
int32_t until_seen_whole(FileDescriptor &out_file, Operation open_and_look) {
    const EarlierFailure earlier;
    for (int attempt = 0;; ++attempt) {
        FileDescriptor file;
        const int32_t status = open_and_look(file);
        if (status == 0 && attempt > 0)
            earlier.tell_again();
        if (attempt + 1 == most_attempts || !may_be_old(status) || !file || !is_shared(file.get())) {
            out_file = std::move(file);
            return status;
        }
        drop_cached_data(file.get());
        wait_before_next_attempt(attempt);
    }
}

}  // namespace

int32_t open_image_file(const LsuDirectory &lsu, std::string_view name, FileDescriptor &out_file) {
    const std::string file = file_of(name);
    // O_NONBLOCK: whatever lies there in place of a file, opening it must not wait.
    out_file =
        FileDescriptor(openat(lsu.descriptor.get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (out_file)
        return 0;
    const int error = errno;
    const QuotedText shown(name), directory(lsu.path);
    if (error == ENOENT)
        return fail(STS_E_NOT_FOUND, "there is no image %s in %s", shown.c_str(), directory.c_str());
    if (error == ELOOP || error == ENXIO)
        return fail(STSIMG_E_NOT_AN_IMAGE, "%s is no regular file", QuotedText(lsu.path_of(file)).c_str());
    return fail_system(error, "cannot open the image %s in %s", shown.c_str(), directory.c_str());
}

int32_t read_header_of_image(const LsuDirectory &lsu, std::string_view name, ImageHeader &out_header) {
    FileDescriptor file;
    return until_seen_whole(file, [&](FileDescriptor &opened) {
        const int32_t status = open_image_file(lsu, name, opened);
        return status != 0 ? status : read_header(opened.get(), lsu.path_of(file_of(name)), out_header);
    });
}

int32_t ImageReader::open(const LsuDirectory &lsu, std::string_view name, std::shared_ptr<Image> &out_image) {
    auto image = std::make_shared<ImageReader>();
    image->name = name;
    const int32_t status = until_seen_whole(image->file, [&](FileDescriptor &opened_file) {
        if (const int32_t opened = open_image_file(lsu, name, opened_file); opened != 0)
            return opened;
        return ImageContent::load(opened_file.get(), lsu.path_of(file_of(name)), image->content);
    });
    if (status != 0)
        return status;
    out_image = std::move(image);
    return 0;
}

int32_t ImageReader::read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) {
    const EarlierFailure earlier;
    for (int attempt = 0;; ++attempt) {
        const int32_t status = read_within_size(*content, buffer, length, offset, out_bytes_read);
        if (status == 0 && attempt > 0)
            earlier.tell_again();
        if (attempt + 1 == most_attempts || !may_be_old(status) || !is_shared(file.get()))
            return status;
        drop_cached_data(file.get());
        wait_before_next_attempt(attempt);
    }
}

int32_t ImageReader::write(const void *, uint64_t, uint64_t) {
    return fail(STSIMG_E_WRONG_MODE, "the image %s is open for reading only", QuotedText(name).c_str());
}

int32_t ImageReader::describe(sts_image_info_t &out_info) {
    fill_info(name, content->size(), content->creation_time(), out_info);
    return 0;
}

int32_t read_within_size(ImageContent &content, void *buffer, uint64_t length, uint64_t offset,
                         uint64_t &out_bytes_read) {
    const uint64_t available = offset < content.size() ? std::min(length, content.size() - offset) : 0;
    if (const int32_t status = content.read(static_cast<char *>(buffer), available, offset); status != 0)
        return status;
    out_bytes_read = available;
    return 0;
}

}  // namespace stsimage
