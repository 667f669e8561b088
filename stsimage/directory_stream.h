// The entries of a directory that is open, one after the other.
#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "stsimage/file_descriptor.h"

namespace stsimage {

class DirectoryStream {
public:
    // Opened anew: two streams of one directory must not share a place in it.
    explicit DirectoryStream(const FileDescriptor &directory) {
        FileDescriptor own(openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        stream = own ? fdopendir(own.get()) : nullptr;
        if (stream != nullptr)
            own.release();
        else
            trouble = errno;
    }
    DirectoryStream(const DirectoryStream &) = delete;
    DirectoryStream &operator=(const DirectoryStream &) = delete;
    ~DirectoryStream() {
        if (stream != nullptr)
            closedir(stream);
    }

    // Without "." and "..". Null at the end, or when reading failed. Good until the next call.
    const dirent *next() {
        while (stream != nullptr) {
            errno = 0;
            const dirent *const entry = readdir(stream);
            if (entry == nullptr) {
                trouble = errno;
                return nullptr;
            }
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                return entry;
        }
        return nullptr;
    }

    // 0, or an errno value once reading has failed.
    int error() const { return trouble; }

private:
    DIR *stream = nullptr;
    int trouble = 0;
};

}  // namespace stsimage
