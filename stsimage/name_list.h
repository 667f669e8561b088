// The names of an LSU's images, from a store (store.h).
#pragma once

#include <cstdint>
#include <string_view>

namespace stsimage {

// For one thread at a time.
class NameList {
public:
    virtual ~NameList() = default;

    // The name is good until the next call. STS_E_NO_MORE_ENTRIES at the end, again and again.
    virtual int32_t next(std::string_view &out_name) = 0;
};

}  // namespace stsimage
