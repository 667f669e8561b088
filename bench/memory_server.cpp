#include "bench/memory_server.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "stspi/stsimg.h"

namespace {

constexpr size_t image_count = 64;
constexpr uint64_t largest = 4096;

struct MemoryImage {
    sts_image_definition_t definition;
    bool there;
    uint64_t size;
    char bytes[largest];
};
MemoryImage images[image_count];
MemoryImage being_written;  // replaces the one of its name when it is closed
char some_object;
size_t next_listed;
bool lsu_was_listed;

MemoryImage &image_of(const sts_image_definition_t *definition) {
    const size_t length = std::strlen(definition->name);
    const auto digit = [&](size_t from_end) { return static_cast<size_t>(definition->name[length - from_end] - '0'); };
    return images[(digit(1) + 10 * digit(2)) % image_count];
}

void add_server_calls(EntryPoints &entry) {
    entry.create_server = [](auto, auto, auto, auto, auto, auto, sts_server_handle_t *server) {
        *server = reinterpret_cast<sts_server_handle_t>(&some_object);
        return 0;
    };
    entry.close_server = [](auto) { return 0; };
    entry.get_server_prop = [](auto, auto) { return 0; };
    entry.get_lsu_prop_byname = [](const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info) {
        std::strcpy(info->lsu_name, lsu->lsu_name);
        return 0;
    };
    entry.open_lsu_list = [](auto, auto, sts_lsu_list_handle_t *list) {
        *list = reinterpret_cast<sts_lsu_list_handle_t>(&some_object);
        lsu_was_listed = false;
        return 0;
    };
    entry.list_lsu = [](auto, char *name) {
        if (lsu_was_listed)
            return int32_t{STS_E_NO_MORE_ENTRIES};
        std::strcpy(name, "gold");
        lsu_was_listed = true;
        return 0;
    };
    entry.close_lsu_list = [](auto) { return 0; };
}

void add_image_calls(EntryPoints &entry) {
    entry.create_image = [](auto, const sts_image_definition_t *definition, auto, sts_image_handle_t *image) {
        std::strcpy(being_written.definition.name, definition->name);
        being_written.size = 0;
        *image = &being_written;
        return 0;
    };
    entry.open_image = [](auto, const sts_image_definition_t *definition, auto, sts_image_handle_t *image) {
        *image = &image_of(definition);
        return image_of(definition).there ? 0 : int32_t{STS_E_NOT_FOUND};
    };
    entry.write_image = [](sts_image_handle_t image, auto, const void *bytes, uint64_t length, uint64_t offset,
                           uint64_t *written) {
        auto *target = static_cast<MemoryImage *>(image);
        std::memcpy(target->bytes + offset, bytes, length);
        target->size = std::max(target->size, offset + length);
        *written = length;
        return 0;
    };
    entry.read_image = [](sts_image_handle_t image, void *bytes, uint64_t length, uint64_t offset, uint64_t *got) {
        const auto *source = static_cast<const MemoryImage *>(image);
        *got = offset >= source->size ? 0 : std::min(length, source->size - offset);
        std::memcpy(bytes, source->bytes + offset, *got);
        return 0;
    };
    entry.close_image = [](sts_image_handle_t image) {
        if (image != &being_written)
            return 0;
        MemoryImage &target = image_of(&being_written.definition);
        std::strcpy(target.definition.name, being_written.definition.name);
        std::memcpy(target.bytes, being_written.bytes, being_written.size);
        target.size = being_written.size;
        target.there = true;
        return 0;
    };
    entry.delete_image = [](auto, const sts_image_definition_t *definition, auto) {
        MemoryImage &image = image_of(definition);
        const bool was_there = image.there;
        image.there = false;
        return was_there ? 0 : int32_t{STS_E_NOT_FOUND};
    };
    entry.get_image_prop_byname = [](auto, const sts_image_definition_t *definition, sts_image_info_t *info) {
        const MemoryImage &image = image_of(definition);
        if (!image.there)
            return int32_t{STS_E_NOT_FOUND};
        std::strcpy(info->name, definition->name);
        info->size_bytes = image.size;
        return 0;
    };
}

void add_list_calls(EntryPoints &entry) {
    entry.open_image_list = [](auto, auto, sts_image_list_handle_t *list) {
        *list = &some_object;
        next_listed = 0;
        return 0;
    };
    entry.list_image = [](auto, sts_image_definition_t *out) {
        while (next_listed < image_count && !images[next_listed].there)
            ++next_listed;
        if (next_listed == image_count)
            return int32_t{STS_E_NO_MORE_ENTRIES};
        std::strcpy(out->name, images[next_listed++].definition.name);
        return 0;
    };
    entry.close_image_list = [](auto) { return 0; };
}

}  // namespace

EntryPoints memory_server() {
    EntryPoints entry;
    add_server_calls(entry);
    add_image_calls(entry);
    add_list_calls(entry);
    return entry;
}
