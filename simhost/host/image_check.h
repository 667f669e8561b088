// The looking through of images that the substitute image library offers beside its calls.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "simhost/host/plugin_library.h"
#include "stspi/stsimg_check.h"

// Calls stsimg_check of the image library that the plug-in has, for an LSU or for all. The function may throw, which ends the
// check. Throws UsageError when the library has no such function, BadAnswer when the check did not come to its end.
void check_images(const PluginLibrary &library, const std::optional<std::string> &lsu, uint32_t flags,
                  const std::function<void(const sts_image_finding_t &)> &take);
