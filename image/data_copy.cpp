// Data moved between two open images: one read, one write.
#include <memory>
#include <new>

#include "stspi/stspi.h"

namespace {

int32_t copy_data(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source, uint64_t source_offset,
                  uint64_t length, uint64_t *out_bytes_written) {
    // The interface counts the buffer in 32 bits, signed, but hands the read the length as it is. So the buffer must hold
    // all of a longer length too, and a count that is negative is refused.
    const std::unique_ptr<char[]> buffer(static_cast<int32_t>(length) >= 0 ? new (std::nothrow) char[length] : nullptr);
    if (buffer == nullptr)
        return STS_E_INVALID_PARAMETER;
    uint64_t bytes_read = 0;
    if (const int32_t status = stspi_read_image(source, buffer.get(), length, source_offset, &bytes_read))
        return status;
    uint64_t bytes_written = 0;
    const int32_t status = stspi_write_image(target, nullptr, buffer.get(), bytes_read, target_offset, &bytes_written);
    *out_bytes_written = bytes_written;
    return status;
}

}  // namespace

int32_t stspi_copy_extent(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                          uint64_t source_offset, uint64_t length, const void *, uint64_t *out_bytes_written) {
    if (target == nullptr || out_bytes_written == nullptr)
        return STS_E_INVALID_PARAMETER;
    return copy_data(target, target_offset, source, source_offset, length, out_bytes_written);
}

int32_t stspi_include_in_image(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                               uint64_t source_offset, uint64_t length) {
    if (target == nullptr)
        return STS_E_INVALID_PARAMETER;
    uint64_t bytes_written = 0;
    return copy_data(target, target_offset, source, source_offset, length, &bytes_written);
}
