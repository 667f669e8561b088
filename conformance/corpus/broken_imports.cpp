// Breakages inside the real plug-in: what it calls of the system and of the image library goes through here.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "permitted.h"
#include "real_plugin.h"
#include "stspi/sts_status.h"

namespace broken {

namespace {

template <typename Function>
struct Import {
    Function *original = nullptr;
    void replace(const char *name, Function *replacement) {
        original = reinterpret_cast<Function *>(replace_import(name, reinterpret_cast<void *>(replacement)));
    }
};

Import<int(const char *, mode_t)> real_mkdir;
Import<int(const char *, const char *)> real_symlink;
Import<int(const char *)> real_unlink;
Import<int(const char *, struct statvfs *)> real_statvfs;
Import<char *(char *, int, FILE *)> real_fgets;
Import<FILE *(const char *, const char *)> real_fopen;
Import<int(FILE *)> real_fclose;
Import<long(const char *, char **, int)> real_strtol;
Import<pid_t(pid_t, int *, int)> real_waitpid;

// ---- system --------------------------------------------------------------------------------------------------------

int broken_mkdir(const char *path, mode_t mode) {
    if (is("mount.directories-0755"))
        mode = 0755;
    if (is("mount.parents-not-made") && std::strstr(path, "/mnt") != nullptr)
        return 0;
    if (is("mount.existing-directory-fails") && access(path, F_OK) == 0) {
        errno = EPERM;
        return -1;
    }
    if (is("mount.all-directories-made")) {
        std::string prefix = path;
        for (size_t place = 1; (place = prefix.find('/', place)) != std::string::npos; ++place)
            real_mkdir.original(prefix.substr(0, place).c_str(), 0700);
    }
    return real_mkdir.original(path, mode);
}

int broken_symlink(const char *target, const char *path) {
    if (is("mount.link-to-storage"))
        return real_symlink.original(std::string(target, std::strrchr(target, '/')).c_str(), path);
    if (is("mount.directory-instead-of-link"))
        return real_mkdir.original(path, 0700);
    if (is("mount.replaces-directory")) {
        rmdir(path);
        return real_symlink.original(target, path);
    }
    return real_symlink.original(target, path);
}

int broken_unlink(const char *path) {
    if (is("mount.existing-link-stays")) {
        errno = EPERM;
        return -1;
    }
    return real_unlink.original(path);
}

int broken_statvfs(const char *path, struct statvfs *buffer) {
    const int result = real_statvfs.original(path, buffer);
    if (is("props.statvfs-free-blocks"))
        buffer->f_bavail = buffer->f_bavail / 2;
    if (is("props.statvfs-preferred-size"))
        buffer->f_frsize = buffer->f_bsize;
    if (is("props.statvfs-free-for-root"))
        buffer->f_bavail = buffer->f_bfree;
    if (is("props.statvfs-block-size"))
        buffer->f_frsize *= 2;
    return result;
}

// The path is the plug-in's own, below /etc: it is led to the test's directory only by what comes after this.
FILE *broken_fopen(const char *path, const char *mode) {
    if (is("config.file-opened-for-appending"))
        mode = "a+";
    if (is("config.file-opened-for-writing-too"))
        mode = "r+";
    return real_fopen.original(path, mode);
}

int broken_fclose(FILE *file) { return is("config.file-left-open") ? 0 : real_fclose.original(file); }

long broken_strtol(const char *text, char **end, int base) {
    if (is("config.size-hexadecimal"))
        base = 0;
    const long value = real_strtol.original(text, end, base);
    if (is("config.size-clamped"))
        return std::clamp<long>(value, INT_MIN, INT_MAX);
    if (is("config.size-sign-lost"))
        return value < 0 ? -value : value;
    return value;
}

pid_t broken_waitpid(pid_t process, int *status, int options) {
    if (is("process.interrupted-wait-ends")) {
        const pid_t result = real_waitpid.original(process, status, options);
        if (result < 0 && errno == EINTR)
            errno = ECHILD;
        return result;
    }
    return real_waitpid.original(process, status, options);
}

// ---- configuration lines -------------------------------------------------------------------------------------------

std::string key_of(const std::string &line) {
    std::string key = line.substr(0, line.find('='));
    key.erase(std::remove_if(key.begin(), key.end(), [](unsigned char c) { return std::isspace(c); }), key.end());
    return key;
}

bool is_known(const std::string &key) {
    static const char *const keys[] = {"DISKGROUP",   "ENCLOSURE",      "HOSTS",       "DISKS",
                                       "VOLUMES",     "DISK_SIZE",      "VOLUME_SIZE", "MOUNT_PATH",
                                       "STORAGE_DIR", "MOUNT_BEHAVIOR", "UDID_TOKEN",  "STORAGE_SERVER"};
    return std::any_of(std::begin(keys), std::end(keys), [&](const char *one) { return key == one; });
}

void replace_all(std::string &text, const std::string &from, const std::string &to) {
    for (size_t place = 0; (place = text.find(from, place)) != std::string::npos; place += to.size())
        text.replace(place, from.size(), to);
}

// A line as the broken reader understands it; false when it does not see the line at all.
bool understood(std::string &line) {
    static std::string section_lines;
    const bool has_equals = line.find('=') != std::string::npos;
    const std::string key = key_of(line);
    if (key == "ENCLOSURE" || key == "DISKGROUP" || key == "STORAGE_SERVER")
        section_lines.clear();
    const bool is_repeated = section_lines.find("|" + key + "|") != std::string::npos;
    section_lines += "|" + key + "|";
    if (is("config.blank-lines-not-counted") && key.empty() && !has_equals)
        return false;
    if (is("config.comments") && key.rfind('#', 0) == 0)
        return false;
    if (is("config.unknown-keys-silent") && has_equals && !is_known(key))
        return false;
    if (is("config.keys-ignore-case"))
        std::transform(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(std::min(line.find('='), line.size())),
                       line.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (is("config.bare-header-skipped") && key == "ENCLOSURE" && !has_equals)
        return false;
    if (is("config.first-disk-list-counts") && key == "DISKS" && is_repeated)
        return false;
    if (is("config.first-host-list-counts") && key == "HOSTS" && is_repeated)
        return false;
    if (is("config.first-size-counts") && key == "DISK_SIZE" && is_repeated)
        return false;
    if (is("config.mount-behavior-ignored") && key == "MOUNT_BEHAVIOR")
        return false;
    if (is("config.mount-behavior-any-case") && key == "MOUNT_BEHAVIOR")
        std::transform(line.begin(), line.end(), line.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (is("config.storage-ignored") && key == "STORAGE_DIR")
        return false;
    if (is("config.mount-path-unknown") && key == "MOUNT_PATH")
        line.replace(line.find("MOUNT_PATH"), 10, "MOUNT_PATHS");
    if (is("config.units-decimal"))
        replace_all(line, "K;", "000;");
    if (is("config.lower-case-units-unknown"))
        replace_all(line, "3k;", "3;");
    if (is("config.petabytes-unknown"))
        replace_all(line, "3P;", "3;");
    if (is("config.unit-without-semicolon") && key == "DISK_SIZE" && line.find(';') == std::string::npos)
        line.insert(line.find_last_not_of(" \n") + 1, ";");
    if (is("config.semicolon-kept") && key == "UDID_TOKEN")
        line.insert(line.find_last_not_of(" \n") + 1, ";");
    if (is("config.semicolon-optional") && (key == "MOUNT_BEHAVIOR" || key == "UDID_TOKEN") &&
        line.find(';') == std::string::npos)
        line.insert(line.find_last_not_of(" \n") + 1, ";");
    if (is("config.storage-semicolon-optional") && key == "STORAGE_DIR" && line.find(';') == std::string::npos)
        line.insert(line.find_last_not_of(" \n") + 1, ";");
    if (is("config.empty-names-dropped"))
        replace_all(line, "#", "");
    if (is("config.names-with-hash"))
        replace_all(line, "dg#1", "dg_1");
    if (is("config.carriage-return-ends-file") && line.find('\r') != std::string::npos)
        line = "\n";
    if (is("config.enclosures-ignored-beyond-four")) {
        static int enclosures = 0;
        if (key == "ENCLOSURE" && ++enclosures % 5 == 0)
            return false;
    }
    if (is("config.disk-groups-kept") && key == "DISKGROUP")
        line.replace(line.find("DISKGROUP"), 9, "ENCLOSURE");
    if (is("copan.match-ignores-case") && key == "STORAGE_SERVER")
        std::transform(line.begin() + static_cast<std::ptrdiff_t>(line.find('=')), line.end(),
                       line.begin() + static_cast<std::ptrdiff_t>(line.find('=')),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (is("copan.name-with-domain-unknown") && key == "STORAGE_SERVER")
        replace_all(line, ".", "_");
    if (is("copan.lines-without-equals-skipped") && !has_equals)
        return false;
    if (is("copan.first-storage-counts") && key == "STORAGE_DIR" && is_repeated)
        return false;
    if (is("copan.storage-to-last-semicolon") && key == "STORAGE_DIR")
        replace_all(line, ";rest;", "rest;");
    if (is("copan.second-section-ignored") && key == "STORAGE_SERVER") {
        static int sections = 0;
        if (++sections == 3)
            line = "STORAGE_SERVER=other;\n";
    }
    return true;
}

char *broken_fgets(char *buffer, int size, FILE *file) {
    for (;;) {
        if (real_fgets.original(buffer, size, file) == nullptr)
            return nullptr;
        std::string line = buffer;
        if (is("config.long-lines-cut") && line.size() + 1 == static_cast<size_t>(size) && line.back() != '\n') {
            for (int c; (c = std::fgetc(file)) != EOF && c != '\n';) {
            }
            return buffer;
        }
        if (!understood(line))
            continue;
        understand(line);
        if (line.size() < static_cast<size_t>(size))
            std::strcpy(buffer, line.c_str());
        return buffer;
    }
}

// ---- image library -------------------------------------------------------------------------------------------------

using SixRegisters = int32_t(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);
Import<SixRegisters> library_init;
Import<SixRegisters> library_terminate;
Import<SixRegisters> library_create;
Import<SixRegisters> library_open;
Import<SixRegisters> library_delete;
Import<SixRegisters> library_list;
Import<SixRegisters> library_prop_byname;
Import<SixRegisters> library_read;
Import<SixRegisters> library_write;

uint64_t address(const char *text) { return reinterpret_cast<uint64_t>(text); }
const char *text(uint64_t address) {
    return reinterpret_cast<const char *>(address);
}  // NOLINT(performance-no-int-to-ptr)

thread_local const char *lsu_of_image_call = nullptr;

int32_t broken_init(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) {
    if (is("init.library-version-7"))
        a = 7;
    if (is("init.library-twice"))
        library_init.original(a, b, c, d, e, f);
    return library_init.original(a, b, c, d, e, f);
}

int32_t broken_terminate(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) {
    library_terminate.original(a, b, c, d, e, f);
    return library_terminate.original(a, b, c, d, e, f);
}

int32_t spoiled(SixRegisters *original, uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) {
    std::string name;
    if (lsu_of_image_call != nullptr && *text(a) == '\0') {
        if (is("permitted.image-refused-without-directory"))
            return STS_E_SYSTEM;
        if (is("permitted.image-name-without-directory"))
            a = address(lsu_of_image_call);
    }
    if (is("image.copan-name-kept") && std::strchr(text(a), '/') != nullptr)
        a += static_cast<uint64_t>(std::strrchr(text(a), '/') + 1 - text(a));
    if (is("image.lsu-text-cut"))
        a = address((name = std::string(text(a)).substr(0, 3)).c_str());
    if (is("image.second-argument-not-null"))
        b = a;
    if (is("image.server-name-missing"))
        c = address("");
    if (is("image.server-name-null"))
        c = 0;
    if (is("create.host-name-set") && *text(c) == '\0')
        c = address("nodeA");
    if (is("image.definition-and-flags-swapped"))
        std::swap(d, e);
    if (is("image.library-called-twice"))
        original(a, b, c, d, e, f);
    return original(a, b, c, d, e, f);
}

#define SPOILED(import)                                                                     \
    [](uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) -> int32_t { \
        return spoiled(import.original, a, b, c, d, e, f);                                  \
    }

int32_t broken_read(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) {
    if (is("copy.length-of-buffer-read") && c > 0xffffffff)
        c &= 0xffffffff;
    const int32_t status = library_read.original(a, b, c, d, e, f);
    if (is("copy.writes-whole-length") && e > 0xffff)
        *reinterpret_cast<uint64_t *>(e) = c;  // NOLINT(performance-no-int-to-ptr)
    return is("copy.read-failure-ignored") ? 0 : status;
}

int32_t broken_write(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) {
    if (is("copy.reserved-argument-not-null"))
        b = 1;
    return library_write.original(a, b, c, d, e, f);
}

}  // namespace

void set_lsu_of_image_call(const char *lsu_name) { lsu_of_image_call = lsu_name; }

void replace_imports() {
    // Only what the breakage chosen can need: an unbroken plug-in runs untouched.
    if (is_any_of("mount.")) {
        real_mkdir.replace("mkdir", broken_mkdir);
        real_symlink.replace("symlink", broken_symlink);
        real_unlink.replace("unlink", broken_unlink);
    }
    if (is_any_of("props.statvfs"))
        real_statvfs.replace("statvfs", broken_statvfs);
    if (is_any_of("config.") || is_any_of("copan.") || is_any_of("permitted.config")) {
        real_fgets.replace("fgets", broken_fgets);
        real_fopen.replace("fopen", broken_fopen);
        real_fclose.replace("fclose", broken_fclose);
        real_strtol.replace("strtol", broken_strtol);
    }
    if (is_any_of("process."))
        real_waitpid.replace("waitpid", broken_waitpid);
    if (is_any_of("init.library"))
        library_init.replace("stsimg_init", broken_init);
    if (is("terminate.library-twice"))
        library_terminate.replace("stsimg_terminate", broken_terminate);
    if (is_any_of("image.") || is_any_of("permitted.image") || is("create.host-name-set")) {
        library_create.replace("stsimg_create_image", SPOILED(library_create));
        library_open.replace("stsimg_open_image", SPOILED(library_open));
        library_delete.replace("stsimg_delete_image", SPOILED(library_delete));
        library_list.replace("stsimg_open_image_list", SPOILED(library_list));
        library_prop_byname.replace("stsimg_get_image_prop_byname", SPOILED(library_prop_byname));
    }
    if (is_any_of("copy.")) {
        library_read.replace("stsimg_read_image", broken_read);
        library_write.replace("stsimg_write_image", broken_write);
    }
}

}  // namespace broken
