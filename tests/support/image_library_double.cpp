#include "tests/support/image_library_double.h"

#include <cstring>

namespace {

ImageLibraryDouble *current = nullptr;

template <class Value>
uint64_t bits(Value value) {
    return static_cast<uint64_t>(value);
}
template <class Pointee>
uint64_t bits(Pointee *pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

template <class... Arguments>
int32_t answer(const char *function, const char *lsu, const char *server_name, Arguments... arguments) {
    if (current == nullptr)
        return 0;
    return current->record(
        {function, {bits(arguments)...}, lsu != nullptr ? lsu : "", server_name != nullptr ? server_name : ""});
}

}  // namespace

ImageLibraryDouble::ImageLibraryDouble() { current = this; }

ImageLibraryDouble::~ImageLibraryDouble() { current = nullptr; }

int32_t ImageLibraryDouble::record(ImageLibraryCall call) {
    if (when_called)
        when_called();
    m_calls.push_back(std::move(call));
    return m_status;
}

// Declared by the library's header, with default visibility.
int32_t stsimg_init(uint64_t api_version) { return answer("stsimg_init", nullptr, nullptr, api_version); }
int32_t stsimg_terminate(void) { return answer("stsimg_terminate", nullptr, nullptr); }

int32_t stsimg_create_image(const char *lsu, const void *reserved, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t flags, sts_image_handle_t *out_image) {
    return answer("stsimg_create_image", lsu, server_name, lsu, reserved, server_name, definition, flags, out_image);
}

int32_t stsimg_open_image(const char *lsu, const void *reserved, const char *server_name,
                          const sts_image_definition_t *definition, uint32_t mode, sts_image_handle_t *out_image) {
    return answer("stsimg_open_image", lsu, server_name, lsu, reserved, server_name, definition, mode, out_image);
}

int32_t stsimg_delete_image(const char *lsu, const void *reserved, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t flags) {
    return answer("stsimg_delete_image", lsu, server_name, lsu, reserved, server_name, definition, flags);
}

int32_t stsimg_open_image_list(const char *lsu, const void *reserved, const char *server_name, uint32_t flags,
                               sts_image_list_handle_t *out_list) {
    return answer("stsimg_open_image_list", lsu, server_name, lsu, reserved, server_name, flags, out_list);
}

int32_t stsimg_get_image_prop_byname(const char *lsu, const void *reserved, const char *server_name,
                                     const sts_image_definition_t *definition, sts_image_info_t *out_info) {
    return answer("stsimg_get_image_prop_byname", lsu, server_name, lsu, reserved, server_name, definition, out_info);
}

int32_t stsimg_get_image_prop(sts_image_handle_t image, sts_image_info_t *out_info) {
    return answer("stsimg_get_image_prop", nullptr, nullptr, image, out_info);
}

int32_t stsimg_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                          uint64_t *out_bytes_read) {
    if (current == nullptr)
        return 0;
    answer("stsimg_read_image", nullptr, nullptr, image, buffer, length, offset, out_bytes_read);
    if (current->read_count != 0)
        std::memset(buffer, current->read_byte, current->read_count);
    if (out_bytes_read != nullptr && current->sets_counts)
        *out_bytes_read = current->read_count;
    return current->read_status;
}

int32_t stsimg_write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                           uint64_t offset, uint64_t *out_bytes_written) {
    if (current == nullptr)
        return 0;
    answer("stsimg_write_image", nullptr, nullptr, image, reserved, buffer, length, offset, out_bytes_written);
    if (buffer != nullptr)
        current->written.append(static_cast<const char *>(buffer), length);
    if (out_bytes_written != nullptr && current->sets_counts)
        *out_bytes_written = current->write_count;
    return current->write_status;
}

int32_t stsimg_close_image(sts_image_handle_t image) { return answer("stsimg_close_image", nullptr, nullptr, image); }

int32_t stsimg_list_image(sts_image_list_handle_t list, sts_image_definition_t *out_definition) {
    return answer("stsimg_list_image", nullptr, nullptr, list, out_definition);
}

int32_t stsimg_close_image_list(sts_image_list_handle_t list) {
    return answer("stsimg_close_image_list", nullptr, nullptr, list);
}
