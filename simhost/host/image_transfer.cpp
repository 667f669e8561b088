#include "simhost/host/image_transfer.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "base/escaped_text.h"
#include "base/page_buffer.h"
#include "simhost/host/stream_hash.h"
#include "simhost/report/progress_bar.h"
#include "simhost/report/quantities.h"

namespace {

class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count(); }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

std::string outcome(const Transfer &transfer) {
    return fmt::format("{}, {}, xxh128 {}", bytes_in_words(transfer.bytes),
                       format_rate(transfer.bytes, transfer.seconds), transfer.hash);
}

// The first place where the pieces differ, if any; a length that differs is a difference.
std::optional<size_t> first_difference(const char *left, size_t left_length, const char *right, size_t right_length) {
    const size_t common = std::min(left_length, right_length);
    const auto place = static_cast<size_t>(std::mismatch(left, left + common, right).first - left);
    if (place == common && left_length == right_length)
        return std::nullopt;
    return place;
}

}  // namespace

Transfer write_image(OpenImage &image, DataSource &source, uint64_t chunk_bytes) {
    Transfer transfer;
    const auto write_all = [&](Call &call) -> int32_t {
        PageBuffer buffer(chunk_bytes);
        StreamHash hash;
        ProgressBar bar("write", source.size(), image.host().report().shows_progress());
        const Stopwatch watch;
        call.times = 0;
        int32_t status = 0;
        while (const size_t length = source.read(buffer.data(), buffer.size())) {
            hash.add(buffer.data(), length);
            uint64_t written = 0;
            status = image.host().entry().write_image(image.handle(), nullptr, buffer.data(), length, transfer.bytes,
                                                      &written);
            ++call.times;
            if (status != 0) {
                call.result = fmt::format("at offset {}", transfer.bytes);
                return status;
            }
            if (written != length)
                throw BadAnswer(
                    fmt::format("stspi_write_image took {} of {} bytes at offset {}", written, length, transfer.bytes));
            transfer.bytes += length;
            bar.update(transfer.bytes);
        }
        transfer.seconds = watch.seconds();
        transfer.hash = hash.text();
        call.result = outcome(transfer);
        return status;
    };
    image.host().call("stspi_write_image", fmt::format("{} from {}", in_quotes(image.name()), printable(source.name())),
                      write_all);
    return transfer;
}

Transfer read_image(OpenImage &image, std::optional<uint64_t> total, uint64_t chunk_bytes,
                    const std::function<void(const char *, size_t, uint64_t)> &take) {
    Transfer transfer;
    const auto read_all = [&](Call &call) -> int32_t {
        PageBuffer buffer(chunk_bytes);
        StreamHash hash;
        ProgressBar bar("read ", total, image.host().report().shows_progress());
        const Stopwatch watch;
        for (call.times = 1;; ++call.times) {
            stop_if_interrupted();
            uint64_t got = 0;
            const int32_t status =
                image.host().entry().read_image(image.handle(), buffer.data(), buffer.size(), transfer.bytes, &got);
            if (status != 0) {
                call.result = fmt::format("at offset {}", transfer.bytes);
                return status;
            }
            if (got > buffer.size())
                throw BadAnswer(fmt::format("stspi_read_image reports {} bytes at offset {}, {} were asked for", got,
                                            transfer.bytes, buffer.size()));
            if (got == 0)
                break;
            const auto length = static_cast<size_t>(got);
            hash.add(buffer.data(), length);
            take(buffer.data(), length, transfer.bytes);
            transfer.bytes += length;
            bar.update(transfer.bytes);
        }
        transfer.seconds = watch.seconds();
        transfer.hash = hash.text();
        call.result = outcome(transfer);
        return 0;
    };
    image.host().call("stspi_read_image", in_quotes(image.name()), read_all);
    return transfer;
}

double copy_image(OpenImage &source, OpenImage &target, uint64_t bytes, uint64_t chunk_bytes) {
    double seconds = 0;
    const auto copy_all = [&](Call &call) -> int32_t {
        ProgressBar bar("copy ", bytes, source.host().report().shows_progress());
        const Stopwatch watch;
        call.times = 0;
        for (uint64_t offset = 0; offset < bytes;) {
            stop_if_interrupted();
            const uint64_t length = std::min(chunk_bytes, bytes - offset);
            uint64_t written = 0;
            const int32_t status = source.host().entry().copy_extent(target.handle(), offset, source.handle(), offset,
                                                                     length, nullptr, &written);
            ++call.times;
            if (status != 0) {
                call.result = fmt::format("at offset {}", offset);
                return status;
            }
            if (written != length)
                throw BadAnswer(
                    fmt::format("stspi_copy_extent copied {} of {} bytes at offset {}", written, length, offset));
            offset += length;
            bar.update(offset);
        }
        seconds = watch.seconds();
        call.result = fmt::format("{}, {}", bytes_in_words(bytes), format_rate(bytes, seconds));
        return 0;
    };
    source.host().call("stspi_copy_extent", fmt::format("{} to {}", in_quotes(source.name()), in_quotes(target.name())),
                       copy_all);
    return seconds;
}

Transfer compare_image(OpenImage &image, DataSource &source, std::optional<uint64_t> total, uint64_t chunk_bytes) {
    std::vector<char> original;
    std::optional<uint64_t> difference;
    Transfer transfer = read_image(image, total, chunk_bytes, [&](const char *data, size_t length, uint64_t offset) {
        if (!source.is_rereadable() || difference)
            return;
        original.resize(length);
        const size_t original_length = source.read_at(original.data(), length, offset);
        if (const auto place = first_difference(data, length, original.data(), original_length))
            difference = offset + *place;
    });
    transfer.first_difference = difference;
    return transfer;
}
