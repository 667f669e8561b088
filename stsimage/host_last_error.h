// Where this library's failures go: the image library keeps their texts.
#pragma once

#include "stsimage/engine.h"

namespace stsimage {

// Before anything can fail.
void use_host(const EngineHost *host);

}  // namespace stsimage
