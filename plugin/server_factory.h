// Makes the server objects of names that are not a disk array's.
#pragma once

#include "sim/storage_server.h"

// A new server for a full server name, which the caller deletes; null for a null or empty name. Throws STSException when
// the configuration file does not name the server.
StorageServer *generateSTSObject(const char *server_name);
