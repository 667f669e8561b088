// The recording image library of this process, and expectations about what it received.
#pragma once

#include <string>
#include <vector>

#include "conformance/calls/image_double.h"

namespace conformance {

// Before the plug-in is loaded.
void load_image_double();

ImageDouble &images();

// The calls since the last take.
std::vector<ImageCall> take_image_calls();

// The only call since the last take; ends the test when it was none, several, or another function.
ImageCall take_image_call(const std::string &function);

// The number that an argument register carries for a pointer.
uint64_t as_register(const void *pointer);

// A pointer that must not be followed, only handed on.
void *token(uint64_t value);

}  // namespace conformance
