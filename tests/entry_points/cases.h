// How to bring about every documented status.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "tests/entry_points/plugin_world.h"

// The status that the image library gives where a case says so: none of the plug-in's own.
constexpr int32_t library_status = 2060099;

// Calls an entry point by the address it is given and returns its status. Called once for each way to the entry point,
// with a world of its own.
using Case = std::function<int32_t(PluginWorld &world, void *entry_point)>;

// By entry point and condition, as docs/entry-points.md words it. The conditions of the entry points that always answer
// alike stand under "always".
const std::map<std::pair<std::string, std::string>, Case> &cases();
