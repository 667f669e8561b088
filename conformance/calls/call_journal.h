// The journal of a test's calls, where one is kept, and beside it what the test did to the plug-in's surroundings: what is
// needed to make the calls again.
//
// Two files in a directory of their own: calls.stspi, a journal as other programs write them, and surroundings.jsonl, one
// JSON object a line:
//
//     {"calls": 0, "directory": "2f746d70..."}                  the test's own; texts of the test in hexadecimal
//     {"calls": 3, "file": "lab.sim", "text": "4b4559..."}      written after three calls had begun
//     {"calls": 3, "file": "lab.sim", "text": null}             removed
//     {"calls": 4, "before": [[2, "a5a5..."]]}                  what the places for results held before the fourth: argument, bytes
//     {"calls": 4, "library": "stsimg_read_image", "arguments": [...], "lsu": "...", "server": "...", "status": 0,
//      "stored": [[4, "1000000000000000"]]}                      asked during the fourth; what argument 4 leads to then
//     {"calls": 4, "tree": [["7331", "40700", ""]]}             the working directory, where the test has changed it: path, mode,
//                                                               target of a link or bytes of a file
//     {"calls": 9, "made": [...]}                               the working directory in the end
#pragma once

#include <cstdint>
#include <string>

namespace conformance {

constexpr char calls_file[] = "calls.stspi";
constexpr char surroundings_file[] = "surroundings.jsonl";

// From now on, until finish_call_journal(), in the directory record/ of the test's own directory. Not while other threads make calls. Throws
// std::runtime_error.
void start_call_journal(const std::string &test_directory, const std::string &plugin);
void finish_call_journal();

// For those who make recorded calls again, into a journal of their own: what is asked of the image library is noted, and what was
// made, in the directory, which is there; nothing else is. The number is that of the call which begins on this thread.
void start_surroundings(const std::string &directory, const std::string &test_directory);
void set_number_of_call(uint64_t number);

// Notes what the test's working directory holds now, for those who compare two plug-ins.
void note_what_was_made();

// text null: the file was removed.
void note_configuration_step(const std::string &file_name, const std::string *text);

// One call, on any thread. Does nothing where no journal is kept.
class JournalledCall {
public:
    // words: as many as the entry point has arguments, and then some; they outlive this object.
    JournalledCall(const char *entry_point, const uint64_t *words);
    ~JournalledCall();
    JournalledCall(const JournalledCall &) = delete;
    JournalledCall &operator=(const JournalledCall &) = delete;

    void returns(int32_t status) { status_ = status; }

private:
    const char *entry_point_;
    const uint64_t *words_;
    uint64_t call_ = 0;
    int32_t status_ = 0;
};

}  // namespace conformance
