// Looking through all that lies under a root.
#pragma once

#include <cstdint>

#include "stspi/stsimg_check.h"

namespace stsimage {

// stsimg_check, with a function that is not null.
int32_t check_root(const char *lsu, uint32_t flags, stsimg_finding_function tell, void *context);

}  // namespace stsimage
