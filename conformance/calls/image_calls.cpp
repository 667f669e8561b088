#include "conformance/calls/image_calls.h"

#include <dlfcn.h>

#include <stdexcept>
#include <utility>

#include "conformance/calls/plugin_library.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

ImageDouble *loaded = nullptr;

}  // namespace

void load_image_double() {
    // Never unloaded: it must outlive every plug-in.
    void *library = dlopen(suite_library("libstsimage.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error(dlerror());
    loaded =
        reinterpret_cast<decltype(&stspi_conformance_image_double)>(dlsym(library, "stspi_conformance_image_double"))();
}

ImageDouble &images() { return *loaded; }

std::vector<ImageCall> take_image_calls() { return std::exchange(images().calls, {}); }

ImageCall take_image_call(const std::string &function) {
    const auto calls = take_image_calls();
    std::string got;
    for (const ImageCall &call : calls)
        got += (got.empty() ? "" : ", ") + call.function;
    require_true(got == function, "calls of the image library", function, got.empty() ? "none" : got);
    return calls.front();
}

uint64_t as_register(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

void *token(uint64_t value) { return reinterpret_cast<void *>(value); }  // NOLINT(performance-no-int-to-ptr)

}  // namespace conformance
