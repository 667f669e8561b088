#include "simhost/commands/starting_file.h"

#include <fmt/format.h>

#include <climits>

#include "base/escaped_text.h"

namespace {

constexpr size_t longest_name = 31;
constexpr char name_bytes[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.";

void demand_name_bytes(const std::string &name, const char *what) {
    if (name.empty() || name.find_first_not_of(name_bytes) != std::string::npos)
        throw UsageError(fmt::format("the {} {} cannot stand in the file: letters, digits, '_', '-' and '.' can", what,
                                     in_quotes(name)));
}

// The plug-in cuts neither: the prefix is the name of the file and part of the names of the storage directories.
void demand_file_name(const std::string &name, const char *what) {
    if (name.size() > NAME_MAX)
        throw UsageError(
            fmt::format("the prefix is too long: {} {} would have {} bytes, and a file's name has at most {}", what,
                        in_quotes(name), name.size(), NAME_MAX));
}

// The reader cuts a name at the first other byte, silently.
void demand_name(const std::string &name, const char *what) {
    demand_name_bytes(name, what);
    if (name.size() > longest_name)
        throw UsageError(
            fmt::format("the {} {} is too long: {} bytes are kept of it", what, in_quotes(name), longest_name));
}

std::string comma_separated(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ",") + name;
    return text;
}

constexpr char array_text[] = R"(ENCLOSURE = pool1;
	DISKS = disk11,disk12,disk13,disk14;
	HOSTS = {hosts};
	DISK_SIZE = 500G;
	STORAGE_DIR = {dir}/{prefix}-pool1;

ENCLOSURE = pool2;
	DISKS = disk21,disk22;
	HOSTS = {hosts};
	DISK_SIZE = 2T;
	STORAGE_DIR = {dir}/{prefix}-pool2;

MOUNT_BEHAVIOR = SUCCESS;
UDID_TOKEN = {prefix};
)";

constexpr char copan_text[] = R"(STORAGE_SERVER = {array};
	VOLUMES = vol1,vol2,vol3;
	STORAGE_DIR = {dir}/{prefix}-{array};
)";

constexpr char array_explanation[] =
    R"(ENCLOSURE       opens a pool; the lines after it belong to it
DISKS           its disks; each is a volume of the pool as well
HOSTS           the hosts that may use the pool
DISK_SIZE       size of each disk: K, M, G, T or P directly before the ';'
STORAGE_DIR     where the pool's volumes are made when they are mounted; the
                directory above it must exist
MOUNT_BEHAVIOR  SUCCESS, or how every mount is to fail: ALREADY_MOUNTED,
                MOUNT_MODE_MISMATCH, MAX_READ_MOUNTS_EXCEEDED,
                MAX_WRITE_MOUNTS_EXCEEDED, MOUNT_POINT_USED, INVALID_FILESYS
UDID_TOKEN      part of the identifiers by which volumes are listed
Every value ends with ';'. Names keep 31 bytes. There are no comments.
)";

constexpr char copan_explanation[] =
    R"(STORAGE_SERVER  opens a Copan array of that name; the lines after it belong to it
VOLUMES         its LSUs
STORAGE_DIR     below which each LSU gets a directory; the directory above it
                must exist
Every value ends with ';'. Names keep 31 bytes. A line without '=' that is not
empty, a comment for instance, ends the reading there.
)";

}  // namespace

void demand_usable(const StartingPoint &start) {
    demand_name_bytes(start.prefix, "prefix");
    demand_file_name(start.prefix + ".sim", "the file");
    if (start.kind == ServerKind::copan) {
        demand_name(start.array, "array's name");
        demand_file_name(start.prefix + '-' + start.array, "the storage directory");
    }
    for (const std::string &host : start.hosts)
        demand_name(host, "host name");
    if (start.storage_dir.empty() || start.storage_dir.front() != '/' ||
        start.storage_dir.find_first_of(" \t\n\v\f\r;") != std::string::npos)
        throw UsageError(
            fmt::format("the directory {} cannot stand in the file: it must be absolute and hold no blank "
                        "and no ';'",
                        in_quotes(start.storage_dir)));
}

std::string starting_file(const StartingPoint &start) {
    using fmt::arg;
    return start.kind == ServerKind::disk_array
               ? fmt::format(array_text, arg("hosts", comma_separated(start.hosts)), arg("dir", start.storage_dir),
                             arg("prefix", start.prefix))
               : fmt::format(copan_text, arg("array", start.array), arg("dir", start.storage_dir),
                             arg("prefix", start.prefix));
}

std::string explain_starting_file(const StartingPoint &start) {
    return start.kind == ServerKind::disk_array ? array_explanation : copan_explanation;
}
