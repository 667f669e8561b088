#include "stsimage/unfinished_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "stsimage/directory_stream.h"
#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/locked_file.h"
#include "stsimage/lsu_directory.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr mode_t unfinished_directory_mode = 0700;
constexpr mode_t file_mode = 0600;

FileDescriptor open_unfinished_directory(const LsuDirectory &lsu) {
    return FileDescriptor(
        openat(lsu.descriptor.get(), unfinished_directory.data(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void remove_unfinished_directory_if_empty(const LsuDirectory &lsu) {
    unlinkat(lsu.descriptor.get(), unfinished_directory.data(), AT_REMOVEDIR);
}

LockedFile lock_existing(int directory, const char *name) { return LockedFile(open_existing_to_lock(directory, name)); }

bool remove_if_abandoned(int directory, const char *name) {
    const LockedFile file = lock_existing(directory, name);
    return file.is_locked() && unlinkat(directory, name, 0) == 0;
}

// The second name of an image that is being replaced where names cannot be exchanged. It is no image's.
std::string name_of_earlier(const std::string &file) { return file + ".old"; }

// Whether these mean that the file system knows no second names, or wants none of this file.
bool refuses_links(int error) {
    return error == EPERM || error == EOPNOTSUPP || error == ENOSYS || error == EINVAL || error == EMLINK;
}

enum class Seen { yes, no, unknown };

bool is_same_file(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

Seen look_whether_names(int directory, const std::string &name, const FileDescriptor &file) {
    struct stat named, open;
    if (fstatat(directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? Seen::no : Seen::unknown;
    if (fstat(file.get(), &open) != 0)
        return Seen::unknown;
    return is_same_file(named, open) ? Seen::yes : Seen::no;
}

bool names_file(int directory, const std::string &name, const FileDescriptor &file) {
    return look_whether_names(directory, name, file) == Seen::yes;
}

// Whether an image may take this name: nothing bears it, or a regular file does.
int32_t check_name_is_free_for_image(const LsuDirectory &lsu, const std::string &file) {
    struct stat state;
    if (fstatat(lsu.descriptor.get(), file.c_str(), &state, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? 0 : fail_system(errno, "cannot look at %s", QuotedText(lsu.path_of(file)).c_str());
    return S_ISREG(state.st_mode)
               ? 0
               : fail(STSIMG_E_NOT_AN_IMAGE, "%s is no regular file", QuotedText(lsu.path_of(file)).c_str());
}

// Whether the writer of the image that has this name now is still closing it: it keeps its lock to the end.
int32_t check_no_writer_is_closing(const LsuDirectory &lsu, const std::string &file) {
    const LockedFile image = lock_existing(lsu.descriptor.get(), file.c_str());
    if (image.is_locked() || (!image.descriptor() && errno == ENOENT))
        return 0;
    const int error = errno;
    const QuotedText path(lsu.path_of(file));
    if (image.descriptor() && error == EWOULDBLOCK)
        return fail(STSIMG_E_BUSY, "%s is still being closed by another writer", path.c_str());
    return fail_system(error, "cannot see whether %s is being written", path.c_str());
}

// Does something with each name, under the lock. Gives 0 or an errno value.
template <class Operation>
int for_each_unfinished(const LsuDirectory &lsu, Operation operation) {
    const FileDescriptor directory = open_unfinished_directory(lsu);
    if (!directory)
        return errno == ENOENT ? 0 : errno;
    const LsuLock lock(lsu);
    if (!lock)
        return lock.error_number();
    DirectoryStream stream(directory);
    while (const dirent *const entry = stream.next())
        operation(directory.get(), entry->d_name);
    remove_unfinished_directory_if_empty(lsu);
    return stream.error();
}

// What stands behind a name among the unfinished files.
Leftover describe_unfinished(std::string_view file) {
    Leftover leftover{LeftoverKind::draft, "", "", ""};
    std::string_view name;
    const std::string suffix = name_of_earlier("");
    if (file.size() > suffix.size() && file.substr(file.size() - suffix.size()) == suffix) {
        leftover.kind = LeftoverKind::deleted;
        file.remove_suffix(suffix.size());
    }
    if (name_of_file(file, name))
        leftover.name = name;
    else
        leftover.kind = LeftoverKind::orphan;
    return leftover;
}

}  // namespace

void clear_abandoned(const LsuDirectory &lsu) { for_each_unfinished(lsu, remove_if_abandoned); }

int find_unfinished(const LsuDirectory &lsu, Disposal disposal, std::vector<Leftover> &out_found) {
    return for_each_unfinished(lsu, [&](int directory, const char *file) {
        struct stat state;
        if (fstatat(directory, file, &state, AT_SYMLINK_NOFOLLOW) != 0)
            return;
        Leftover leftover = describe_unfinished(file);
        leftover.path = lsu.path_of(std::string(unfinished_directory)).append("/").append(file);
        leftover.stored_bytes = static_cast<uint64_t>(state.st_blocks) * 512;
        leftover.in_use = !lock_existing(directory, file).is_locked();
        leftover.removed = disposal == Disposal::remove && remove_if_abandoned(directory, file);
        out_found.push_back(std::move(leftover));
    });
}

UnfinishedFile::~UnfinishedFile() {
    if (!exists || maker != getpid())
        return;
    remove_name(file, data);
    end_writing();
}

int32_t UnfinishedFile::make(const LsuDirectory &new_lsu, const std::string &new_file) {
    lsu = &new_lsu;
    file = new_file;
    maker = getpid();
    const LsuLock lock(*lsu);
    if (lock.status() != 0)
        return lock.status();
    if (const int32_t status = check_name_is_free_for_image(*lsu, file); status != 0)
        return status;
    if (const int32_t status = check_no_writer_is_closing(*lsu, file); status != 0)
        return status;
    const std::string path = lsu->path_of(file);
    if (mkdirat(lsu->descriptor.get(), unfinished_directory.data(), unfinished_directory_mode) != 0 && errno != EEXIST)
        return fail_system(errno, "cannot make the directory of unfinished images in %s",
                           QuotedText(lsu->path).c_str());
    directory = open_unfinished_directory(*lsu);
    if (!directory) {
        const int error = errno;
        remove_unfinished_directory_if_empty(*lsu);
        return fail_system(error, "cannot open the directory of unfinished images in %s",
                           QuotedText(lsu->path).c_str());
    }
    do {
        data = FileDescriptor(openat(directory.get(), file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, file_mode));
    } while (!data && errno == EEXIST && remove_if_abandoned(directory.get(), file.c_str()));
    if (!data) {
        const int error = errno;
        remove_unfinished_directory_if_empty(*lsu);
        if (error == EWOULDBLOCK)
            return fail(STSIMG_E_BUSY, "%s is being written already", QuotedText(path).c_str());
        return fail_system(error, "cannot make the unfinished file of %s", QuotedText(path).c_str());
    }
    exists = true;
    if (!lock_now(data))
        return fail_system(errno, "cannot lock the unfinished file of %s", QuotedText(path).c_str());
    return 0;
}

int32_t UnfinishedFile::publish() {
    if (const int32_t status = flush_data(); status != 0)
        return status;
    Replaced replaced;
    if (const int32_t status = patiently([&] { return take_place(replaced); }); status != 0)
        return unanswered == 0 ? status : tell_it_may_have_its_name();
    if (const int32_t status = flush_directory(*lsu); status != 0)
        return give_place_back(replaced) ? status : tell_it_may_stay();
    exists = false;
    remove_replaced(replaced);
    end_writing();
    return 0;
}

// The directory could not be flushed, and what was there before not be put back for good either: whichever is seen may not last.
int32_t UnfinishedFile::tell_it_may_stay() {
    return fail(STSIMG_E_OUTCOME_UNKNOWN,
                "whether %s or what was there before lasts is not known: the directory could not be flushed",
                QuotedText(lsu->path_of(file)).c_str());
}

// Whatever became of later attempts.
int32_t UnfinishedFile::tell_it_may_have_its_name() {
    fail_system(unanswered, "%s may have got its name or not", QuotedText(lsu->path_of(file)).c_str());
    return STSIMG_E_OUTCOME_UNKNOWN;
}

int32_t UnfinishedFile::flush_data() {
    const QuotedText path(lsu->path_of(file));
    if (fsync(data.get()) != 0)
        return fail_system(errno, "cannot flush the data of %s", path.c_str());
    // Closing can tell of a failure too. A second descriptor is closed for that, since the first one holds the lock.
    const int second = fcntl(data.get(), F_DUPFD_CLOEXEC, 0);
    if (second < 0 || close(second) != 0)
        return fail_system(errno, "cannot close %s", path.c_str());
    return 0;
}

// Puts the file in the place of its image. An earlier image of that name stays within reach, so that it can be put back; it
// is locked meanwhile, lest it be taken for the file of a dead writer.
int32_t UnfinishedFile::take_place(Replaced &out_replaced) {
    const int target = lsu->descriptor.get();
    const QuotedText path(lsu->path_of(file));
    const LsuLock lock(*lsu);
    if (lock.status() != 0)
        return lock.status();
    if (unanswered != 0 && is_in_place())
        return 0;
    out_replaced = Replaced{};
    if (const int32_t status = check_name_is_free_for_image(*lsu, file); status != 0)
        return status;
    const Seen still_there = look_whether_names(directory.get(), file, data);
    if (still_there == Seen::unknown)
        return fail_system(errno, "cannot look at the unfinished file of %s", path.c_str());
    if (still_there == Seen::no)
        return fail(STS_E_SYSTEM, "the unfinished file of %s has been taken away", path.c_str());
    Replaced earlier{lock_existing(target, file.c_str()), EarlierImage::none, name_of_earlier(file)};
    if (!earlier.image.is_locked() && (earlier.image.descriptor() || errno != ENOENT))
        return fail_system(errno, "cannot lock %s to replace it", path.c_str());
    const int32_t status = rename_over(earlier, path);
    if (status == 0 || status == STSIMG_E_OUTCOME_UNKNOWN)
        out_replaced = std::move(earlier);
    else if (earlier.kept == EarlierImage::linked)
        unlinkat(directory.get(), earlier.second_name.c_str(), 0);
    return status;
}

int32_t UnfinishedFile::rename_over(Replaced &earlier, const QuotedText &path) {
    const int target = lsu->descriptor.get();
    if (earlier.image.is_locked()) {
        const int error =
            renameat2(directory.get(), file.c_str(), target, file.c_str(), RENAME_EXCHANGE) == 0 ? 0 : errno;
        if (error != EINVAL && error != ENOSYS) {
            earlier.kept = EarlierImage::exchanged;
            return error == 0 ? 0 : settle_renaming(error, path);
        }
        if (const int32_t status = link_earlier(earlier); status != 0)
            return status;
    }
    return renameat(directory.get(), file.c_str(), target, file.c_str()) == 0 ? 0 : settle_renaming(errno, path);
}

// A file server that failed to answer may have done what it was asked for, or do it yet: what is there now tells. That the name
// is not there may be an old cache's word.
int32_t UnfinishedFile::settle_renaming(int error, const QuotedText &path) {
    const int target = lsu->descriptor.get();
    const Seen in_place = look_whether_names(target, file, data);
    if (in_place == Seen::yes)
        return 0;
    if (in_place == Seen::no && (is_refusal(error) || !is_shared(target)))
        return fail_system(error, "cannot give %s its name", path.c_str());
    unanswered = error;
    fail_system(error, "%s may have got its name or not", path.c_str());
    return STSIMG_E_OUTCOME_UNKNOWN;
}

// Not by looking at the name, as a cache may have it, but by opening what it leads to.
bool UnfinishedFile::is_in_place() const {
    const FileDescriptor named = open_existing_to_lock(lsu->descriptor.get(), file.c_str());
    struct stat there, own;
    return named && fstat(named.get(), &there) == 0 && fstat(data.get(), &own) == 0 && is_same_file(there, own);
}

// Where names cannot be exchanged, a second name keeps the earlier image. One that is there already is a dead writer's.
int32_t UnfinishedFile::link_earlier(Replaced &earlier) {
    const char *const second_name = earlier.second_name.c_str();
    if (unlinkat(directory.get(), second_name, 0) != 0 && errno != ENOENT)
        return fail_system(errno, "cannot remove the old second name of %s", QuotedText(lsu->path_of(file)).c_str());
    if (linkat(lsu->descriptor.get(), file.c_str(), directory.get(), second_name, 0) == 0)
        earlier.kept = EarlierImage::linked;
    else if (refuses_links(errno))
        earlier.kept = EarlierImage::lost;
    else
        return fail_system(errno, "cannot give %s a second name", QuotedText(lsu->path_of(file)).c_str());
    return 0;
}

// Returns whether what was there before is there again, and lasts.
bool UnfinishedFile::give_place_back(const Replaced &replaced) {
    const LsuLock lock(*lsu);
    if (!lock)
        return false;
    const int target = lsu->descriptor.get();
    const Seen in_place = look_whether_names(target, file, data);
    if (in_place != Seen::yes)
        return in_place == Seen::no;  // the image has been deleted or replaced meanwhile
    bool restored = false;
    switch (replaced.kept) {
        case EarlierImage::none:
            restored = unlinkat(target, file.c_str(), 0) == 0;
            break;
        case EarlierImage::exchanged:
            restored = renameat2(directory.get(), file.c_str(), target, file.c_str(), RENAME_EXCHANGE) == 0;
            break;
        case EarlierImage::linked:
            restored = names_file(directory.get(), replaced.second_name, replaced.image.descriptor()) &&
                       renameat(directory.get(), replaced.second_name.c_str(), target, file.c_str()) == 0;
            break;
        case EarlierImage::lost:
            break;  // the new one is all there is
    }
    return restored && fsync(target) == 0;
}

void UnfinishedFile::remove_replaced(const Replaced &replaced) {
    if (replaced.kept == EarlierImage::linked)
        remove_name(replaced.second_name, replaced.image.descriptor());
    else
        remove_name(file, replaced.image.descriptor());
}

// Removes the name if it is still that of the given file: once published, it is free for another writer. Without the lock
// the name is left; clearing finds it later.
void UnfinishedFile::remove_name(const std::string &name, const FileDescriptor &unwanted) {
    const LsuLock lock(*lsu);
    if (!lock)
        return;
    if (unwanted && names_file(directory.get(), name, unwanted))
        unlinkat(directory.get(), name.c_str(), 0);
    remove_unfinished_directory_if_empty(*lsu);
}

// Closing alone might not end the lock: a process that was just forked may hold the descriptor, until it runs a program.
void UnfinishedFile::end_writing() { flock(data.get(), LOCK_UN); }

}  // namespace stsimage
