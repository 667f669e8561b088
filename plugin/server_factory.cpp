#include "plugin/server_factory.h"

#include <memory>

#include "copan/copan_sim_storage_server.h"
#include "sim/config_file.h"

StorageServer *generateSTSObject(const char *server_name) {
    if (server_name == nullptr || *server_name == '\0')
        return nullptr;
    // Both ways lead to the same class, on purpose: any prefix serves for a Copan array, and this is where another kind of
    // server would part from it.
    std::unique_ptr<StorageServer> server;
    // NOLINTNEXTLINE(bugprone-branch-clone): see above
    if (configuration_name(server_name) == "copan")
        server = std::make_unique<CopanSimStorageServer>(server_name);
    else
        server = std::make_unique<CopanSimStorageServer>(server_name);
    return server.release();
}
