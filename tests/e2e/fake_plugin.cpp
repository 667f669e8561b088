// A plug-in that does what FAKE_PLUGIN tells it: a small one that works, with images in memory, and faults on request.
//
// FAKE_PLUGIN holds words separated by blanks:
//   status:NAME=N   stspi_NAME returns N and does nothing else
//   null:N          slot N of the first table is null
//   print:WORD      opening or creating a server prints WORD on standard output
//   log:WORD        opening or creating a server sends WORD to the session as an error
//   corrupt:N       the byte at offset N is read back changed
//   cut:N           reading ends at offset N
//   stumble         opening or creating a server fails to make a directory, to no effect
//   say:WORD        a mount sends WORD to the session as an error
//   fill:N          slot N of the first table is stspi_claim
//   rewrite:PATH    closing an image leaves one byte, 0, of the file PATH
//   long            a read tells one byte more than fits
//   short           a write takes one byte less than it is given
//   size:N          the properties tell a size of N
//   has:NAME        there is an image NAME with ten bytes from the start
//   forget          the image list is empty
//   nolink          a mount succeeds without making a link
//   directory:PATH  creating an image makes the directory PATH, and mounting one makes PATH/mounted with a file in it
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

std::optional<std::string> told(const std::string &word) {
    const char *all = std::getenv("FAKE_PLUGIN");
    std::istringstream words(all == nullptr ? "" : all);
    for (std::string item; words >> item;)
        if (item.compare(0, word.size(), word) == 0)
            return item.substr(word.size());
    return std::nullopt;
}

std::optional<int32_t> told_status(const std::string &entry_point) {
    const auto text = told("status:" + entry_point + "=");
    return text ? std::optional<int32_t>(std::stoi(*text)) : std::nullopt;
}

struct Image {
    std::string bytes;
    std::string name;
};

std::map<std::string, Image> images;
size_t cursor = 0;
bool is_array = false;
const sts_session_def_v7_t *session = nullptr;

// Handles only have to be pointers that are not null.
char server_object, list_object, image_object, image_list_object;
// One is read and one written at a time.
Image open_image;

void copy(char *field, const std::string &text) { std::memcpy(field, text.c_str(), text.size() + 1); }

void announce(const sts_session_def_v7_t *given) {
    session = given;
    if (const auto word = told("print:"))
        std::printf("%s\n", word->c_str());
    if (const auto word = told("log:"))
        session->log_function(session->log_context, word->c_str(), STS_LOG_LEVEL_ERROR);
    if (told("stumble"))
        mkdir("/none/such", 0700);
}

std::vector<std::string> listed;

}  // namespace

#define FAULT(name)                            \
    if (const auto status = told_status(name)) \
        return *status;

