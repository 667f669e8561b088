// From an LSU text to the store that has its images.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "stsimage/store.h"
#include "stsimage/store_root.h"

namespace stsimage {

// Checks an LSU text and opens the store behind it. WhenMissing::make makes an LSU that is not there, as far as the kind of
// text allows that.
int32_t open_store(const char *lsu_text, WhenMissing when_missing, std::unique_ptr<Store> &out_store);

// Opens the root that images are kept under, and that of an LSU text if there is one: texts may lead elsewhere. Gives the text
// as the root knows it.
int32_t open_root(const char *lsu_text, std::unique_ptr<StoreRoot> &out_root, std::string &out_lsu);

}  // namespace stsimage
