#include "stsimage/image_writer.h"

#include <new>
#include <utility>

#include "base/invariant.h"
#include "stsimage/image_info.h"
#include "stsimage/image_reader.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

int32_t ImageWriter::create(std::unique_ptr<Store> store, std::string_view name, std::string_view server_name,
                            std::shared_ptr<Image> &out_image) {
    auto image = std::make_shared<ImageWriter>();
    if (const int32_t status = image->begin(std::move(store), name); status != 0)
        return status;
    if (const int32_t status = ImageContent::make(*image->draft, server_name, image->content); status != 0)
        return status;
    out_image = std::move(image);
    return 0;
}

int32_t ImageWriter::open(std::unique_ptr<Store> store, std::string_view name, std::shared_ptr<Image> &out_image) {
    auto image = std::make_shared<ImageWriter>();
    // First of all, so that an unknown image leaves no trace; what is copied is opened again when this writer is alone.
    std::unique_ptr<StoredImage> known;
    if (const int32_t status = store->open(name, known); status != 0)
        return status;
    if (const int32_t status = image->begin(std::move(store), name); status != 0)
        return status;
    if (const int32_t status = image->copy_existing(); status != 0)
        return status;
    out_image = std::move(image);
    return 0;
}

int32_t ImageWriter::begin(std::unique_ptr<Store> new_store, std::string_view new_name) {
    store = std::move(new_store);
    name = new_name;
    return store->begin(name, draft);
}

int32_t ImageWriter::copy_existing() {
    std::unique_ptr<StoredImage> source;
    if (const int32_t status = store->open(name, source); status != 0)
        return status;
    ImageHeader checked;
    if (const int32_t status = read_header(*source, checked); status != 0)
        return status;
    if (const int32_t status = draft->copy(*source); status != 0)
        return status;
    return ImageContent::load_to_change(*draft, content);
}

int32_t ImageWriter::check_open() const {
    return closed ? fail(STSIMG_E_INVALID_HANDLE, "the image %s is being closed", QuotedText(name).c_str()) : 0;
}

// Does what may leave the content half changed, and remembers if it failed.
template <class Operation>
int32_t ImageWriter::spoiling(Operation operation) {
    if (spoilt != 0)
        return fail(spoilt, "the image %s is spoilt since an earlier call failed", QuotedText(name).c_str());
    try {
        return spoilt = operation();
    } catch (const std::bad_alloc &) {
        spoilt = STSIMG_E_NO_MEMORY;
        throw;
    } catch (const BrokenInvariant &) {
        spoilt = STS_E_INTERNAL;
        throw;
    }
}

int32_t ImageWriter::read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (const int32_t status = check_open(); status != 0)
        return status;
    // Reading may have to write: the block that is held, or a checksum table that has to make room.
    return spoiling([&] { return read_within_size(*content, buffer, length, offset, out_bytes_read); });
}

int32_t ImageWriter::write(const void *data, uint64_t length, uint64_t offset) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (const int32_t status = check_open(); status != 0)
        return status;
    if (offset > max_image_size || length > max_image_size - offset)
        return fail(STSIMG_E_TOO_LARGE, "the image %s cannot hold %ju bytes at offset %ju", QuotedText(name).c_str(),
                    uintmax_t{length}, uintmax_t{offset});
    return spoiling([&] { return content->write(static_cast<const char *>(data), length, offset); });
}

int32_t ImageWriter::describe(sts_image_info_t &out_info) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (const int32_t status = check_open(); status != 0)
        return status;
    fill_info(name, content->size(), content->creation_time(), out_info);
    return 0;
}

int32_t ImageWriter::close() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (const int32_t status = check_open(); status != 0)
        return status;
    closed = true;
    return spoiling([this] {
        const int32_t status = content->finish();
        return status != 0 ? status : draft->publish();
    });
}

}  // namespace stsimage
