// Data into and out of an open image, in constant memory.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "simhost/host/data_source.h"
#include "simhost/host/image.h"

struct Transfer {
    uint64_t bytes = 0;
    double seconds = 0;
    std::string hash;  // of the bytes in their order
    std::optional<uint64_t> first_difference;
};

constexpr uint64_t default_chunk_bytes = 1 << 20;
constexpr uint64_t largest_chunk_bytes = 1 << 30;

// Writes all data of the source to the image, from offset 0. Throws BadAnswer when the image takes less than it was
// given.
Transfer write_image(OpenImage &image, DataSource &source, uint64_t chunk_bytes);

// Reads the image to its end and gives each piece to take(data, length, offset). total is for the progress bar.
Transfer read_image(OpenImage &image, std::optional<uint64_t> total, uint64_t chunk_bytes,
                    const std::function<void(const char *, size_t, uint64_t)> &take);

// Lets the plug-in copy that many bytes from one image to the other and returns the time it took. Throws BadAnswer when
// an extent is not copied whole.
double copy_image(OpenImage &source, OpenImage &target, uint64_t bytes, uint64_t chunk_bytes);

// Reads the image to its end and, where the source can be read again, compares byte by byte.
Transfer compare_image(OpenImage &image, DataSource &source, std::optional<uint64_t> total, uint64_t chunk_bytes);
