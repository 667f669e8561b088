// What the image library does for this one: it keeps the texts of failures, and knows what a call may still wait for.
#pragma once

#include <chrono>

#include "stsimage/engine.h"

namespace stsimage {

// Before anything can fail.
void use_host(const EngineHost *host);

// Closes all images and lists, as the process ends; what was being written is discarded.
void give_up_open_at_end();

// What the process may still wait for where it has begun to do so; more than any time-out before.
std::chrono::milliseconds time_left_at_end();

}  // namespace stsimage
