#include "journal/writer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "journal/capture.h"
#include "journal/clock.h"
#include "journal/identity.h"
#include "journal/mapped_file.h"
#include "journal/record_buffer.h"
#include "journal/side_files.h"

namespace journal {

namespace {

// Items of `about` and of process records.
class AboutItems {
public:
    void text(About about, const std::string &text) {
        if (!text.empty())
            add(ItemType::text, about, text.data(), text.size());
    }

    void number(About about, uint64_t value) { add(ItemType::number, about, &value, sizeof value); }

    std::string bytes() const { return bytes_; }

private:
    void add(ItemType type, About about, const void *bytes, size_t size) {
        const Item item = {type, static_cast<uint8_t>(about), NO_FIELD, 0, static_cast<uint32_t>(size)};
        bytes_.append(reinterpret_cast<const char *>(&item), sizeof item);
        bytes_.append(static_cast<const char *>(bytes), size);
        bytes_.resize(aligned(bytes_.size()));
    }

    std::string bytes_;
};

std::string own_program() {
    char path[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
    return size > 0 ? std::string(path, static_cast<size_t>(size)) : std::string();
}

// "" when the file cannot be read.
std::string file_hash(const std::string &path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return "";
    std::string hash;
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && status.st_size > 0) {
        const auto size = static_cast<size_t>(status.st_size);
        void *bytes = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
        if (bytes != MAP_FAILED) {
            hash = hash_name(hash_data(bytes, size));
            munmap(bytes, size);
        }
    }
    close(descriptor);
    return hash;
}

std::string describe_process(const Origin &origin) {
    AboutItems items;
    items.text(About::writer, origin.writer);
    items.text(About::program, own_program());
    items.text(About::plugin, origin.plugin);
    if (!origin.plugin.empty())
        items.text(About::plugin_hash, file_hash(origin.plugin));
    items.number(About::seed, origin.seed);
    if (origin.interface_version != 0)
        items.number(About::interface_version, origin.interface_version);
    return items.bytes();
}

// The process's items and the rules, as much of them as fits.
std::string describe_file(const Origin &origin, const std::string &process_items, const std::string &data_directory) {
    constexpr size_t room = HEADER_SIZE - ABOUT_OFFSET;
    AboutItems items;
    items.text(About::data_directory, data_directory);
    std::string about = process_items + items.bytes();
    AboutItems rules;
    const size_t left = room - std::min(room, about.size() + sizeof(Item) + RECORD_ALIGNMENT);
    rules.text(About::rules, origin.rules.substr(0, left));
    about += rules.bytes();
    return about.size() <= room ? about : std::string();
}

}  // namespace

std::unique_ptr<Writer> Writer::open(const WriterOptions &options, const Origin &origin, std::string &error,
                                     int &error_number) {
    watch_forks();
    const uint64_t capacity =
        std::clamp<uint64_t>(options.limit, MIN_CAPACITY, MAX_CAPACITY) & ~uint64_t{RECORD_ALIGNMENT - 1};
    const std::string process_items = describe_process(origin);
    const std::string directory = options.data == DataMode::bytes ? options.path + ".data" : "";
    std::unique_ptr<MappedFile> file = MappedFile::open(
        options.path, {options.mode, capacity, options.fresh, describe_file(origin, process_items, directory)}, error,
        error_number);
    if (!file)
        return nullptr;
    std::unique_ptr<Writer> writer(new Writer(options.path, options.data, std::move(file)));
    writer->process_items_ = process_items;
    writer->put_process(false);
    return writer;
}

Writer::Writer(std::string path, DataMode data, std::unique_ptr<MappedFile> file)
    : path_(std::move(path)),
      data_directory_(path_ + ".data"),
      data_(data),
      file_(std::move(file)),
      known_fork_(fork_count()) {}

Writer::~Writer() = default;

CallNumber Writer::enter(EntryPointNumber number, const uint64_t *arguments) noexcept {
    RecordBuffer record(RecordKind::enter, file_->max_record());
    record.head().entry_point = number;
    const EntryPoint *called = entry_point(number);
    if (called != nullptr && arguments != nullptr)
        capture_before(*called, arguments, {data_, data_directory_}, record);
    return put(record);
}

void Writer::leave(CallNumber call, EntryPointNumber number, const uint64_t *arguments, int32_t status) noexcept {
    const uint64_t now = monotonic_now();  // what follows is not the call's
    RecordBuffer record(RecordKind::leave, file_->max_record());
    record.head().entry_point = number;
    record.head().call = call;
    record.head().status = status;
    record.head().monotonic_ns = now;
    const EntryPoint *called = entry_point(number);
    if (called != nullptr && arguments != nullptr)
        capture_after(*called, arguments, status, {data_, data_directory_}, record);
    put(record);
}

void Writer::log(CallNumber call, int32_t level, std::string_view message) noexcept {
    put_text(RecordKind::log, call, 0, level, message);
}

void Writer::output(CallNumber call, std::string_view bytes) noexcept {
    put_text(RecordKind::output, call, 0, 0, bytes);
}

void Writer::fault(CallNumber call, EntryPointNumber number, uint32_t line, std::string_view effect) noexcept {
    put_text(RecordKind::fault, call, number, static_cast<int32_t>(line), effect);
}

void Writer::rules(std::string_view text) noexcept { put_text(RecordKind::rules, 0, 0, 0, text); }

uint64_t Writer::lost() const noexcept { return file_->lost(); }

// Pieces of a long text: whatever a plug-in prints fits.
void Writer::put_text(RecordKind kind, CallNumber call, EntryPointNumber number, int32_t status,
                      std::string_view text) noexcept {
    const size_t piece = file_->max_record() / 2;
    do {
        RecordBuffer record(kind, file_->max_record());
        record.head().call = call;
        record.head().entry_point = number;
        record.head().status = status;
        record.add_text(0, NO_FIELD, text.size() > piece ? ITEM_CUT : 0, text.substr(0, piece));
        put(record);
        text.remove_prefix(std::min(piece, text.size()));
    } while (!text.empty());
}

void Writer::put_process(bool forked) noexcept {
    RecordBuffer record(RecordKind::process, file_->max_record());
    if (forked) {
        record.head().flags |= RECORD_FORKED;
        record.head().status = getppid();
    }
    record.add_items(process_items_);
    put(record);
}

CallNumber Writer::put(RecordBuffer &record) noexcept {
    const uint32_t fork = fork_count();
    uint32_t known = known_fork_.load(std::memory_order_relaxed);
    if (known != fork && known_fork_.compare_exchange_strong(known, fork))
        put_process(true);
    const Identity who = identity();
    RecordHead &head = record.head();
    head.pid = who.pid;
    head.tid = who.tid;
    head.wall_ns = coarse_wall_now();
    if (head.monotonic_ns == 0)
        head.monotonic_ns = monotonic_now();
    return file_->append(head, record.size());
}

}  // namespace journal
