// What the image library did to the files below a directory, and what a power cut at any point may leave of it.
//
// The program defines the C library's functions itself, as for failing_calls.h. A power cut keeps what was flushed. Of what was not, it may
// keep any writes, in parts of a sector, and any changes of names, of one that is moved either side. That is more than file systems with
// a journal would ever do.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What a file system can do, or is.
struct Traits {
    bool exchanges_names = true;
    std::optional<long> kind;  // as in statfs(2); the real one otherwise
};

using Chance = std::function<uint32_t()>;

// What is done below the directory is recorded, and every file system of the process has these traits, while this lives. One at a time.
class RecordedDisk {
public:
    RecordedDisk(const std::filesystem::path &root, const Traits &traits);
    ~RecordedDisk();
    RecordedDisk(const RecordedDisk &) = delete;
    RecordedDisk &operator=(const RecordedDisk &) = delete;

    // Nothing is recorded any more.
    void end();

    // The number of changes and flushes so far: points in time are 0 to this.
    size_t now() const { return operations.size(); }

    // Lays what a power cut at a point may leave into an empty directory. The same numbers leave the same.
    void leave(size_t point, const Chance &chance, const std::filesystem::path &target) const;

    // The same for what is there when all has been flushed: what lies below the root itself, if nothing was missed.
    void lay_all(const std::filesystem::path &target) const;

    // For the functions that take the C library's place.
    const Traits traits;
    bool is_recording() const { return records; }
    void note_write(int file, const void *data, size_t length, uint64_t place);
    void note_cut(int file, uint64_t size);
    void note_flush(int file);
    void note_made(int directory, const char *name, int made);
    void note_made_directory(int directory, const char *name);
    void note_linked(int from, const char *old_name, int to, const char *new_name);
    // Two names that are exchanged, or one that is moved, are one change.
    struct Place {
        size_t directory = 0;
        std::string name;
        std::optional<size_t> node;
    };
    std::optional<Place> place(int directory, const char *name) const;
    void note_names(std::vector<Place> changed);

private:
    enum class Kind { write, cut, names, flush };
    struct Operation {
        Kind kind;
        size_t node;
        uint64_t place;  // of a write; the size of a cut
        std::string data;
        std::vector<Place> names;  // as they are afterwards
    };
    struct State;

    std::optional<size_t> node_of(int file) const;
    size_t add_node(int kept_open, bool is_directory);
    bool is_flushed(size_t node, size_t number, size_t point) const;
    static void apply(const Operation &operation, State &state, const Chance *tearing = nullptr);
    void lay(const State &state, size_t node, const std::filesystem::path &target) const;

    struct Node {
        int kept_open;  // so that no other file gets its number
        uint64_t number;
        bool is_directory;
    };
    bool records = true;
    std::vector<Node> nodes;
    std::vector<Operation> operations;
};
