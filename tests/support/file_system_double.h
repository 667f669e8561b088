// A file system with the sizes that a test wants.
//
// A program that links this file defines statvfs itself; it forwards to the C library's unless it is told what to answer.
#pragma once

#include <sys/statvfs.h>

#include <string>

// While it lives, every file system is the given one.
class FileSystemDouble {
public:
    explicit FileSystemDouble(const struct statvfs &answer);
    ~FileSystemDouble();
    FileSystemDouble(const FileSystemDouble &) = delete;
    FileSystemDouble &operator=(const FileSystemDouble &) = delete;

    // The path that was asked for last.
    const std::string &path() const { return m_path; }

    // For statvfs itself.
    struct statvfs answer_for(const char *path) {
        m_path = path;
        return m_answer;
    }

private:
    struct statvfs m_answer;
    std::string m_path;
};
