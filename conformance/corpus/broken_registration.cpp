// Registration, claiming, control and the stubs.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include "entry_points.h"

using broken::is;

namespace {

// A thread may begin when the library is closed again: it must not find its code gone, for then it is not the thread that is found.
void stay_loaded() {
    static const char own_place = 0;
    Dl_info own;
    if (dladdr(&own_place, &own) != 0)
        dlopen(own.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

// Breakages that show as soon as the library is there.
[[gnu::constructor]] void loaded() {
    if (is("loading.prints")) {
        std::puts("plug-in loaded");
        std::fflush(stdout);
    }
    if (is("loading.starts-thread")) {
        stay_loaded();
        std::thread([] {
            for (;;)
                pause();
        }).detach();
    }
    if (is("loading.only-once")) {
        if (std::getenv("STSPI_BROKEN_LOADED") != nullptr)
            std::abort();
        setenv("STSPI_BROKEN_LOADED", "1", 1);
    }
}

}  // namespace

BROKEN_ENTRY_POINT(stspi_init, uint64_t version, const void *ignored, sts_registration_t *registration) {
    if (is("init.accepts-6") && version == 6)
        version = 7;
    if (is("init.refuses-7") && version == 7)
        return STS_E_VERSION;
    if (is("init.null-before-version") && registration == nullptr)
        return STS_E_INVALID_PARAMETER;
    const int32_t status = REAL(stspi_init)(version, ignored, registration);
    if (status == STS_E_VERSION && version < 7) {
        if (is("init.touches-refused-record") && registration != nullptr)
            registration->api_version = 9;
        return status;
    }
    if (registration == nullptr)
        return status;
    registration->entry_points = STSSanDiskEntryPoints;
    if (is("init.clears-reserved"))
        std::memset(registration->reserved, 0, sizeof registration->reserved);
    if (is("init.one-byte-too-many"))
        *(&registration->byte_flag + 1) = 0;
    if (is("init.flag-2-missing"))
        registration->flag_2 = 0;
    if (is("init.byte-flag-set"))
        registration->byte_flag = 1;
    if (is("init.prefix-without-colon"))
        std::memcpy(registration->prefix, "Kelvarpool", 11);
    if (is("init.label-padded"))
        std::memset(registration->label + 18, 0, 14);
    if (is("init.wrong-table"))
        registration->entry_points = STSSANDiskEntryPoints2;
    if (is("init.version-of-framework"))
        registration->version_word_2 = version;
    if (is("init.library-status-lost"))
        return 0;
    if (is("init.leaks"))
        broken::leak();
    return status;
}

BROKEN_ENTRY_POINT(stspi_init2, uint64_t version, sts_registration2_t *registration) {
    if (is("init2.accepts-8") && version == 8)
        version = 9;
    const int32_t status = REAL(stspi_init2)(version, registration);
    if (status == 0)
        registration->entry_points = STSSANDiskEntryPoints2;
    if (status == 0 && is("init2.writes-8"))
        registration->api_version = 8;
    if (status == 0 && is("init2.table-of-the-first"))
        registration->entry_points = STSSanDiskEntryPoints;
    return status;
}

BROKEN_ENTRY_POINT(stspi_terminate, void) {
    if (is("terminate.forgets-library"))
        return STS_E_NOT_SUPPORTED;
    const int32_t status = REAL(stspi_terminate)();
    return is("terminate.returns-0") ? 0 : status;
}

BROKEN_ENTRY_POINT(stspi_claim, const char *name) {
    if (is("claim.first-answer-stays") && name != nullptr) {
        static std::map<std::string, int32_t> answers;
        return answers.emplace(name, REAL(stspi_claim)(name)).first->second;
    }
    if (is("claim.everything"))
        return 0;
    if (is("claim.empty-name") && name != nullptr && *name == '\0')
        name = ":";
    if (is("claim.null-crashes") && std::strlen(name) == 0)
        return STS_E_NOT_CLAIMED;
    const std::string text = name == nullptr ? "" : name;
    if (is("claim.to-last-colon") && text.rfind(':') != std::string::npos)
        return REAL(stspi_claim)(text.substr(0, text.rfind(':')).c_str());
    if (is("claim.needs-colon") && text.find(':') == std::string::npos)
        return STS_E_NOT_CLAIMED;
    if (is("claim.ignores-case")) {
        std::string lower = text;
        std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
        if (REAL(stspi_claim)(lower.c_str()) == 0)
            return 0;
    }
    if (is("claim.registration-prefix-alone") && text.rfind("Kelvarpool:", 0) == 0)
        return 0;
    if (is("claim.leaves-descriptor"))
        open("/dev/null", O_RDONLY);
    if (is("claim.changes-umask"))
        umask(077);
    if (is("claim.ignores-a-signal"))
        std::signal(SIGUSR1, SIG_IGN);
    if (is("claim.blocks-a-signal")) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGUSR2);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
    }
    if (is("claim.changes-locale"))
        setlocale(LC_NUMERIC, "C.UTF-8");
    if (is("claim.changes-environment"))
        setenv("STSPI_LAST_CLAIM", text.c_str(), 1);
    if (is("claim.changes-directory") && chdir("/") != 0)
        std::abort();
    if (is("claim.leaves-file"))
        std::ofstream("claimed") << text;
    if (is("claim.prints"))
        std::printf("claiming %s\n", text.c_str());
    if (is("claim.exits"))
        std::exit(3);
    if (is("claim.hangs"))
        for (;;)
            pause();
    if (is("claim.crashes"))
        std::abort();
    if (is("claim.throws"))
        throw std::runtime_error("claim failed");
    if (is("claim.long-name-overruns") && text.size() > 1000) {
        char small[64];
        std::strcpy(small, text.c_str());
        return REAL(stspi_claim)(small);
    }
    // Not in the list of breakages: it does so but once, as long as the file is there.
    if (const char *path = std::getenv("STSPI_BROKEN_ONCE");
        is("claim.wrong-once") && path != nullptr && unlink(path) == 0)
        return 4711;
    const int32_t status = REAL(stspi_claim)(name);
    if (is("claim.other-status") && status != 0)
        return STS_E_NOT_FOUND;
    if (is("claim.calls-library"))
        broken::call_real<decltype(stspi_terminate)>("stspi_terminate")();
    return status;
}

