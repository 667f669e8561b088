#include "stsimage/directory_names.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
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

int32_t DirectoryNames::open(const LsuDirectory &lsu, std::unique_ptr<NameList> &out_names) {
    auto names = std::make_unique<DirectoryNames>();
    names->path = lsu.path;
    // Opened anew: two lists of one directory must not share a place in it.
    names->directory = FileDescriptor(openat(lsu.descriptor.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!names->directory)
        return fail_system(errno, "cannot read the directory %s", QuotedText(lsu.path).c_str());
    names->names.reset(new char[names_bytes]);
    out_names = std::move(names);
    return 0;
}

int32_t DirectoryNames::read_names() {
    const ssize_t got = getdents64(directory.get(), names.get(), names_bytes);
    if (got < 0)
        return fail_system(errno, "cannot read the directory %s", QuotedText(path).c_str());
    if (got == 0)
        return fail(STS_E_NO_MORE_ENTRIES, "the list of images in %s is at its end", QuotedText(path).c_str());
    filled = static_cast<size_t>(got);
    place = 0;
    return 0;
}

int32_t DirectoryNames::next(std::string_view &out_name) {
    for (;;) {
        if (place == filled)
            if (const int32_t status = read_names(); status != 0)
                return status;
        const auto &entry = *reinterpret_cast<const dirent64 *>(names.get() + place);
        place += entry.d_reclen;
        if (name_of_file(entry.d_name, out_name) && is_regular(directory.get(), entry))
            return 0;
    }
}

}  // namespace stsimage
