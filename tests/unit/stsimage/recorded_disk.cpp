#include "tests/unit/stsimage/recorded_disk.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "tests/support/next_function.h"

namespace {

constexpr uint64_t sector = 512;

RecordedDisk *present = nullptr;

RecordedDisk *recording() { return present != nullptr && present->is_recording() ? present : nullptr; }

// What a chance decides about all that was not flushed.
enum class Kept { nothing, everything, first_ones, any };

}  // namespace

struct RecordedDisk::State {
    std::map<size_t, std::map<std::string, size_t>> directories;
    std::map<size_t, std::string> files;
};

RecordedDisk::RecordedDisk(const std::filesystem::path &root, const Traits &its_traits) : traits(its_traits) {
    const int file = NEXT(open)(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0 || present != nullptr)
        throw std::runtime_error("cannot record what is done to " + root.string());
    add_node(file, true);
    present = this;
}

RecordedDisk::~RecordedDisk() {
    present = nullptr;
    for (const Node &node : nodes)
        NEXT(close)(node.kept_open);
}

void RecordedDisk::end() { records = false; }

std::optional<size_t> RecordedDisk::node_of(int file) const {
    struct stat state;
    if (NEXT(fstat)(file, &state) != 0)
        return std::nullopt;
    const auto found =
        std::find_if(nodes.begin(), nodes.end(), [&](const Node &node) { return node.number == state.st_ino; });
    return found == nodes.end() ? std::nullopt : std::optional<size_t>(found - nodes.begin());
}

size_t RecordedDisk::add_node(int kept_open, bool is_directory) {
    struct stat state;
    if (kept_open < 0 || NEXT(fstat)(kept_open, &state) != 0)
        throw std::runtime_error("cannot keep what was made in sight");
    nodes.push_back({kept_open, state.st_ino, is_directory});
    return nodes.size() - 1;
}

