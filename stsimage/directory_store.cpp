#include "stsimage/directory_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "stsimage/directory_names.h"
#include "stsimage/file_io.h"
#include "stsimage/image_file_copy.h"
#include "stsimage/image_name.h"
#include "stsimage/image_removal.h"
#include "stsimage/last_error.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/quoted_text.h"
#include "stsimage/room_ahead.h"
#include "stsimage/unfinished_files.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

class ImageFile : public StoredImage {
public:
    explicit ImageFile(std::string file_path) : shown_path(std::move(file_path)) {}

    int32_t open(const LsuDirectory &lsu, std::string_view name);

    const std::string &path() const override { return shown_path; }
    bool ask_size(uint64_t &out_size) override {
        out_size = size;
        return true;
    }
    using StoredImage::read;
    ssize_t read(iovec *buffers, int count, uint64_t place) override {
        return read_fully(file.get(), buffers, count, place);
    }
    bool forget_cached() override;

    int descriptor() const { return file.get(); }

private:
    const std::string shown_path;
    FileDescriptor file;
    uint64_t size = 0;  // when it was opened
};

int32_t ImageFile::open(const LsuDirectory &lsu, std::string_view name) {
    // O_NONBLOCK: whatever lies there in place of a file, opening it must not wait.
    file = FileDescriptor(
        openat(lsu.descriptor.get(), file_of(name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        const int error = errno;
        const QuotedText shown(name), directory(lsu.path);
        if (error == ENOENT)
            return fail(STS_E_NOT_FOUND, "there is no image %s in %s", shown.c_str(), directory.c_str());
        if (error == ELOOP || error == ENXIO)
            return fail(STSIMG_E_NOT_AN_IMAGE, "%s is no regular file", QuotedText(shown_path).c_str());
        return fail_system(error, "cannot open the image %s in %s", shown.c_str(), directory.c_str());
    }
    struct stat state;
    if (fstat(file.get(), &state) != 0)
        return fail_system(errno, "cannot ask for the size of %s", QuotedText(shown_path).c_str());
    if (!S_ISREG(state.st_mode))
        return fail(STSIMG_E_NOT_AN_IMAGE, "%s is no regular file", QuotedText(shown_path).c_str());
    size = static_cast<uint64_t>(state.st_size);
    return 0;
}

bool ImageFile::forget_cached() {
    if (!is_shared(file.get()))
        return false;
    drop_cached_data(file.get());
    return true;
}

class FileDraft : public Draft {
public:
    explicit FileDraft(std::string file_path) : shown_path(std::move(file_path)) {}

    int32_t make(const LsuDirectory &lsu, std::string_view name) { return file.make(lsu, file_of(name)); }

    const std::string &path() const override { return shown_path; }
    bool ask_size(uint64_t &out_size) override;
    using StoredImage::read;
    ssize_t read(iovec *buffers, int count, uint64_t place) override {
        return read_fully(file.descriptor(), buffers, count, place);
    }
    bool write(const void *data, size_t length, uint64_t place) override {
        room_ahead.prepare(file.descriptor(), place, length);
        return write_fully(file.descriptor(), data, length, place);
    }
    bool start_write_back(uint64_t place, uint64_t length) override {
        return stsimage::start_write_back(file.descriptor(), place, length);
    }
    bool cut(uint64_t place) override { return ftruncate(file.descriptor(), static_cast<off_t>(place)) == 0; }
    int32_t copy(StoredImage &source) override {
        return copy_file(static_cast<ImageFile &>(source).descriptor(), file.descriptor(), shown_path);
    }
    int32_t publish() override;

private:
    const std::string shown_path;
    UnfinishedFile file;
    RoomAhead room_ahead;
};

bool FileDraft::ask_size(uint64_t &out_size) {
    struct stat state;
    if (fstat(file.descriptor(), &state) != 0)
        return false;
    out_size = static_cast<uint64_t>(state.st_size);
    return true;
}

int32_t FileDraft::publish() {
    // Room that stays is no failure.
    if (uint64_t size = 0; room_ahead.is_left() && ask_size(size))
        static_cast<void>(cut(size));
    return file.publish();
}

}  // namespace

int32_t DirectoryStore::open_lsu(std::string_view text, WhenMissing when_missing, std::unique_ptr<Store> &out_store) {
    auto store = std::make_unique<DirectoryStore>();
    if (const int32_t status = stsimage::open_lsu(text, when_missing, store->lsu); status != 0)
        return status;
    clear_abandoned(store->lsu);
    out_store = std::move(store);
    return 0;
}

int32_t DirectoryStore::begin(std::string_view name, std::unique_ptr<Draft> &out_draft) {
    auto draft = std::make_unique<FileDraft>(lsu.path_of(file_of(name)));
    if (const int32_t status = draft->make(lsu, name); status != 0)
        return status;
    out_draft = std::move(draft);
    return 0;
}

int32_t DirectoryStore::open(std::string_view name, std::unique_ptr<StoredImage> &out_image) {
    auto image = std::make_unique<ImageFile>(lsu.path_of(file_of(name)));
    if (const int32_t status = image->open(lsu, name); status != 0)
        return status;
    out_image = std::move(image);
    return 0;
}

int32_t DirectoryStore::remove(std::string_view name) {
    if (const int32_t status = remove_image(lsu, name); status != 0)
        return status;
    if (flush_directory(lsu) == 0)
        return 0;
    fail_system(last_system_error(), "%s is deleted, but may come back: the directory could not be flushed",
                QuotedText(lsu.path_of(file_of(name))).c_str());
    // The name is gone: removing it once more would not find it.
    return final_failure(STSIMG_E_OUTCOME_UNKNOWN);
}

int32_t DirectoryStore::list(std::unique_ptr<NameList> &out_names) { return DirectoryNames::open(lsu, out_names); }

}  // namespace stsimage
