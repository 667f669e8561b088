// Where a simulation configuration file lies.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// A server name up to its first ':'; the whole name without one.
std::string configuration_name(const std::string &server_name);

// "/etc/quillmere/NAME.sim".
std::string configuration_path(const std::string &configuration_name);

// Opens a configuration file with fopen, which a test or a host program may replace. Null when that fails; errno tells.
File open_configuration(const std::string &configuration_name, const char *mode);
