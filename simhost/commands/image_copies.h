// The images below a directory, for runs of a command that may do with them as they like.
#pragma once

#include <string>

class ImageCopies {
public:
    // image_root: the directory; "" for none. place: a directory of one's own to put copies into. Images are never written in
    // place, so a copy is a hard link where the file system has them. Throws std::filesystem::filesystem_error.
    ImageCopies(const std::string &image_root, const std::string &place);

    // Puts the copy of a run back to what it was at first.
    void renew() const;
    // Where a run finds its copy; "" without a directory.
    const std::string &root() const { return m_copy; }
    // A path in the copy as the path that it stands for; other paths as they are.
    std::string original_path(const std::string &path) const;

private:
    std::string m_original;
    std::string m_first;  // never changed
    std::string m_copy;
};
