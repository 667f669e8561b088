// New contents for a file, at once or not at all.
#pragma once

#include <string>

class FileReplacement {
public:
    // Makes a file beside the one to replace, which must be there; a link to it stays one. Throws UsageError, as all of
    // this does; the file is then as it was.
    explicit FileReplacement(const std::string &path);
    // Takes the new file away unless it got its place.
    ~FileReplacement();
    FileReplacement(const FileReplacement &) = delete;
    FileReplacement &operator=(const FileReplacement &) = delete;

    // The file itself, links followed.
    const std::string &target() const { return m_target; }

    // All of the contents. The new file gets the mode of the old one, and its owner as far as this user may see to it.
    void fill(const std::string &bytes);
    void take_place();

private:
    std::string m_target;
    std::string m_path;  // "" once it has its place
    int m_descriptor = -1;
};
