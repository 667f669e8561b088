// Image calls.
#include <dlfcn.h>

#include <cstring>
#include <new>

#include "entry_points.h"
#include "permitted.h"

using broken::is;

namespace {

// Before every call that names an LSU.
void before(const stsp_lsu_v7_t *lsu) {
    broken::set_lsu_of_image_call(lsu != nullptr && std::strncmp(broken::server_of(lsu->server).name, "copan:", 6) == 0
                                      ? lsu->lsu_name
                                      : nullptr);
    if (is("image.null-handle-crashes") && lsu != nullptr)
        static_cast<void>(*reinterpret_cast<const volatile char *>(lsu->server));
}

int32_t after(const stsp_lsu_v7_t *lsu, int32_t status) {
    if (is("image.unknown-copan-lsu-status") && status == STS_E_NO_SERVER)
        return STS_E_NOT_FOUND;
    if (is("image.library-status-replaced") && status != 0 && status != STS_E_INVALID_PARAMETER &&
        status != STS_E_NO_SERVER)
        return STS_E_SYSTEM;
    if (is("image.caller-record-written") && status == 0 && lsu != nullptr)
        const_cast<stsp_lsu_v7_t *>(lsu)->lsu_name[1000] = 0;
    if (is("image.leaks") || (is("image.leaks-on-failure") && status == STS_E_SYSTEM))
        broken::leak();
    return status;
}

}  // namespace

BROKEN_ENTRY_POINT(stspi_create_image, const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                   uint32_t flags, sts_image_handle_t *out) {
    if (broken::refuses_unterminated(lsu))
        return STS_E_INVALID_PARAMETER;
    stsp_lsu_v7_t copy;
    lsu = broken::terminated(lsu, copy);
    before(lsu);
    if (is("image.create-null-definition-handed-on") && definition == nullptr && lsu != nullptr)
        definition = reinterpret_cast<const sts_image_definition_t *>(lsu);
    if (is("image.create-null-definition-traced") && definition == nullptr && lsu != nullptr && lsu->server != nullptr)
        broken::say(broken::server_of(lsu->server).session, STS_LOG_LEVEL_TRACE, "++++ Entering stspi_create_image\n");
    if (is("image.create-flags-lost"))
        flags = 0;
    return after(lsu, REAL(stspi_create_image)(lsu, definition, flags, out));
}

