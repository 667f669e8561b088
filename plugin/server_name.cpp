#include "plugin/server_name.h"

#include <cstring>

bool is_disk_array_name(const char *server_name) {
    return std::strncmp(server_name, plugin_prefix, std::strlen(plugin_prefix)) == 0;
}

const char *host_part(const char *server_name) {
    const char *colon = std::strchr(server_name, ':');
    return colon != nullptr ? colon + 1 : server_name;
}
