// Writes a journal: any number of threads and processes at once into one mapped file.
//
// No call throws, locks, changes errno, or fails: a record that finds no room is counted as lost. Records are in the page
// cache when a call returns, so they outlive the process, however it ends. Nobody may truncate the file while it is
// written; it may be renamed and deleted.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "journal/entry_points.h"
#include "journal/format.h"

namespace journal {

class MappedFile;
class RecordBuffer;

// What is kept of the bytes that are written and read.
enum class DataMode : uint8_t {
    size,  // how many
    hash,  // and their xxh128
    bytes  // and they themselves, in a file named by the hash in the directory PATH.data
};

struct WriterOptions {
    std::string path;
    uint64_t limit = 64 << 20;  // bytes for records: a ring's size, or where a growing journal stops
    Mode mode = Mode::ring;
    DataMode data = DataMode::hash;
    bool fresh = false;  // a new journal in place of an existing one. Otherwise an existing one is continued, with its
                         // own limit and mode
};

// Who writes, for the journal's head. Empty texts are left out.
struct Origin {
    std::string writer;  // "stspi_filter 0.1.0"
    std::string plugin;  // path; its hash is taken here
    std::string rules;   // text of the rule file
    uint64_t seed = 0;
    uint64_t interface_version = 0;  // 0: not known yet
};

// Names a call for the records inside it; 0 for one whose entering record was lost.
using CallNumber = uint64_t;

class Writer {
public:
    // Null when the file cannot be made, mapped or continued; error then says why, with the path, and error_number holds
    // the errno (EINVAL for a file that is no journal, ENOSPC for a full disk).
    static std::unique_ptr<Writer> open(const WriterOptions &options, const Origin &origin, std::string &error,
                                        int &error_number);
    ~Writer();
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // A call begins. arguments: one 64-bit word each, as in its register or on the stack, as many as the entry point's
    // argument_count; may be null for an entry point without fixed arguments. What the callee is documented to read is
    // read; everything else is read only after asking the system whether it is there.
    CallNumber enter(EntryPointNumber entry_point, const uint64_t *arguments) noexcept;

    // The same call ends, with the same words.
    void leave(CallNumber call, EntryPointNumber entry_point, const uint64_t *arguments, int32_t status) noexcept;

    // Inside a call, or outside of one with 0: a message of the plug-in's, standard output of the plug-in's, a rule that
    // fired (line: of the rule, from 1; effect: "answer STS_E_SYSTEM").
    void log(CallNumber call, int32_t level, std::string_view message) noexcept;
    void output(CallNumber call, std::string_view bytes) noexcept;
    void fault(CallNumber call, EntryPointNumber entry_point, uint32_t line, std::string_view effect) noexcept;

    // The rules have changed.
    void rules(std::string_view text) noexcept;

    // Records that found no room, of all processes.
    uint64_t lost() const noexcept;

    const std::string &path() const { return path_; }

private:
    Writer(std::string path, DataMode data, std::unique_ptr<MappedFile> file);

    CallNumber put(RecordBuffer &record) noexcept;
    void put_process(bool forked) noexcept;
    void put_text(RecordKind kind, CallNumber call, EntryPointNumber entry_point, int32_t status,
                  std::string_view text) noexcept;

    std::string path_;
    std::string data_directory_;
    DataMode data_;
    std::string process_items_;  // payload of this process's process records
    std::unique_ptr<MappedFile> file_;
    std::atomic<uint32_t> known_fork_;
};

}  // namespace journal
