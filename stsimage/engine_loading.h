// Engines: stores of other kinds than directories, each in a library of its own.
#pragma once

#include <cstdint>
#include <string>

#include "stsimage/engine.h"

namespace stsimage {

// Gives the engine of this name, loading its library when it is first asked for: NAME.so in the directory "stsimage" beside
// this library. It stays loaded.
int32_t find_engine(const std::string &name, const Engine *&out_engine);

}  // namespace stsimage
