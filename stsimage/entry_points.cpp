// The public calls: each checks its pointers, finds the object behind its handle and hands on.
#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include "base/invariant.h"
#include "stsimage/call_patience.h"
#include "stsimage/image.h"
#include "stsimage/image_content.h"
#include "stsimage/image_info.h"
#include "stsimage/image_list.h"
#include "stsimage/image_name.h"
#include "stsimage/image_reader.h"
#include "stsimage/image_writer.h"
#include "stsimage/last_error.h"
#include "stsimage/open_handles.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/quoted_text.h"
#include "stsimage/root_check.h"
#include "stsimage/store_opening.h"
#include "stspi/stsimg.h"

using namespace stsimage;

namespace {

// Nothing may be thrown into the caller.
template <class Operation>
int32_t guarded(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc &) {
        return fail(STSIMG_E_NO_MEMORY, "out of memory");
    } catch (const BrokenInvariant &broken) {
        return fail(STS_E_INTERNAL, "%s", broken.what());
    } catch (const std::exception &error) {
        return fail(STS_E_SYSTEM, "%s", error.what());
    }
}

template <class Operation>
int32_t as_call(Operation operation) noexcept {
    const CallPatience patience;
    return guarded(operation);
}

int32_t null_argument(const char *argument) {
    return fail(STS_E_INVALID_PARAMETER, "the argument %s is null", argument);
}

int32_t check_arguments(const char *lsu, const char *server_name, const sts_image_definition_t *definition) {
    if (lsu == nullptr)
        return null_argument("lsu");
    if (server_name == nullptr)
        return null_argument("server_name");
    if (strnlen(server_name, server_name_size) == server_name_size)
        return fail(STS_E_INVALID_PARAMETER, "the server name is longer than 511 bytes");
    return definition == nullptr ? null_argument("definition") : 0;
}

// Does something with the object behind a handle.
template <class Object, class Operation>
int32_t with(std::shared_ptr<Object> object, const void *handle, const char *kind, Operation operation) {
    if (handle == nullptr)
        return fail(STS_E_INVALID_PARAMETER, "the %s handle is null", kind);
    if (object == nullptr)
        return fail(STSIMG_E_INVALID_HANDLE, "%p is not an open %s", handle, kind);
    return operation(*object);
}

template <class Operation>
int32_t with_image(const void *handle, Operation operation) {
    return with(open_images().find(handle), handle, "image", operation);
}

}  // namespace

int32_t stsimg_init(uint64_t api_version) {
    if (api_version != STSIMG_API_VERSION)
        return fail(STS_E_VERSION, "the API version %ju is not known; this library's is 9", uintmax_t{api_version});
    begin_use();
    return 0;
}

int32_t stsimg_terminate(void) {
    end_use();
    return 0;
}

const char *stsimg_last_error(void) { return last_error(); }

int32_t stsimg_create_image(const char *lsu, const void *, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t, sts_image_handle_t *out_image) {
    if (out_image == nullptr)
        return null_argument("out_image");
    *out_image = nullptr;
    return as_call([&] {
        if (const int32_t status = check_arguments(lsu, server_name, definition); status != 0)
            return status;
        std::string_view name;
        if (const int32_t status = name_of(*definition, name); status != 0)
            return status;
        std::shared_ptr<Image> image;
        const int32_t status = patiently([&] {
            std::unique_ptr<Store> store;
            const int32_t opened = open_store(lsu, WhenMissing::make, store);
            return opened != 0 ? opened : ImageWriter::create(std::move(store), name, server_name, image);
        });
        if (status == 0)
            *out_image = open_images().add(std::move(image));
        return status;
    });
}

int32_t stsimg_open_image(const char *lsu, const void *, const char *server_name,
                          const sts_image_definition_t *definition, uint32_t mode, sts_image_handle_t *out_image) {
    if (out_image == nullptr)
        return null_argument("out_image");
    *out_image = nullptr;
    return as_call([&] {
        if (const int32_t status = check_arguments(lsu, server_name, definition); status != 0)
            return status;
        if (mode == 0 || (mode & ~uint32_t{STSIMG_MODE_READ | STSIMG_MODE_WRITE}) != 0)
            return fail(STSIMG_E_WRONG_MODE, "the mode %u is neither reading (1) nor writing (2)", mode);
        std::string_view name;
        if (const int32_t status = name_of(*definition, name); status != 0)
            return status;
        std::shared_ptr<Image> image;
        const int32_t status = patiently([&] {
            std::unique_ptr<Store> store;
            if (const int32_t opened = open_store(lsu, WhenMissing::fail, store); opened != 0)
                return opened;
            return (mode & STSIMG_MODE_WRITE) != 0 ? ImageWriter::open(std::move(store), name, image)
                                                   : ImageReader::open(*store, name, image);
        });
        if (status == 0)
            *out_image = open_images().add(std::move(image));
        return status;
    });
}

