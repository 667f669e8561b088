#include "conformance/calls/image_double.h"

#include <mutex>

using conformance::ImageCall;
using conformance::ImageDouble;

namespace {

std::mutex mutex;

ImageDouble &image_double() {
    static ImageDouble instance;
    return instance;
}

int32_t record(const ImageCall &call) {
    {
        const std::lock_guard lock(mutex);
        image_double().calls.push_back(call);
    }
    if (image_double().watch)
        return image_double().watch(call, image_double().answer);
    return image_double().answer ? image_double().answer(call) : 0;
}

std::string text(uint64_t address) {
    const auto *characters = reinterpret_cast<const char *>(address);  // NOLINT(performance-no-int-to-ptr)
    return characters == nullptr ? "(null)" : characters;
}

}  // namespace

extern "C" ImageDouble *stspi_conformance_image_double() { return &image_double(); }

// Six integer registers each, more than any of these functions has arguments: what a caller hands on beyond a
// function's own arguments is seen too.
#define REGISTERS uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f
#define PASSED_THROUGH(name)                                                   \
    extern "C" __attribute__((visibility("default"))) int32_t name(REGISTERS); \
    extern "C" int32_t name(REGISTERS) { return record({#name, {a, b, c, d, e, f}, {}, {}}); }
#define NAMES_AN_LSU(name)                                                     \
    extern "C" __attribute__((visibility("default"))) int32_t name(REGISTERS); \
    extern "C" int32_t name(REGISTERS) { return record({#name, {a, b, c, d, e, f}, text(a), text(c)}); }

PASSED_THROUGH(stsimg_init)
PASSED_THROUGH(stsimg_terminate)
NAMES_AN_LSU(stsimg_create_image)
NAMES_AN_LSU(stsimg_open_image)
NAMES_AN_LSU(stsimg_delete_image)
NAMES_AN_LSU(stsimg_open_image_list)
NAMES_AN_LSU(stsimg_get_image_prop_byname)
PASSED_THROUGH(stsimg_get_image_prop)
PASSED_THROUGH(stsimg_read_image)
PASSED_THROUGH(stsimg_write_image)
PASSED_THROUGH(stsimg_close_image)
PASSED_THROUGH(stsimg_list_image)
PASSED_THROUGH(stsimg_close_image_list)
