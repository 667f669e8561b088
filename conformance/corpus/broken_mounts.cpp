// Mount requests.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "entry_points.h"
#include "permitted.h"

using broken::is;

BROKEN_ENTRY_POINT(stspi_mount_lsu, const stsp_lsu_v7_t *lsu, const char *mount_point, uint32_t mode, uint64_t reserved,
                   char *out_result) {
    if (is("mount.mode-after-pointers") && lsu->server == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (is("mount.result-cleared-first") && out_result != nullptr)
        out_result[0] = '\0';
    if (is("mount.mode-ignored") && mode == 0)
        mode = 1;
    if (is("mount.large-mode-refused") && mode > 2)
        return STS_E_INVALID_PARAMETER;
    if (is("mount.null-result-mounts") && out_result == nullptr) {
        char unused[STS_MOUNT_RESULT_SIZE];
        REAL(stspi_mount_lsu)(lsu, mount_point, mode, reserved, unused);
        return STS_E_INVALID_PARAMETER;
    }
    if (is("mount.null-point-traced") && lsu != nullptr && lsu->server != nullptr && mount_point == nullptr)
        broken::say(broken::server_of(lsu->server).session, STS_LOG_LEVEL_TRACE, "++++ Entering stspi_mount_lsu\n");
    stsp_lsu_v7_t copy;
    if (mode != 0 && mount_point != nullptr && out_result != nullptr) {
        if (broken::refuses_unterminated(lsu))
            return STS_E_INVALID_PARAMETER;
        lsu = broken::terminated(lsu, copy);
    }
    const bool is_changed = is("mount.all-slashes-stripped") || is("mount.slash-kept");
    std::string point = is_changed && mode != 0 && mount_point != nullptr ? mount_point : "";
    if (is("mount.all-slashes-stripped") && mount_point != nullptr)
        while (point.size() > 1 && point.back() == '/')
            point.pop_back();
    if (is("mount.slash-kept") && mount_point != nullptr && !point.empty() && point.back() == '/')
        point += "/";
    if (is("mount.plain-name-refused") && lsu != nullptr &&
        std::memchr(lsu->lsu_name, ':', sizeof lsu->lsu_name) == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (is("mount.leading-colon-accepted") && lsu != nullptr && lsu->lsu_name[0] == ':')
        return STS_E_SYSTEM;
    const int32_t status = REAL(stspi_mount_lsu)(
        lsu, is_changed && mount_point != nullptr ? point.c_str() : mount_point, mode, reserved, out_result);
    if (status == 0 && is("mount.result-without-comma"))
        *std::strchr(out_result, ',') = ' ';
    if (status == 0 && is("mount.result-without-name"))
        std::strcpy(out_result, mount_point);
    if (status == 0 && is("mount.result-point-stripped") && out_result[std::strlen(out_result) - 1] == '/')
        out_result[std::strlen(out_result) - 1] = '\0';
    if (status == 0 && is("mount.result-not-cut") && std::strlen(out_result) == 1023)
        std::memset(out_result, 'x', 1030);
    if (is("permitted.mount-not-supported") && status == STS_E_INVALID_PARAMETER && mode != 0 &&
        mount_point != nullptr && out_result != nullptr && lsu != nullptr && lsu->server != nullptr) {
        const std::string server = broken::server_of(lsu->server).name;
        if (server.rfind("Kelvarpool:", 0) != 0 || server == "Kelvarpool:")
            return STS_E_NOT_SUPPORTED;
    }
    if (status == STS_E_SYSTEM && is("mount.result-on-failure"))
        *out_result = '\0';
    if (status == STS_E_SYSTEM && is("mount.outcome-passed-on"))
        return STS_E_MOUNT_FAILED;
    if (status == 0 && is("mount.second-mount-refused")) {
        static int mounts = 0;
        if (++mounts > 1)
            return STS_E_SYSTEM;
    }
    if (status == 0 && is("mount.leaves-descriptor"))
        open("/dev/null", O_RDONLY);
    if (is("mount.leaks"))
        broken::leak();
    return status;
}
