// From an LSU text to the store that has its images.
#pragma once

#include <cstdint>
#include <memory>

#include "stsimage/store.h"

namespace stsimage {

// Checks an LSU text and opens the store behind it. WhenMissing::make makes an LSU that is not there, as far as the kind of
// text allows that.
int32_t open_store(const char *lsu_text, WhenMissing when_missing, std::unique_ptr<Store> &out_store);

}  // namespace stsimage
