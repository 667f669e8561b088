#include "stsimage/store_opening.h"

#include <cstring>
#include <string_view>

#include "stsimage/directory_store.h"
#include "stsimage/lsu_text.h"

namespace stsimage {

int32_t open_store(const char *lsu_text, WhenMissing when_missing, std::unique_ptr<Store> &out_store) {
    const std::string_view text(lsu_text, strnlen(lsu_text, longest_lsu_text + 1));
    if (const int32_t status = check_lsu_text(text); status != 0)
        return status;
    return DirectoryStore::open_lsu(text, when_missing, out_store);
}

}  // namespace stsimage
