// Data moved between two open images: one read, one write.
#include "image/transfer_buffer.h"
#include "stspi/stspi.h"

namespace {

int32_t copy_data(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source, uint64_t source_offset,
                  uint64_t length, uint64_t *out_bytes_written) {
    const TransferBuffer buffer(length);
    if (buffer.data() == nullptr)
        return STS_E_INVALID_PARAMETER;
    uint64_t bytes_read = 0;
    if (const int32_t status = stspi_read_image(source, buffer.data(), length, source_offset, &bytes_read))
        return status;
    uint64_t bytes_written = 0;
    const int32_t status = stspi_write_image(target, nullptr, buffer.data(), bytes_read, target_offset, &bytes_written);
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
