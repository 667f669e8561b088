#include "sim/config_file.h"

std::string configuration_name(const std::string &server_name) { return server_name.substr(0, server_name.find(':')); }

std::string configuration_path(const std::string &configuration_name) {
    return "/etc/quillmere/" + configuration_name + ".sim";
}

File open_configuration(const std::string &configuration_name, const char *mode) {
    return File(std::fopen(configuration_path(configuration_name).c_str(), mode));
}
