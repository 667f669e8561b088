// An open file, closed when its owner goes. Closing leaves errno alone, so that a failure can still be told.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace stsimage {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : number(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept : number(std::exchange(other.number, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~FileDescriptor() {
        if (number < 0)
            return;
        const int error = errno;
        close(number);
        errno = error;
    }

    explicit operator bool() const { return number >= 0; }
    int get() const { return number; }

    // Gives up ownership.
    int release() { return std::exchange(number, -1); }

private:
    int number = -1;
};

}  // namespace stsimage
