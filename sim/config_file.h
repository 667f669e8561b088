// Where a simulation configuration file lies.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// A server name up to its first ':'; the whole name without one.
std::string configuration_name(std::string_view server_name);

// Opens "/etc/quillmere/NAME.sim" with fopen, which a test or a host program may replace. Null when that fails; errno
// tells. Throws std::bad_alloc when there is no memory for the stream.
File open_configuration(std::string_view configuration_name, const char *mode);
