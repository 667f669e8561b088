// What stands behind the name of a pool or bucket in STSIMAGE_ROOT.
#pragma once

#include <string>
#include <string_view>

namespace stsimage {

// The same prefix in one spelling, "a/b": without slashes at its ends, one between its components.
inline std::string normalize_prefix(std::string_view text) {
    std::string prefix;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = text.find('/', begin) == text.npos ? text.size() : text.find('/', begin);
        if (end > begin)
            prefix.append(prefix.empty() ? "" : "/").append(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return prefix;
}

}  // namespace stsimage
