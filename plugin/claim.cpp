#include "plugin/claim.h"

#include <cstring>

#include "sim/config_file.h"
#include "stspi/stspi.h"

bool isPluginSimulated(const char *server_name) {
    if (server_name == nullptr || *server_name == '\0')
        return false;
    const std::string_view prefix(server_name, std::strcspn(server_name, ":"));
    return open_configuration(prefix, "r") != nullptr;
}

int32_t stspi_claim(const char *server_name) { return isPluginSimulated(server_name) ? 0 : STS_E_NOT_CLAIMED; }