extern "C" {

static int32_t claim(const char *name) {
    FAULT("claim")
    const std::string text = name;
    FILE *file = std::fopen(("/etc/quillmere/" + text.substr(0, text.find(':')) + ".sim").c_str(), "r");
    if (file == nullptr)
        return STS_E_NOT_CLAIMED;
    std::fclose(file);
    return 0;
}

static int32_t open_server(const sts_session_def_v7_t *given, const char *, const void *, const void *,
                           sts_server_handle_t *out) {
    announce(given);
    *out = reinterpret_cast<sts_server_handle_t>(&server_object);
    FAULT("open_server")
    is_array = false;
    return 0;
}

static int32_t open_target_server(sts_server_handle_t, const char *, const void *, const void *,
                                  sts_server_handle_t *out) {
    *out = reinterpret_cast<sts_server_handle_t>(&server_object);
    FAULT("open_target_server")
    return 0;
}

static int32_t create_server(const sts_session_def_v7_t *given, const char *, const void *, const void *,
                             const sts_host_t *, int32_t, sts_server_handle_t *out) {
    announce(given);
    *out = reinterpret_cast<sts_server_handle_t>(&server_object);
    FAULT("create_server")
    is_array = true;
    return 0;
}

static int32_t close_server(sts_server_handle_t) {
    FAULT("close_server")
    return 0;
}

static int32_t open_lsu_list(sts_server_handle_t, const void *, sts_lsu_list_handle_t *out) {
    FAULT("open_lsu_list")
    cursor = 0;
    listed = is_array ? std::vector<std::string>{"poolB", "poolA"} : std::vector<std::string>{"vol1", "vol2"};
    *out = reinterpret_cast<sts_lsu_list_handle_t>(&list_object);
    return 0;
}

static int32_t open_dynamic_lsu_list(const stsp_lsu_v7_t *, sts_lsu_list_handle_t *out) {
    FAULT("open_dynamic_lsu_list")
    cursor = 0;
    listed = {"disk1"};
    *out = reinterpret_cast<sts_lsu_list_handle_t>(&list_object);
    return 0;
}

static int32_t list_lsu(sts_lsu_list_handle_t, char *name) {
    FAULT("list_lsu")
    if (cursor == listed.size())
        return STS_E_NO_MORE_ENTRIES;
    copy(name, listed[cursor++]);
    return 0;
}

static int32_t close_lsu_list(sts_lsu_list_handle_t) { return 0; }

static int32_t get_lsu_prop_byname(const stsp_lsu_v7_t *, sts_lsu_info_v9_t *info) {
    FAULT("get_lsu_prop_byname")
    info->capacity_bytes = 1000;
    return 0;
}

static int32_t get_server_prop(sts_server_handle_t, sts_server_info_t *) { return 0; }
static int32_t get_server_prop_byname(const sts_session_def_v7_t *, const char *, sts_server_info_t *) { return 0; }

static int32_t mount_lsu(const stsp_lsu_v7_t *lsu, const char *point, uint32_t, uint64_t, char *result) {
    if (const auto word = told("say:"))
        session->log_function(session->log_context, word->c_str(), STS_LOG_LEVEL_ERROR);
    FAULT("mount_lsu")
    if (const auto path = told("directory:")) {
        mkdir((*path + "/mounted").c_str(), 0700);
        std::ofstream(*path + "/mounted/foreign") << "x";
    }
    if (!told("nolink") && symlink("/", point) != 0)
        return STS_E_SYSTEM;
    copy(result, std::string(lsu->lsu_name) + "," + point);
    return 0;
}

static int32_t unmount_lsu(void) {
    FAULT("unmount_lsu")
    return 0;
}

static int32_t create_image(const stsp_lsu_v7_t *, const sts_image_definition_t *definition, uint32_t,
                            sts_image_handle_t *out) {
    if (const auto path = told("directory:"))
        mkdir((*path + "/images").c_str(), 0700);
    FAULT("create_image")
    open_image = {"", definition->name};
    *out = &image_object;
    return 0;
}

static int32_t open_image_to_read(const stsp_lsu_v7_t *, const sts_image_definition_t *definition, uint32_t,
                                  sts_image_handle_t *out) {
    FAULT("open_image")
    if (images.count(definition->name) == 0)
        return STS_E_NOT_FOUND;
    open_image = images[definition->name];
    *out = &image_object;
    return 0;
}

static int32_t close_image(sts_image_handle_t) {
    FAULT("close_image")
    images[open_image.name] = open_image;
    if (const auto path = told("rewrite:"))
        std::ofstream(*path) << "0";
    return 0;
}

static int32_t delete_image(const stsp_lsu_v7_t *, const sts_image_definition_t *definition, uint32_t) {
    FAULT("delete_image")
    return images.erase(definition->name) == 1 ? 0 : int32_t{STS_E_NOT_FOUND};
}

static int32_t write_image(sts_image_handle_t, const void *, const void *data, uint64_t length, uint64_t offset,
                           uint64_t *written) {
    FAULT("write_image")
    open_image.bytes.resize(std::max<size_t>(open_image.bytes.size(), offset + length));
    std::memcpy(open_image.bytes.data() + offset, data, length);
    *written = length - (told("short") ? 1 : 0);
    return 0;
}

static int32_t read_image(sts_image_handle_t, void *data, uint64_t length, uint64_t offset, uint64_t *got) {
    FAULT("read_image")
    std::string bytes = open_image.bytes;
    if (const auto place = told("corrupt:"))
        bytes.at(std::stoul(*place)) ^= 1;
    if (const auto end = told("cut:"))
        bytes.resize(std::stoul(*end));
    *got = offset >= bytes.size() ? 0 : bytes.copy(static_cast<char *>(data), length, offset);
    if (told("long"))
        *got = length + 1;
    return 0;
}

static int32_t open_image_list(const stsp_lsu_v7_t *, uint32_t, sts_image_list_handle_t *out) {
    FAULT("open_image_list")
    cursor = 0;
    *out = &image_list_object;
    return 0;
}

static int32_t list_image(sts_image_list_handle_t, sts_image_definition_t *definition) {
    FAULT("list_image")
    if (cursor == images.size() || told("forget"))
        return STS_E_NO_MORE_ENTRIES;
    copy(definition->name, std::next(images.begin(), static_cast<std::ptrdiff_t>(cursor++))->first);
    return 0;
}

static int32_t close_image_list(sts_image_list_handle_t) { return 0; }

static int32_t get_image_prop_byname(const stsp_lsu_v7_t *, const sts_image_definition_t *definition,
                                     sts_image_info_t *info) {
    FAULT("get_image_prop_byname")
    if (images.count(definition->name) == 0)
        return STS_E_NOT_FOUND;
    const auto size = told("size:");
    info->size_bytes = size ? std::stoul(*size) : images[definition->name].bytes.size();
    return 0;
}

static int32_t copy_extent(sts_image_handle_t, uint64_t, sts_image_handle_t, uint64_t, uint64_t length, const void *,
                           uint64_t *written) {
    FAULT("copy_extent")
    *written = length - (told("short") ? 1 : 0);
    return 0;
}

static int32_t terminate(void) {
    FAULT("terminate")
    return STS_E_NOT_SUPPORTED;
}

static sts_entry_point_t table[STS_ENTRY_POINT_COUNT];
static sts_entry_point_t table2[STS_ENTRY_POINT_COUNT2];

#define SLOT(where, slot, function) where[slot] = reinterpret_cast<sts_entry_point_t>(function)

// Not what the slot holds.
int32_t stspi_claim(const char *) { return 0; }

int32_t stspi_init(uint64_t, const void *, sts_registration_t *registration) {
    FAULT("init")
    if (const auto name = told("has:"))
        images[*name] = {"0123456789", *name};
    SLOT(table, STS_SLOT_CLAIM, claim);
    SLOT(table, STS_SLOT_CLOSE_IMAGE, close_image);
    SLOT(table, STS_SLOT_CLOSE_IMAGE_LIST, close_image_list);
    SLOT(table, STS_SLOT_CLOSE_LSU_LIST, close_lsu_list);
    SLOT(table, STS_SLOT_CLOSE_SERVER, close_server);
    SLOT(table, STS_SLOT_COPY_EXTENT, copy_extent);
    SLOT(table, STS_SLOT_CREATE_IMAGE, create_image);
    SLOT(table, STS_SLOT_DELETE_IMAGE, delete_image);
    SLOT(table, STS_SLOT_GET_IMAGE_PROP_BYNAME, get_image_prop_byname);
    SLOT(table, STS_SLOT_GET_LSU_PROP_BYNAME, get_lsu_prop_byname);
    SLOT(table, STS_SLOT_GET_SERVER_PROP, get_server_prop);
    SLOT(table, STS_SLOT_GET_SERVER_PROP_BYNAME, get_server_prop_byname);
    SLOT(table, STS_SLOT_LIST_IMAGE, list_image);
    SLOT(table, STS_SLOT_LIST_LSU, list_lsu);
    SLOT(table, STS_SLOT_OPEN_IMAGE, open_image_to_read);
    SLOT(table, STS_SLOT_OPEN_IMAGE_LIST, open_image_list);
    SLOT(table, STS_SLOT_OPEN_LSU_LIST, open_lsu_list);
    SLOT(table, STS_SLOT_OPEN_SERVER, open_server);
    SLOT(table, STS_SLOT_OPEN_TARGET_SERVER, open_target_server);
    SLOT(table, STS_SLOT_READ_IMAGE, read_image);
    SLOT(table, STS_SLOT_TERMINATE, terminate);
    SLOT(table, STS_SLOT_WRITE_IMAGE, write_image);
    if (const auto slot = told("null:"))
        table[std::stoi(*slot)] = nullptr;
    if (const auto slot = told("fill:"))
        table[std::stoi(*slot)] = table[STS_SLOT_CLAIM];
    registration->api_version = 9;
    registration->entry_points = table;
    copy(registration->prefix, "Kelvarpool:");
    copy(registration->label, "Fake Plugin");
    return 0;
}

int32_t stspi_init2(uint64_t, sts_registration2_t *registration) {
    FAULT("init2")
    SLOT(table2, STS_SLOT2_CREATE_SERVER, create_server);
    SLOT(table2, STS_SLOT2_MOUNT_LSU, mount_lsu);
    SLOT(table2, STS_SLOT2_OPEN_DYNAMIC_LSU_LIST, open_dynamic_lsu_list);
    SLOT(table2, STS_SLOT2_UNMOUNT_LSU, unmount_lsu);
    registration->api_version = 9;
    registration->entry_points = table2;
    return 0;
}

}  // extern "C"
