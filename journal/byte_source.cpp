#include "journal/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "journal/read_error.h"

namespace journal {

namespace {

class FileSource : public ByteSource {
public:
    explicit FileSource(const std::string &path)
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
        if (descriptor_ < 0)
            throw ReadError(path + ": " + strerror(errno));
        struct stat status = {};
        if (fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) {
            size_ = static_cast<uint64_t>(status.st_size);
            return;
        }
        close(descriptor_);
        throw ReadError(path + ": not a regular file");
    }
    ~FileSource() override { close(descriptor_); }
    FileSource(const FileSource &) = delete;
    FileSource &operator=(const FileSource &) = delete;

    uint64_t size() const override { return size_; }

    size_t read(uint64_t offset, void *buffer, size_t size) override {
        size_t done = 0;
        while (done < size) {
            const ssize_t got =
                pread(descriptor_, static_cast<char *>(buffer) + done, size - done, static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            done += static_cast<size_t>(got);
        }
        return done;
    }

private:
    int descriptor_;
    uint64_t size_ = 0;
};

class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}

    uint64_t size() const override { return bytes_.size(); }

    size_t read(uint64_t offset, void *buffer, size_t size) override {
        if (offset >= bytes_.size())
            return 0;
        return bytes_.copy(static_cast<char *>(buffer), size, static_cast<size_t>(offset));
    }

private:
    std::string_view bytes_;
};

}  // namespace

std::unique_ptr<ByteSource> open_file(const std::string &path) { return std::make_unique<FileSource>(path); }

std::unique_ptr<ByteSource> memory_source(std::string_view bytes) { return std::make_unique<MemorySource>(bytes); }

}  // namespace journal
