#include "simhost/host/image_root.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string_view>

bool is_shared_store(const std::string &image_root) {
    constexpr std::string_view prefixes[] = {"rados:", "s3:"};
    return std::any_of(std::begin(prefixes), std::end(prefixes), [&image_root](std::string_view prefix) {
        return image_root.compare(0, prefix.size(), prefix) == 0;
    });
}

std::string current_image_root() {
    const char *const root = std::getenv("STSIMAGE_ROOT");
    return root != nullptr ? root : "";
}

bool keeps_directories_here(const std::string &image_root) {
    const char *const absolute = std::getenv("STSIMAGE_ABSOLUTE");
    return is_shared_store(image_root) && (absolute == nullptr || std::string_view(absolute) != "store");
}

std::string lasting_image_root(const std::string &image_root) {
    return is_shared_store(image_root) ? image_root : std::filesystem::absolute(image_root).string();
}

void use_image_root(const std::string &image_root) {
    setenv("STSIMAGE_ROOT", lasting_image_root(image_root).c_str(), 1);
}
