#include "stsimage/image_list.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

namespace {

// Some file systems (tmpfs) give names twice, or leave names out, when files are replaced between two readings of a directory.
// One reading is whole in itself, so it takes some twenty thousand names. Only pages that are filled take memory.
constexpr size_t names_bytes = size_t{1} << 20;

bool is_regular(int directory, const dirent64 &entry) {
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_REG;
    struct stat state;
    return fstatat(directory, entry.d_name, &state, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(state.st_mode);
}

}  // namespace

int32_t ImageList::open(LsuDirectory lsu, std::shared_ptr<ImageList> &out_list) {
    auto list = std::make_shared<ImageList>();
    list->lsu = std::move(lsu);
    list->names.reset(new char[names_bytes]);
    out_list = std::move(list);
    return 0;
}

int32_t ImageList::read_names() {
    const ssize_t got = getdents64(lsu.descriptor.get(), names.get(), names_bytes);
    if (got < 0)
        return fail_system(errno, "cannot read the directory %s", QuotedText(lsu.path).c_str());
    if (got == 0)
        return fail(STS_E_NO_MORE_ENTRIES, "the list of images in %s is at its end", QuotedText(lsu.path).c_str());
    filled = static_cast<size_t>(got);
    place = 0;
    return 0;
}

int32_t ImageList::next(sts_image_definition_t &out_definition) {
    const std::lock_guard<std::mutex> lock(mutex);
    for (;;) {
        if (place == filled)
            if (const int32_t status = read_names(); status != 0)
                return status;
        const auto &entry = *reinterpret_cast<const dirent64 *>(names.get() + place);
        place += entry.d_reclen;
        std::string_view name;
        if (!name_of_file(entry.d_name, name) || !is_regular(lsu.descriptor.get(), entry))
            continue;
        std::memset(&out_definition, 0, sizeof out_definition);
        name.copy(out_definition.name, sizeof out_definition.name - 1);
        return 0;
    }
}

}  // namespace stsimage
