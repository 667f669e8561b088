// A run of bytes that is being written to a store (store.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include "stsimage/stored_image.h"

namespace stsimage {

// For one thread at a time. Goes away without a trace unless it is published.
class Draft : public StoredImage {
public:
    // Returns false with errno set when not all of it could be written. A store may tell of a failure at a later write, or at
    // publish().
    virtual bool write(const void *data, size_t length, uint64_t place) = 0;

    // Says that this part, just written, is not likely to be written again soon. Returns false with errno set when it is known
    // by now that it cannot be kept.
    virtual bool start_write_back(uint64_t place, uint64_t length) = 0;

    // Ends it at this place. Returns false with errno set.
    virtual bool cut(uint64_t place) = 0;

    // Takes over all bytes of a run of the same store; this one is empty yet.
    virtual int32_t copy(StoredImage &source) = 0;

    // Brings all to stable storage and gives it its name, instead of an image of that name that was there. When that fails the
    // earlier state is restored; STSIMG_E_OUTCOME_UNKNOWN when that could not be done, or when it is not known.
    virtual int32_t publish() = 0;
};

}  // namespace stsimage
