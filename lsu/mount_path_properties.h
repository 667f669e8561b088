// Properties of an LSU that is a directory.
#pragma once

#include "stspi/sts_types.h"

// Returns 0 for a text of 1 to 1024 bytes, -1 for a null one, -2 for any other.
int validate_path(const char *path);

// Fills info from the file system that holds the path in the LSU's name: the handle's host name and the block size,
// and on success class, flag, sizes and used bytes. The LSU name and everything else in info stay as they are.
// Returns 0, STS_E_SYSTEM when the file system cannot be asked, or the negative result of validate_path, which on purpose
// is no status code.
int32_t get_mount_path_prop(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info);