int32_t stsimg_delete_image(const char *lsu, const void *, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t) {
    return as_call([&] {
        if (const int32_t status = check_arguments(lsu, server_name, definition); status != 0)
            return status;
        std::string_view name;
        if (const int32_t status = name_of(*definition, name); status != 0)
            return status;
        bool is_unanswered = false;
        return patiently([&] {
            std::unique_ptr<Store> store;
            const int32_t opened = open_store(lsu, WhenMissing::fail, store);
            const int32_t removed = opened != 0 ? opened : store->remove(name);
            // What an unanswered attempt has deleted is not there for the next one.
            if (is_unanswered && removed == STS_E_NOT_FOUND)
                return fail(STSIMG_E_OUTCOME_UNKNOWN, "%s may have been deleted by this call, or by another",
                            QuotedText(name).c_str());
            is_unanswered = removed != 0 && (is_unanswered || removed == STSIMG_E_OUTCOME_UNKNOWN);
            return is_unanswered ? STSIMG_E_OUTCOME_UNKNOWN : removed;
        });
    });
}

int32_t stsimg_open_image_list(const char *lsu, const void *, const char *server_name, uint32_t,
                               sts_image_list_handle_t *out_list) {
    if (out_list == nullptr)
        return null_argument("out_list");
    *out_list = nullptr;
    return as_call([&] {
        static constexpr sts_image_definition_t no_image{};
        if (const int32_t status = check_arguments(lsu, server_name, &no_image); status != 0)
            return status;
        std::shared_ptr<ImageList> list;
        const int32_t status = patiently([&] {
            std::unique_ptr<Store> store;
            const int32_t opened = open_store(lsu, WhenMissing::fail, store);
            return opened != 0 ? opened : ImageList::open(*store, list);
        });
        if (status == 0)
            *out_list = open_lists().add(std::move(list));
        return status;
    });
}

// Goes from LSU to LSU: what one of them did not answer says nothing of the others.
int32_t stsimg_check(const char *lsu, uint32_t flags, stsimg_finding_function tell, void *context) {
    return guarded([&] {
        if (tell == nullptr)
            return null_argument("tell");
        return check_root(lsu, flags, tell, context);
    });
}

int32_t stsimg_get_image_prop_byname(const char *lsu, const void *, const char *server_name,
                                     const sts_image_definition_t *definition, sts_image_info_t *out_info) {
    return as_call([&] {
        if (const int32_t status = check_arguments(lsu, server_name, definition); status != 0)
            return status;
        if (out_info == nullptr)
            return null_argument("out_info");
        std::string_view name;
        if (const int32_t status = name_of(*definition, name); status != 0)
            return status;
        ImageHeader header;
        const int32_t status = patiently([&] {
            std::unique_ptr<Store> store;
            const int32_t opened = open_store(lsu, WhenMissing::fail, store);
            return opened != 0 ? opened : read_header_of_image(*store, name, header);
        });
        if (status == 0)
            fill_info(name, header.image_size, header.creation_time, *out_info);
        return status;
    });
}

int32_t stsimg_get_image_prop(sts_image_handle_t image, sts_image_info_t *out_info) {
    return as_call([&] {
        if (out_info == nullptr)
            return null_argument("out_info");
        return with_image(image, [&](Image &open) { return open.describe(*out_info); });
    });
}

int32_t stsimg_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                          uint64_t *out_bytes_read) {
    if (out_bytes_read == nullptr)
        return null_argument("out_bytes_read");
    *out_bytes_read = 0;
    return as_call([&] {
        if (buffer == nullptr)
            return null_argument("buffer");
        return with_image(image, [&](Image &open) { return open.read(buffer, length, offset, *out_bytes_read); });
    });
}

int32_t stsimg_write_image(sts_image_handle_t image, const void *, const void *buffer, uint64_t length, uint64_t offset,
                           uint64_t *out_bytes_written) {
    if (out_bytes_written == nullptr)
        return null_argument("out_bytes_written");
    *out_bytes_written = 0;
    return as_call([&] {
        if (buffer == nullptr)
            return null_argument("buffer");
        return with_image(image, [&](Image &open) {
            const int32_t status = open.write(buffer, length, offset);
            if (status == 0)
                *out_bytes_written = length;
            return status;
        });
    });
}

int32_t stsimg_close_image(sts_image_handle_t image) {
    return as_call(
        [&] { return with(open_images().take(image), image, "image", [](Image &open) { return open.close(); }); });
}

int32_t stsimg_list_image(sts_image_list_handle_t list, sts_image_definition_t *out_definition) {
    return as_call([&] {
        if (out_definition == nullptr)
            return null_argument("out_definition");
        return with(open_lists().find(list), list, "image list",
                    [&](ImageList &open) { return open.next(*out_definition); });
    });
}

int32_t stsimg_close_image_list(sts_image_list_handle_t list) {
    return as_call([&] { return with(open_lists().take(list), list, "image list", [](ImageList &) { return 0; }); });
}
