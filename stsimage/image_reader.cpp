#include "stsimage/image_reader.h"

#include <algorithm>
#include <utility>

#include "stsimage/image_info.h"
#include "stsimage/last_error.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

namespace {

// What an image that another host is still writing, or has just written, may look like by way of a cache.
bool may_be_old(int32_t status) {
    return status == STSIMG_E_NOT_AN_IMAGE || status == STSIMG_E_TRUNCATED || status == STSIMG_E_DAMAGED;
}

// Opens an image by its name and does something with it, anew as long as a cache may be to blame for what is seen.
template <class Operation>
int32_t until_seen_whole(std::unique_ptr<StoredImage> &out_file, Operation open_and_look) {
    const EarlierFailure earlier;
    for (int attempt = 0;; ++attempt) {
        std::unique_ptr<StoredImage> file;
        const int32_t status = open_and_look(file);
        if (status == 0 && attempt > 0)
            earlier.tell_again();
        if (attempt + 1 == most_attempts || !may_be_old(status) || file == nullptr || !file->forget_cached()) {
            out_file = std::move(file);
            return status;
        }
        wait_before_next_attempt(attempt);
    }
}

}  // namespace

int32_t read_header_of_image(Store &store, std::string_view name, ImageHeader &out_header) {
    std::unique_ptr<StoredImage> file;
    return until_seen_whole(file, [&](std::unique_ptr<StoredImage> &opened) {
        const int32_t status = store.open(name, opened);
        return status != 0 ? status : read_header(*opened, out_header);
    });
}

int32_t ImageReader::open(Store &store, std::string_view name, std::shared_ptr<Image> &out_image) {
    auto image = std::make_shared<ImageReader>();
    image->name = name;
    const int32_t status = until_seen_whole(image->file, [&](std::unique_ptr<StoredImage> &opened_file) {
        if (const int32_t opened = store.open(name, opened_file); opened != 0)
            return opened;
        return ImageContent::load(*opened_file, image->content);
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
        if (attempt + 1 == most_attempts || !may_be_old(status) || !file->forget_cached())
            return status;
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
