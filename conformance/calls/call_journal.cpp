#include "conformance/calls/call_journal.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "base/hexadecimal.h"
#include "conformance/calls/configuration.h"
#include "conformance/calls/image_calls.h"
#include "conformance/watch/call_note.h"
#include "conformance/watch/log_recorder.h"
#include "conformance/watch/standard_output.h"
#include "journal/readable_memory.h"
#include "journal/writer.h"
#include "stspi/stsimg.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t longest_journal = uint64_t{256} << 20;
constexpr uint64_t most_data_kept = uint64_t{16} << 20;  // of one read

std::unique_ptr<journal::Writer> writer;
int surroundings = -1;
std::atomic<uint64_t> calls_begun{0};
thread_local uint64_t number_of_call = 0;
thread_local journal::CallNumber call_in_journal = 0;
off_t output_noted = 0;
std::atomic<int> calls_running{0};
nlohmann::json tree_after_call = nlohmann::json::array();

// One write a line, so that threads do not mix theirs.
void note(const nlohmann::json &line) {
    const std::string text = line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
    if (write(surroundings, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        std::abort();
}

void note_message(int32_t level, const char *text) { writer->log(call_in_journal, level, text); }

// What a function of the image library stores through its arguments.
struct Output {
    const char *function;
    size_t argument;
    size_t size;  // 0: of read data, as much as the count at argument 4 says
};
constexpr Output outputs[] = {{"stsimg_create_image", 5, sizeof(uint64_t)},
                              {"stsimg_open_image", 5, sizeof(uint64_t)},
                              {"stsimg_open_image_list", 4, sizeof(uint64_t)},
                              {"stsimg_write_image", 5, sizeof(uint64_t)},
                              {"stsimg_read_image", 4, sizeof(uint64_t)},
                              {"stsimg_read_image", 1, 0},
                              {"stsimg_get_image_prop_byname", 4, sizeof(sts_image_info_t)},
                              {"stsimg_get_image_prop", 1, sizeof(sts_image_info_t)},
                              {"stsimg_list_image", 1, sizeof(sts_image_definition_t)}};

// What stands in the registers behind them is left over from anything.
size_t argument_count(const std::string &function) {
    static const std::map<std::string, size_t> counts = {
        {"stsimg_terminate", 0},        {"stsimg_init", 1},        {"stsimg_close_image", 1},
        {"stsimg_close_image_list", 1}, {"stsimg_list_image", 2},  {"stsimg_get_image_prop", 2},
        {"stsimg_delete_image", 5},     {"stsimg_read_image", 5},  {"stsimg_get_image_prop_byname", 5},
        {"stsimg_open_image_list", 5},  {"stsimg_write_image", 6}, {"stsimg_create_image", 6},
        {"stsimg_open_image", 6}};
    const auto found = counts.find(function);
    return found == counts.end() ? 6 : found->second;
}

// Empty when they cannot be read: tests hand on numbers in the place of pointers.
std::string bytes_at(uint64_t word, size_t size) {
    const auto *memory = reinterpret_cast<const char *>(word);  // NOLINT(performance-no-int-to-ptr)
    return size != 0 && journal::is_readable(memory, size) ? std::string(memory, size) : "";
}

size_t size_of(const Output &output, const ImageCall &call) {
    if (output.size != 0)
        return output.size;
    uint64_t count = 0;
    if (const std::string bytes = bytes_at(call.arguments[4], sizeof count); !bytes.empty())
        std::memcpy(&count, bytes.data(), sizeof count);
    return static_cast<size_t>(std::min({count, call.arguments[2], most_data_kept}));
}

// Pointers lead elsewhere each time: only what cannot be one is told.
nlohmann::json shown_word(uint64_t word) {
    if (bytes_at(word, 1).empty())
        return word;
    return "address";
}

int32_t note_library_call(const ImageCall &call, const std::function<int32_t(const ImageCall &)> &answer) {
    auto arguments = nlohmann::json::array();
    for (size_t i = 0; i < argument_count(call.function); ++i)
        arguments.push_back(shown_word(call.arguments[i]));
    const int32_t status = answer ? answer(call) : 0;
    auto stored = nlohmann::json::array();
    // Without an answer of the test's nothing is stored.
    for (const Output &output : outputs)
        if (answer && call.function == output.function)
            if (const std::string bytes = bytes_at(call.arguments[output.argument], size_of(output, call));
                !bytes.empty())
                stored.push_back({output.argument, in_hexadecimal(bytes)});
    note({{"calls", number_of_call},
          {"library", call.function},
          {"arguments", arguments},
          {"lsu", in_hexadecimal(call.lsu_text)},
          {"server", in_hexadecimal(call.server_name)},
          {"status", status},
          {"stored", stored}});
    return status;
}

size_t size_of(const journal::Argument &argument) {
    switch (argument.kind) {
        case journal::ArgumentKind::out_handle:
        case journal::ArgumentKind::out_number:
            return sizeof(uint64_t);
        case journal::ArgumentKind::out_text:
            return argument.text_size;
        case journal::ArgumentKind::out_record:
            return argument.record->size;
        default:
            return 0;
    }
}

// What the places for results hold: a call may leave it there.
void note_places_for_results(const journal::EntryPoint &called, const uint64_t *words, uint64_t number) {
    auto before = nlohmann::json::array();
    for (size_t i = 0; i < called.argument_count; ++i)
        if (const std::string bytes = bytes_at(words[i], size_of(called.arguments[i])); !bytes.empty())
            before.push_back({i, in_hexadecimal(bytes)});
    if (!before.empty())
        note({{"calls", number}, {"before", before}});
}

// The working directory, each thing behind the directory that it is in.
nlohmann::json tree_of(const std::string &root) {
    constexpr size_t longest_file = 65536;
    std::map<std::string, fs::path> found;
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(root, fs::directory_options::skip_permission_denied, error);
         it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (error)
            break;
        found[it->path().lexically_relative(root).string()] = it->path();
    }
    auto tree = nlohmann::json::array();
    for (const auto &[name, path] : found) {
        struct stat status {};
        lstat(path.c_str(), &status);
        std::string content;
        if (S_ISLNK(status.st_mode)) {
            content = fs::read_symlink(path, error).string();
        } else if (S_ISREG(status.st_mode)) {
            std::ifstream file(path, std::ios::binary);
            content.assign(std::istreambuf_iterator<char>(file), {});
            content.resize(std::min(content.size(), longest_file));
        }
        tree.push_back({in_hexadecimal(name), fmt::format("{:o}", status.st_mode), in_hexadecimal(content)});
    }
    return tree;
}

// While several threads call, whose change it is cannot be told.
void note_changes_of_the_test() {
    if (!is_noted_thread() || calls_running.load() != 0)
        return;
    auto now = tree_of(work_directory());
    if (now != tree_after_call)
        note({{"calls", calls_begun.load()}, {"tree", now}});
    tree_after_call = std::move(now);
}

// What the call printed, without taking it from the test.
void note_output() {
    const std::string text = output_since(output_noted);
    if (!text.empty())
        writer->output(call_in_journal, text);
}

}  // namespace

