#include "conformance/replay/replayed_test.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>

#include "conformance/calls/call_journal.h"
#include "conformance/calls/configuration.h"
#include "conformance/calls/image_calls.h"
#include "conformance/replay/recorded_test.h"
#include "conformance/run/surroundings.h"
#include "journal/read_error.h"
#include "journal/readable_memory.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

// The test's own directory, under the name that it had: paths are part of what is compared.
class DirectoryAgain {
public:
    explicit DirectoryAgain(const std::string &path) : path_(path), first_made_(path) {
        while (!fs::exists(first_made_.parent_path()))
            first_made_ = first_made_.parent_path();
        if (fs::exists(path))
            throw std::runtime_error(
                fmt::format("{} is there already: the test worked in it, and its calls need it anew", path));
        std::error_code error;
        for (const char *name : {"/etc", "/work", "/record"})
            fs::create_directories(path + name, error);
        if (error)
            throw std::runtime_error(fmt::format("cannot make {}: {}", path, error.message()));
        for (const char *name : {"", "/etc", "/work"})
            chmod((path + name).c_str(), 0777);
    }
    ~DirectoryAgain() {
        std::error_code error;
        fs::remove_all(first_made_, error);
    }
    DirectoryAgain(const DirectoryAgain &) = delete;
    DirectoryAgain &operator=(const DirectoryAgain &) = delete;

private:
    std::string path_;
    fs::path first_made_;
};

void write_bytes(const std::string &path, const std::string &bytes) {
    unlink(path.c_str());
    std::ofstream file(path, std::ios::binary);
    file << bytes;
}

void make_tree(const std::string &root, const Tree &tree) {
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(root, error))
        fs::remove_all(entry.path(), error);
    for (const TreeEntry &one : tree) {
        const std::string path = root + "/" + one.path;
        if (S_ISLNK(one.mode))
            fs::create_symlink(one.content, path, error);
        else if (S_ISDIR(one.mode))
            fs::create_directory(path, error);
        else if (S_ISREG(one.mode))
            write_bytes(path, one.content);
    }
    // Last, and what is inside first: not every mode lets things be made.
    for (auto one = tree.rbegin(); one != tree.rend(); ++one)
        if (!S_ISLNK(one->mode))
            chmod((root + "/" + one->path).c_str(), one->mode & 07777);
}

thread_local size_t number_of_step = 0;
thread_local size_t answers_given = 0;

void store(uint64_t word, const std::string &bytes) {
    auto *place = reinterpret_cast<char *>(word);  // NOLINT(performance-no-int-to-ptr)
    if (journal::is_readable(place, bytes.size()))
        std::copy(bytes.begin(), bytes.end(), place);
}

// In the process that makes the calls.
class Stage {
public:
    Stage(const Surroundings &recorded, const RecordedSession &session, std::string again)
        : recorded_(recorded), session_(session), again_(std::move(again)) {}

    void prepare() {
        prepare_test_process();
        if (chdir((recorded_.directory + "/work").c_str()) != 0)
            throw std::runtime_error("the test's directory is gone");
        set_work_directory(recorded_.directory + "/work");
        load_image_double();
        images().answer = [this](const ImageCall &call) { return answer(call); };
        start_surroundings(again_, recorded_.directory);
    }

    void before(size_t step, const uint64_t *words) {
        if (const auto found = recorded_.before.find(step + 1); found != recorded_.before.end())
            for (const auto &[argument, bytes] : found->second)
                if (!holds_handle(step, argument, words[argument]))
                    store(words[argument], bytes);
        const std::lock_guard lock(mutex_);
        if (!is_made_noted_ && recorded_.made && recorded_.made_calls <= step) {
            note_what_was_made();
            is_made_noted_ = true;
        }
        number_of_step = step + 1;
        answers_given = 0;
        set_number_of_call(number_of_step);
        for (; next_ < recorded_.steps.size() && recorded_.steps[next_].calls <= step; ++next_)
            make(recorded_.steps[next_]);
    }

    // When all calls have been made.
    void finish() const {
        if (!is_made_noted_ && recorded_.made)
            note_what_was_made();
    }

private:
    // As it is now, where the test's variable held one of before.
    bool holds_handle(size_t step, size_t argument, uint64_t word) const {
        const journal::EntryPoint &called = *journal::entry_point(session_.steps[step].entry_point);
        if (called.arguments[argument].kind != journal::ArgumentKind::out_handle)
            return false;
        const auto *place = reinterpret_cast<const uint64_t *>(word);  // NOLINT(performance-no-int-to-ptr)
        return journal::is_readable(place, sizeof *place) && *place != 0;
    }

    void make(const SurroundingStep &step) const {
        const std::string path = recorded_.directory + "/etc/" + step.file;
        if (step.tree)
            make_tree(recorded_.directory + "/work", *step.tree);
        else if (step.text)
            write_bytes(path, *step.text);
        else
            unlink(path.c_str());
    }

    int32_t answer(const ImageCall &call) const {
        const auto found = recorded_.answers.find(number_of_step);
        if (found == recorded_.answers.end() || answers_given >= found->second.size())
            return 0;
        const LibraryAnswer &recorded = found->second[answers_given++];
        if (recorded.function != call.function)
            return 0;
        for (const auto &[argument, bytes] : recorded.stored)
            if (argument < call.arguments.size())
                store(call.arguments[argument], bytes);
        return recorded.status;
    }

    const Surroundings &recorded_;
    const RecordedSession &session_;
    std::string again_;
    std::mutex mutex_;
    size_t next_ = 0;
    bool is_made_noted_ = false;
};

}  // namespace

ReplayOutcome replay_test(const std::string &recorded, const std::string &plugin, std::chrono::milliseconds time_limit,
                          ReplayPace pace, const std::string &again) {
    const Surroundings surroundings = read_surroundings(recorded);
    uint64_t left_out = 0;
    RecordedSession session;
    try {
        session = read_recorded_calls(recorded + "/" + calls_file, left_out);
    } catch (const journal::ReadError &error) {
        throw std::runtime_error(error.what());
    }
    const DirectoryAgain directory(surroundings.directory);
    fs::create_directories(again);
    Stage stage(surroundings, session, again);
    ReplaySettings settings;
    settings.plugin = plugin;
    settings.config_dir = surroundings.directory + "/etc";
    settings.pace = pace;
    settings.time_limit = time_limit;
    settings.prepare = [&] { stage.prepare(); };
    settings.before_step = [&](size_t step, const uint64_t *words) { stage.before(step, words); };
    settings.finish = [&] { stage.finish(); };
    ReplayOutcome outcome =
        replay_calls(session, std::vector<bool>(session.steps.size(), true), settings, again + "/" + calls_file);
    if (outcome.end == ReplayOutcome::End::failed)
        throw std::runtime_error(fmt::format("the calls cannot be made again: {}", outcome.reason));
    return outcome;
}

}  // namespace conformance