BROKEN_ENTRY_POINT(stspi_ioctl, const void *handle, int32_t command, ...) {
    if (is("ioctl.low-byte"))
        command &= 0xff;
    if (is("ioctl.accepts-8") && command == 8)
        return 0;
    if (is("ioctl.accepts-13") && command == 13)
        return 0;
    if (is("ioctl.accepts-0") && command == 0)
        return 0;
    if (is("ioctl.refuses-12") && command == 12)
        return STS_E_NOT_SUPPORTED;
    if (is("ioctl.shift-wraps") && command > 0)
        return REAL(stspi_ioctl)(handle, ((command - 1) & 31) + 1);
    if (is("ioctl.needs-handle") && handle == nullptr)
        return STS_E_INVALID_PARAMETER;
    return REAL(stspi_ioctl)(handle, command);
}

// ---- stubs ---------------------------------------------------------------------------------------------------------

#define BROKEN_STUB(name)                   \
    BROKEN_ENTRY_POINT(name, void) {        \
        if (is("stub." #name ".returns-0")) \
            return 0;                       \
        return REAL(name)();                \
    }

BROKEN_STUB(stspi_async_flush)
BROKEN_STUB(stspi_async_read_image)
BROKEN_STUB(stspi_async_wait)
BROKEN_STUB(stspi_async_write_image)
BROKEN_STUB(stspi_close_evchannel)
BROKEN_STUB(stspi_delete_event)
BROKEN_STUB(stspi_delete_files)
BROKEN_STUB(stspi_get_image_group)
BROKEN_STUB(stspi_get_image_group_byname)
BROKEN_STUB(stspi_open_evchannel)
BROKEN_STUB(stspi_open_image_group_list)
BROKEN_STUB(stspi_activate_lsu)
BROKEN_STUB(stspi_add_pool_lsu)
BROKEN_STUB(stspi_alloc_lsu)
BROKEN_STUB(stspi_close_lsu)
BROKEN_STUB(stspi_create_lsu)
BROKEN_STUB(stspi_create_lsu_with_storel)
BROKEN_STUB(stspi_create_lsu_with_pool)
BROKEN_STUB(stspi_dealloc_lsu)
BROKEN_STUB(stspi_delete_lsu)
BROKEN_STUB(stspi_extract_files)
BROKEN_STUB(stspi_get_host)
BROKEN_STUB(stspi_get_lsu_prop)
BROKEN_STUB(stspi_get_pool_lsu)
BROKEN_STUB(stspi_get_storel)
BROKEN_STUB(stspi_get_storel_prop)
BROKEN_STUB(stspi_open_lsu)
BROKEN_STUB(stspi_remove_pool_lsu)
BROKEN_STUB(stspi_shutdown_server)

BROKEN_ENTRY_POINT(stspi_unmount_lsu, void) {
    if (is("unmount.not-supported"))
        return STS_E_NOT_SUPPORTED;
    if (is("unmount.removes-link"))
        unlink("m");
    return REAL(stspi_unmount_lsu)();
}
