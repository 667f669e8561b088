#include "simhost/commands/image_copies.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

void copy_tree(const std::string &from, const std::string &to) {
    constexpr auto how = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    std::error_code failure;
    fs::copy(from, to, how | fs::copy_options::create_hard_links, failure);
    if (!failure)
        return;
    // Another file system, or one without hard links, or somebody else's files.
    fs::remove_all(to);
    fs::copy(from, to, how);
}

}  // namespace

ImageCopies::ImageCopies(const std::string &image_root, const std::string &place) {
    if (image_root.empty())
        return;
    m_original = fs::absolute(image_root).string();
    m_first = place + "/images-at-first";
    m_copy = place + "/images";
    if (fs::exists(m_original))
        copy_tree(m_original, m_first);
}

void ImageCopies::renew() const {
    if (m_copy.empty())
        return;
    fs::remove_all(m_copy);
    if (fs::exists(m_first))
        copy_tree(m_first, m_copy);
}

std::string ImageCopies::original_path(const std::string &path) const {
    const bool is_copied = !m_copy.empty() && path.compare(0, m_copy.size() + 1, m_copy + "/") == 0;
    return is_copied ? m_original + path.substr(m_copy.size()) : path;
}
