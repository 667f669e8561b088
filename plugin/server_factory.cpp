#include "plugin/server_factory.h"

#include "copan/copan_sim_storage_server.h"

StorageServer *generateSTSObject(const char *server_name) {
    if (server_name == nullptr || *server_name == '\0')
        return nullptr;
    // The prefix, "copan" or another, makes no difference: a Copan array is all there is.
    return new CopanSimStorageServer(server_name);
}
