#include "stsimage/image_removal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/passing_trouble.h"
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
    if (unlinkat(directory, file.c_str(), 0) == 0)
        return 0;
    const int error = errno;
    if (error == ENOENT)  // what was seen above was an old cache's
        return fail(STS_E_NOT_FOUND, "there is no image %s", path.c_str());
    if (is_refusal(error) || !is_shared(directory))
        return fail_system(error, "cannot delete %s", path.c_str());
    fail_system(error, "%s may have been deleted or not", path.c_str());
    return STSIMG_E_OUTCOME_UNKNOWN;
}

}  // namespace stsimage