BROKEN_ENTRY_POINT(stspi_open_image, const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t mode,
                   sts_image_handle_t *out) {
    if (broken::refuses_unterminated(lsu))
        return STS_E_INVALID_PARAMETER;
    stsp_lsu_v7_t copy;
    lsu = broken::terminated(lsu, copy);
    before(lsu);
    if (is("image.open-null-definition-refused") && definition == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (is("image.open-mode-16-bit"))
        mode &= 0xffff;
    if (is("image.open-untraced")) {
        const broken::Silence silence;
        return REAL(stspi_open_image)(lsu, definition, mode, out);
    }
    return after(lsu, REAL(stspi_open_image)(lsu, definition, mode, out));
}

BROKEN_ENTRY_POINT(stspi_delete_image, const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                   uint32_t flags) {
    if (broken::refuses_unterminated(lsu))
        return STS_E_INVALID_PARAMETER;
    stsp_lsu_v7_t copy;
    lsu = broken::terminated(lsu, copy);
    before(lsu);
    if (is("image.delete-flags-lost"))
        flags = 0;
    return after(lsu, REAL(stspi_delete_image)(lsu, definition, flags));
}

BROKEN_ENTRY_POINT(stspi_open_image_list, const stsp_lsu_v7_t *lsu, uint32_t flags, sts_image_list_handle_t *out) {
    if (broken::refuses_unterminated(lsu))
        return STS_E_INVALID_PARAMETER;
    stsp_lsu_v7_t copy;
    lsu = broken::terminated(lsu, copy);
    before(lsu);
    if (is("image.list-out-lost"))
        out = nullptr;
    return after(lsu, REAL(stspi_open_image_list)(lsu, flags, out));
}

BROKEN_ENTRY_POINT(stspi_get_image_prop_byname, const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                   sts_image_info_t *out) {
    if (broken::refuses_unterminated(lsu))
        return STS_E_INVALID_PARAMETER;
    stsp_lsu_v7_t copy;
    lsu = broken::terminated(lsu, copy);
    before(lsu);
    return after(lsu, REAL(stspi_get_image_prop_byname)(lsu, definition, out));
}

// ---- pass-through, with all six registers --------------------------------------------------------------------------

extern "C" {

using SixRegisters = int32_t(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);

#define BROKEN_PASS_THROUGH(name)                                                                                 \
    __attribute__((visibility("default")))                                                                        \
    int32_t broken_##name(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) __asm__(#name); \
    int32_t broken_##name(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f) {               \
        if (is("pass." #name ".null-refused") && a == 0)                                                          \
            return STS_E_INVALID_PARAMETER;                                                                       \
        if (is("pass." #name ".last-register-lost"))                                                              \
            f = 0;                                                                                                \
        if (is("pass." #name ".third-argument-32-bit"))                                                           \
            c &= 0xffffffff;                                                                                      \
        const int32_t status = broken::call_real<SixRegisters>(#name)(a, b, c, d, e, f);                          \
        return is("pass." #name ".status-lost") ? 0 : status;                                                     \
    }

BROKEN_PASS_THROUGH(stspi_close_image)
BROKEN_PASS_THROUGH(stspi_close_image_list)
BROKEN_PASS_THROUGH(stspi_get_image_prop)
BROKEN_PASS_THROUGH(stspi_list_image)
BROKEN_PASS_THROUGH(stspi_read_image)
BROKEN_PASS_THROUGH(stspi_write_image)
}

// ---- copies --------------------------------------------------------------------------------------------------------

BROKEN_ENTRY_POINT(stspi_copy_extent, sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                   uint64_t source_offset, uint64_t length, const void *ignored, uint64_t *out_bytes_written) {
    if (is("copy.through-global-scope")) {
        auto *read = reinterpret_cast<decltype(&stspi_read_image)>(dlsym(RTLD_DEFAULT, "stspi_read_image"));
        if (read != nullptr && read(source, nullptr, 0, 0, nullptr) == 4711)
            return 4711;
    }
    if (is("copy.offsets-swapped"))
        return REAL(stspi_copy_extent)(target, source_offset, source, target_offset, length, ignored,
                                       out_bytes_written);
    if (is("copy.null-source-refused") && source == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (is("copy.null-count-crashes"))
        *static_cast<volatile uint64_t *>(out_bytes_written) = *out_bytes_written;
    if (is("permitted.copy-throws") && target != nullptr && out_bytes_written != nullptr &&
        static_cast<int32_t>(length) < 0)
        throw std::bad_alloc();
    if (is("copy.negative-length-as-zero") && static_cast<int32_t>(length) < 0)
        length = 0;
    if (is("copy.zero-length-refused") && length == 0)
        return STS_E_INVALID_PARAMETER;
    if (is("copy.in-chunks") && length == 1000) {
        REAL(stspi_copy_extent)(target, target_offset, source, source_offset, 500, ignored, out_bytes_written);
        return REAL(stspi_copy_extent)(target, target_offset + 500, source, source_offset + 500, 500, ignored,
                                       out_bytes_written);
    }
    const uint64_t before = out_bytes_written == nullptr ? 0 : *out_bytes_written;
    const int32_t status =
        REAL(stspi_copy_extent)(target, target_offset, source, source_offset, length, ignored, out_bytes_written);
    if (is("copy.count-kept-on-failure") && status != 0 && out_bytes_written != nullptr)
        *out_bytes_written = before;
    if (is("copy.count-cleared-on-failure") && status != 0 && out_bytes_written != nullptr)
        *out_bytes_written = 0;
    if (is("copy.count-of-the-length") && status == 0)
        *out_bytes_written = length;
    if (is("copy.leaks"))
        broken::leak();
    return status;
}

BROKEN_ENTRY_POINT(stspi_include_in_image, sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                   uint64_t source_offset, uint64_t length) {
    if (is("include.null-source-refused") && source == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (is("permitted.copy-throws") && target != nullptr && static_cast<int32_t>(length) < 0)
        throw std::bad_alloc();
    if (is("include.appends"))
        target_offset = 0;
    const int32_t status = REAL(stspi_include_in_image)(target, target_offset, source, source_offset, length);
    return is("include.status-lost") ? 0 : status;
}
