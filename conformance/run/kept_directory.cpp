#include "conformance/run/kept_directory.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace conformance {

namespace fs = std::filesystem;

void make_empty_directory(const std::string &path, const char *option) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error || !fs::is_directory(path, error))
        throw std::runtime_error(fmt::format("{}: cannot make the directory {}", option, path));
    if (!fs::is_empty(path, error) || error)
        throw std::runtime_error(fmt::format("{}: {} is not empty, and nothing in it is to be replaced", option, path));
}

std::string kept_directory(const std::string &keep, const std::string &test_id, unsigned round) {
    return fmt::format("{}/{}{}", keep, test_id, round > 1 ? fmt::format(".{}", round) : "");
}

void keep_directory(const std::string &directory, const std::string &kept) {
    std::error_code error;
    if (fs::exists(kept, error) || !fs::create_directory(kept, error))
        return;
    constexpr auto options = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    for (const auto &entry : fs::directory_iterator(directory, error))
        fs::copy(entry.path(), fs::path(kept) / entry.path().filename(), options, error);
}

void keep_finding(const std::string &kept, const std::string &text) {
    const std::string path = kept + "/finding.txt";
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file)
        throw std::runtime_error(fmt::format("cannot write {}", path));
}

}  // namespace conformance
