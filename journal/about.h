// What the head of a journal, or a process's first record, says about its writer.
#pragma once

#include <string>
#include <string_view>

#include "journal/format.h"

namespace journal {

struct AboutFacts {
    std::string writer;
    std::string program;
    std::string plugin;
    std::string plugin_hash;
    std::string rules;
    std::string data_directory;
    uint64_t seed = 0;
    uint64_t interface_version = 0;
};

AboutFacts read_about(std::string_view items);

}  // namespace journal
