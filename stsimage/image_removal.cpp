#include "stsimage/image_removal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

int32_t remove_image(const LsuDirectory &lsu, std::string_view name) {
    const std::string file = file_of(name);
    const int directory = lsu.descriptor.get();
    const QuotedText path(lsu.path_of(file));
    const LsuLock lock(lsu);
    if (lock.status() != 0)
        return lock.status();
    struct stat state;
    if (fstatat(directory, file.c_str(), &state, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? fail(STS_E_NOT_FOUND, "there is no image %s", path.c_str())
                               : fail_system(errno, "cannot look at %s", path.c_str());
    if (!S_ISREG(state.st_mode))
        return fail(STSIMG_E_NOT_AN_IMAGE, "%s is no regular file", path.c_str());
    if (unlinkat(directory, file.c_str(), 0) != 0)
        return errno == ENOENT  // what was seen above was an old cache's
                   ? fail(STS_E_NOT_FOUND, "there is no image %s", path.c_str())
                   : fail_system(errno, "cannot delete %s", path.c_str());
    return 0;
}

}  // namespace stsimage
