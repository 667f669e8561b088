#include "stsimage/image_list.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace stsimage {

int32_t ImageList::open(Store &store, std::shared_ptr<ImageList> &out_list) {
    auto list = std::make_shared<ImageList>();
    if (const int32_t status = store.list(list->names); status != 0)
        return status;
    out_list = std::move(list);
    return 0;
}

int32_t ImageList::next(sts_image_definition_t &out_definition) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::string_view name;
    if (const int32_t status = names->next(name); status != 0)
        return status;
    std::memset(&out_definition, 0, sizeof out_definition);
    name.copy(out_definition.name, sizeof out_definition.name - 1);
    return 0;
}

}  // namespace stsimage
