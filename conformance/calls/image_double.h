// A stand-in for the image library that records every call and gives scripted answers.
//
// It carries the library's soname. Loaded before a plug-in, it is what the plug-in's own dependency on libstsimage.so
// resolves to.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace conformance {

struct ImageCall {
    std::string function;               // "stsimg_read_image"
    std::array<uint64_t, 6> arguments;  // the six argument registers as they came
    std::string lsu_text;               // of the calls that name an LSU, copied during the call
    std::string server_name;
};

struct ImageDouble {
    std::vector<ImageCall> calls;
    // The answer to a call, which was recorded already; 0 without one.
    std::function<int32_t(const ImageCall &)> answer;
    // Stands around each answer, where somebody notes what it does.
    std::function<int32_t(const ImageCall &, const std::function<int32_t(const ImageCall &)> &answer)> watch;
};

}  // namespace conformance

// Exported by the stand-in; one object for the whole process.
extern "C" __attribute__((visibility("default"))) conformance::ImageDouble *stspi_conformance_image_double();
