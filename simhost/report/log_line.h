// A message that the plug-in sent through its session.
#pragma once

#include <cstdint>
#include <string>

struct LogLine {
    std::string text;
    int32_t level;
};
