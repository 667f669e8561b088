#include "tests/support/temp_directory.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TempDirectory::TempDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "stspi-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary directory like " + pattern);
    m_path = pattern;
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}