void start_surroundings(const std::string &directory, const std::string &test_directory) {
    const std::string path = directory + "/" + surroundings_file;
    surroundings = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (surroundings < 0)
        throw std::runtime_error(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    note({{"calls", 0}, {"directory", in_hexadecimal(test_directory)}});
    images().watch = note_library_call;
}

void set_number_of_call(uint64_t number) {
    number_of_call = number;
    uint64_t begun = calls_begun;
    while (begun < number && !calls_begun.compare_exchange_weak(begun, number)) {
    }
}

void start_call_journal(const std::string &test_directory, const std::string &plugin) {
    const std::string directory = test_directory + "/record";
    fs::create_directories(directory);
    journal::WriterOptions options;
    options.path = directory + "/" + calls_file;
    options.limit = longest_journal;
    options.mode = journal::Mode::growing;
    options.data = journal::DataMode::bytes;
    options.fresh = true;
    std::string error;
    int number = 0;
    writer = journal::Writer::open(options, {"stspi-conformance", plugin, "", 0, 9}, error, number);
    if (!writer)
        throw std::runtime_error(error);
    calls_begun = 0;
    tree_after_call = nlohmann::json::array();
    start_surroundings(directory, test_directory);
    output_noted = 0;
    set_message_listener(note_message);
}

void finish_call_journal() {
    if (!writer)
        return;
    set_message_listener(nullptr);
    images().watch = nullptr;
    writer.reset();
    close(surroundings);
    surroundings = -1;
}

void note_what_was_made() {
    if (surroundings >= 0)
        note({{"calls", calls_begun.load()}, {"made", tree_of(work_directory())}});
}

void note_configuration_step(const std::string &file_name, const std::string *text) {
    if (!writer)
        return;
    nlohmann::json line = {{"calls", calls_begun.load()}, {"file", in_hexadecimal(file_name)}, {"text", nullptr}};
    if (text != nullptr)
        line["text"] = in_hexadecimal(*text);
    note(line);
}

JournalledCall::JournalledCall(const char *entry_point, const uint64_t *words)
    : entry_point_(entry_point), words_(words) {
    if (!writer)
        return;
    const journal::EntryPointNumber number = journal::find_entry_point(entry_point);
    if (number == journal::ENTRY_POINT_NUMBERS)
        return;
    note_changes_of_the_test();
    ++calls_running;
    const uint64_t own_number = ++calls_begun;
    note_places_for_results(*journal::entry_point(number), words, own_number);
    call_ = writer->enter(number, words);
    number_of_call = own_number;
    call_in_journal = call_;
}

JournalledCall::~JournalledCall() {
    if (!writer || call_in_journal == 0)
        return;
    note_output();
    // A call that ends by an exception has no status: its record stays open.
    if (std::uncaught_exceptions() == 0)
        writer->leave(call_, journal::find_entry_point(entry_point_), words_, status_);
    call_in_journal = 0;
    if (--calls_running == 0 && is_noted_thread())
        tree_after_call = tree_of(work_directory());
}

}  // namespace conformance