std::optional<RecordedDisk::Place> RecordedDisk::place(int directory, const char *name) const {
    const std::optional<size_t> node = node_of(directory);
    if (!node)
        return std::nullopt;
    Place found{*node, name, std::nullopt};
    const int named = NEXT(openat)(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (named >= 0) {
        found.node = node_of(named);
        NEXT(close)(named);
    }
    return found;
}

void RecordedDisk::note_write(int file, const void *data, size_t length, uint64_t place) {
    if (const std::optional<size_t> node = node_of(file))
        operations.push_back({Kind::write, *node, place, std::string(static_cast<const char *>(data), length), {}});
}

void RecordedDisk::note_cut(int file, uint64_t size) {
    if (const std::optional<size_t> node = node_of(file))
        operations.push_back({Kind::cut, *node, size, {}, {}});
}

void RecordedDisk::note_flush(int file) {
    if (const std::optional<size_t> node = node_of(file))
        operations.push_back({Kind::flush, *node, 0, {}, {}});
}

void RecordedDisk::note_names(std::vector<Place> changed) {
    operations.push_back({Kind::names, 0, 0, {}, std::move(changed)});
}

void RecordedDisk::note_made(int directory, const char *name, int made) {
    const std::optional<size_t> parent = node_of(directory);
    if (parent && !node_of(made))
        note_names({{*parent, name, add_node(NEXT(fcntl)(made, F_DUPFD_CLOEXEC, 0), false)}});
}

void RecordedDisk::note_made_directory(int directory, const char *name) {
    if (const std::optional<size_t> parent = node_of(directory))
        note_names(
            {{*parent, name, add_node(NEXT(openat)(directory, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC), true)}});
}

// What is done to a file or a directory lasts once it has been flushed.
bool RecordedDisk::is_flushed(size_t node, size_t number, size_t point) const {
    const auto at = [&](size_t place) { return operations.begin() + static_cast<std::ptrdiff_t>(place); };
    return std::any_of(at(number + 1), at(std::max(point, number + 1)),
                       [&](const Operation &later) { return later.kind == Kind::flush && later.node == node; });
}

void RecordedDisk::apply(const Operation &operation, State &state, const Chance *tearing) {
    std::string &content = state.files[operation.node];
    switch (operation.kind) {
        case Kind::write:
            if (content.size() < operation.place + operation.data.size())
                content.resize(operation.place + operation.data.size());
            for (uint64_t done = 0; done < operation.data.size();) {
                const uint64_t length =
                    std::min(sector - (operation.place + done) % sector, operation.data.size() - done);
                if (tearing == nullptr || (*tearing)() % 2 != 0)
                    content.replace(operation.place + done, length, operation.data, done, length);
                done += length;
            }
            break;
        case Kind::cut:
            content.resize(operation.place);
            break;
        case Kind::names:
            for (const Place &name : operation.names)
                if (name.node)
                    state.directories[name.directory][name.name] = *name.node;
                else
                    state.directories[name.directory].erase(name.name);
            break;
        case Kind::flush:
            break;
    }
}

void RecordedDisk::leave(size_t point, const Chance &chance, const std::filesystem::path &target) const {
    State state;
    std::vector<Kept> of_node;
    for (size_t node = 0; node < nodes.size(); ++node)
        of_node.push_back(static_cast<Kept>(chance() % 4));
    const size_t first_ones = chance() % (point + 1);
    const auto apply_perhaps = [&](size_t number, size_t node, const Operation &operation) {
        const uint32_t coin = chance() % 3;
        const Kept kept = is_flushed(node, number, point) ? Kept::everything : of_node[node];
        if (kept == Kept::everything || (kept == Kept::first_ones && number < first_ones))
            apply(operation, state);
        else if (kept == Kept::any && coin != 0)
            apply(operation, state, coin == 1 ? &chance : nullptr);
    };
    for (size_t number = 0; number < point; ++number) {
        const Operation &operation = operations[number];
        if (operation.kind != Kind::names)
            apply_perhaps(number, operation.node, operation);
        for (const Place &name : operation.names)
            apply_perhaps(number, name.directory, {Kind::names, 0, 0, {}, {name}});
    }
    lay(state, 0, target);
}

void RecordedDisk::lay_all(const std::filesystem::path &target) const {
    State state;
    for (const Operation &operation : operations)
        apply(operation, state);
    lay(state, 0, target);
}

void RecordedDisk::lay(const State &state, size_t node, const std::filesystem::path &target) const {
    const auto found = state.directories.find(node);
    if (found == state.directories.end())
        return;
    for (const auto &[name, child] : found->second) {
        const std::filesystem::path path = target / name;
        if (nodes[child].is_directory) {
            std::filesystem::create_directory(path);
            lay(state, child, path);
            continue;
        }
        const int file = NEXT(open)(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        const auto content = state.files.find(child);
        const std::string bytes = content == state.files.end() ? "" : content->second;
        if (file < 0 || NEXT(pwrite)(file, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("cannot write " + path.string());
        NEXT(close)(file);
    }
}

extern "C" {

int openat(int directory, const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
    va_end(arguments);
    const int file = NEXT(openat)(directory, path, flags, mode);
    if (recording() != nullptr && file >= 0 && (flags & O_CREAT) != 0)
        recording()->note_made(directory, path, file);
    return file;
}

int mkdirat(int directory, const char *path, mode_t mode) {
    const int result = NEXT(mkdirat)(directory, path, mode);
    if (recording() != nullptr && result == 0)
        recording()->note_made_directory(directory, path);
    return result;
}

ssize_t pwrite(int file, const void *data, size_t length, off_t offset) {
    const ssize_t written = NEXT(pwrite)(file, data, length, offset);
    if (recording() != nullptr && written > 0)
        recording()->note_write(file, data, static_cast<size_t>(written), static_cast<uint64_t>(offset));
    return written;
}

int ftruncate(int file, off_t length) noexcept {
    const int result = NEXT(ftruncate)(file, length);
    if (recording() != nullptr && result == 0)
        recording()->note_cut(file, static_cast<uint64_t>(length));
    return result;
}

int fsync(int file) {
    const int result = NEXT(fsync)(file);
    if (recording() != nullptr && result == 0)
        recording()->note_flush(file);
    return result;
}

int renameat2(int from, const char *old_path, int to, const char *new_path, unsigned int flags) noexcept {
    if (present != nullptr && !present->traits.exchanges_names && (flags & RENAME_EXCHANGE) != 0) {
        errno = EINVAL;
        return -1;
    }
    auto left = recording() == nullptr ? std::nullopt : recording()->place(from, old_path);
    auto right = recording() == nullptr ? std::nullopt : recording()->place(to, new_path);
    const int result = NEXT(renameat2)(from, old_path, to, new_path, flags);
    if (left && right && result == 0) {
        std::swap(left->node, right->node);
        if ((flags & RENAME_EXCHANGE) == 0)
            left->node.reset();
        recording()->note_names({*left, *right});
    }
    return result;
}

int renameat(int from, const char *old_path, int to, const char *new_path) noexcept {
    return renameat2(from, old_path, to, new_path, 0);
}

int linkat(int from, const char *old_path, int to, const char *new_path, int flags) noexcept {
    const auto source = recording() == nullptr ? std::nullopt : recording()->place(from, old_path);
    auto target = recording() == nullptr ? std::nullopt : recording()->place(to, new_path);
    const int result = NEXT(linkat)(from, old_path, to, new_path, flags);
    if (source && target && result == 0) {
        target->node = source->node;
        recording()->note_names({*target});
    }
    return result;
}

int unlinkat(int directory, const char *path, int flags) noexcept {
    auto place = recording() == nullptr ? std::nullopt : recording()->place(directory, path);
    const int result = NEXT(unlinkat)(directory, path, flags);
    if (place && result == 0) {
        place->node.reset();
        recording()->note_names({*place});
    }
    return result;
}

// Sharing what is stored would be one more thing to record.
int ioctl(int file, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    if (recording() != nullptr && request == FICLONE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return NEXT(ioctl)(file, request, argument);
}

int fstatfs(int file, struct statfs *state) noexcept {
    const int result = NEXT(fstatfs)(file, state);
    if (present != nullptr && present->traits.kind)
        state->f_type = *present->traits.kind;
    return result;
}

}  // extern "C"
