#include "lsu/dynamic_lsu_name.h"

#include <cstring>
#include <utility>

bool isDynamicLSUName(const char *name) { return std::strchr(name, ':') != nullptr; }

int parseDynamicLSUName(const char *name, Name &left, Name &right) {
    const char *colon = std::strchr(name, ':');
    if (colon == name)
        return -1;
    Name left_part = colon != nullptr ? Name(name, static_cast<size_t>(colon - name)) : Name(name);
    right = Name(colon != nullptr ? colon + 1 : name);
    left = std::move(left_part);
    return 0;
}
