// Properties of an LSU of a Copan array.
#pragma once

#include <string>

#include "stspi/sts_types.h"

// Writes the two names of info: the LSU's, which lsu_info points to, and the server's. Returns 0.
int32_t populate_lsuinfo(sts_lsu_info_v9_t *info, const std::string *lsu_info, const char *server_name);
