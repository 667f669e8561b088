#include "stsimage/image_list.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

namespace {

bool is_regular(int directory, const dirent &entry) {
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_REG;
    struct stat state;
    return fstatat(directory, entry.d_name, &state, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(state.st_mode);
}

}  // namespace

int32_t ImageList::open(LsuDirectory lsu, std::shared_ptr<ImageList> &out_list) {
    auto list = std::make_shared<ImageList>();
    list->path = lsu.path;
    list->stream.reset(fdopendir(lsu.descriptor.get()));
    if (list->stream == nullptr)
        return fail_system(errno, "cannot read the directory %s", QuotedText(lsu.path).c_str());
    lsu.descriptor.release();
    out_list = std::move(list);
    return 0;
}

int32_t ImageList::next(sts_image_definition_t &out_definition) {
    const std::lock_guard<std::mutex> lock(mutex);
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(stream.get());
        if (entry == nullptr && errno != 0)
            return fail_system(errno, "cannot read the directory %s", QuotedText(path).c_str());
        if (entry == nullptr)
            return fail(STS_E_NO_MORE_ENTRIES, "the list of images in %s is at its end", QuotedText(path).c_str());
        std::string_view name;
        if (!name_of_file(entry->d_name, name) || !is_regular(dirfd(stream.get()), *entry))
            continue;
        std::memset(&out_definition, 0, sizeof out_definition);
        name.copy(out_definition.name, sizeof out_definition.name - 1);
        return 0;
    }
}

}  // namespace stsimage
