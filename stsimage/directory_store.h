// The store that is a directory: an image is a file in it.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "stsimage/lsu_directory.h"
#include "stsimage/store.h"

namespace stsimage {

class DirectoryStore : public Store {
public:
    // The directory behind an LSU text that has been checked. What dead writers left in it is cleared.
    static int32_t open_lsu(std::string_view text, WhenMissing when_missing, std::unique_ptr<Store> &out_store);

    int32_t begin(std::string_view name, std::unique_ptr<Draft> &out_draft) override;
    int32_t open(std::string_view name, std::unique_ptr<StoredImage> &out_image) override;
    int32_t remove(std::string_view name) override;
    int32_t list(std::unique_ptr<NameList> &out_names) override;

private:
    LsuDirectory lsu;
};

}  // namespace stsimage
