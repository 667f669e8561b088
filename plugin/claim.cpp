#include "plugin/claim.h"

#include <cstring>

#include "sim/config_file.h"
#include "stspi/stspi.h"

bool isPluginSimulated(const char *server_name) {
    return server_name != nullptr && *server_name != '\0' &&
           open_configuration(configuration_name(server_name), "r") != nullptr;
}

bool is_disk_array_name(const char *server_name) {
    return std::strncmp(server_name, plugin_prefix, std::strlen(plugin_prefix)) == 0;
}

const char *host_part(const char *server_name) {
    const char *colon = std::strchr(server_name, ':');
    return colon != nullptr ? colon + 1 : server_name;
}

int32_t stspi_claim(const char *server_name) { return isPluginSimulated(server_name) ? 0 : STS_E_NOT_CLAIMED; }
