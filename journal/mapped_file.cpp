#include "journal/mapped_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "journal/clock.h"

namespace journal {

namespace {

constexpr uint64_t ALLOCATION_STEP = 4 << 20;
constexpr uint64_t SMALL_ALLOCATION_STEP = 1 << 16;
constexpr uint64_t RETRY_AFTER_NS = 1000000000;

struct Descriptor {
    int number = -1;
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
};

struct Failure {
    std::string what;
    int number;
};

// Beyond the limit of file sizes the system would send SIGXFSZ, which ends a process that does not expect it.
bool within_size_limit(uint64_t size) noexcept {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY || size <= limit.rlim_cur;
}

int give_room(int descriptor, uint64_t begin, uint64_t end) noexcept {
    if (!within_size_limit(end))
        return EFBIG;
    int result = 0;
    do
        result = fallocate(descriptor, 0, static_cast<off_t>(begin), static_cast<off_t>(end - begin));
    while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

// Where the file system cannot set room aside, only zeros that are really written keep it.
int write_zeros(int descriptor, uint64_t begin, uint64_t end) {
    const std::vector<char> zeros(1 << 16);
    while (begin < end) {
        const ssize_t written =
            pwrite(descriptor, zeros.data(), std::min<uint64_t>(zeros.size(), end - begin), static_cast<off_t>(begin));
        if (written < 0 && errno != EINTR)
            return errno;
        if (written > 0)
            begin += static_cast<uint64_t>(written);
    }
    return 0;
}

// A writer that was stopped for a whole round of a ring may still be writing where another one is: no order between the
// two, so each word is stored as a whole. The check tells the reader.
void store_words(unsigned char *target, const unsigned char *source, uint64_t size) noexcept {
    for (uint64_t offset = 0; offset < size; offset += sizeof(uint64_t)) {
        uint64_t word = 0;
        std::memcpy(&word, source + offset, sizeof word);
        __atomic_store_n(reinterpret_cast<uint64_t *>(target + offset), word, __ATOMIC_RELAXED);
    }
}

// A whole file is written for a ring, and where room cannot be set aside later.
void make_room(int descriptor, Mode mode, uint64_t capacity, uint64_t &allocated) {
    allocated = mode == Mode::ring ? capacity : std::min(capacity, ALLOCATION_STEP);
    int problem = give_room(descriptor, 0, HEADER_SIZE + allocated);
    if (problem == ENOSPC && mode == Mode::growing) {
        allocated = std::min(capacity, SMALL_ALLOCATION_STEP);
        problem = give_room(descriptor, 0, HEADER_SIZE + allocated);
    }
    if (problem == EOPNOTSUPP) {
        allocated = capacity;
        problem = write_zeros(descriptor, 0, HEADER_SIZE + allocated);
    }
    if (problem != 0)
        throw Failure{"cannot take room for it on the disk", problem};
}

void write_header(int descriptor, const FileSettings &settings) {
    uint64_t nonce = 0;
    if (getrandom(&nonce, sizeof nonce, 0) != sizeof nonce)
        nonce = nanoseconds(CLOCK_REALTIME) ^ (static_cast<uint64_t>(getpid()) << 40);
    uint64_t allocated = 0;
    make_room(descriptor, settings.mode, settings.capacity, allocated);

    std::vector<unsigned char> bytes(HEADER_SIZE);
    // cppcheck-suppress legacyUninitvar  ; it is made here
    auto *header = new (bytes.data()) FileHeader{};
    std::memcpy(header->magic, FILE_MAGIC, sizeof FILE_MAGIC);
    header->version = FORMAT_VERSION;
    header->mode = settings.mode;
    header->capacity = settings.capacity;
    header->nonce = nonce;
    header->wall_ns = nanoseconds(CLOCK_REALTIME);
    header->monotonic_ns = monotonic_now();
    header->about_size = static_cast<uint32_t>(settings.about.size());
    header->allocated.store(allocated);
    std::memcpy(bytes.data() + ABOUT_OFFSET, settings.about.data(), settings.about.size());
    // The first eight bytes last: a file without them was never finished, and is made anew.
    for (const auto &[begin, end] :
         {std::pair<size_t, size_t>{sizeof FILE_MAGIC, bytes.size()}, {0, sizeof FILE_MAGIC}})
        if (pwrite(descriptor, bytes.data() + begin, end - begin, static_cast<off_t>(begin)) !=
            static_cast<ssize_t>(end - begin))
            throw Failure{"cannot write it", errno != 0 ? errno : EIO};
}

// The file's descriptor, locked until its header is there.
void open_locked(const std::string &path, bool fresh, Descriptor &file) {
    if (fresh && unlink(path.c_str()) != 0 && errno != ENOENT)
        throw Failure{"cannot replace it", errno};
    file.number = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    if (file.number < 0)
        throw Failure{"cannot open it", errno};
    struct stat status = {};
    if (fstat(file.number, &status) != 0)
        throw Failure{"cannot open it", errno};
    if (!S_ISREG(status.st_mode))
        throw Failure{"not a regular file", EINVAL};
    while (flock(file.number, LOCK_EX) != 0)
        if (errno != EINTR)
            throw Failure{"cannot lock it", errno};
}

bool is_unfinished(int descriptor) {
    char magic[sizeof FILE_MAGIC] = {};
    const ssize_t got = pread(descriptor, magic, sizeof magic, 0);
    return got >= 0 && std::all_of(std::begin(magic), std::end(magic), [](char byte) { return byte == 0; });
}

// The size of an existing journal that can be continued.
uint64_t checked_size(const FileHeader &header, uint64_t file_size) {
    if (file_size < HEADER_SIZE || std::memcmp(header.magic, FILE_MAGIC, sizeof FILE_MAGIC) != 0)
        throw Failure{"not a journal", EINVAL};
    if (header.version == FOREIGN_VERSION)
        throw Failure{"a journal of a machine of the other byte order", EINVAL};
    if (header.version != FORMAT_VERSION)
        throw Failure{"a journal of another version", EINVAL};
    const uint64_t capacity = header.capacity;
    if (capacity < MIN_CAPACITY || capacity > MAX_CAPACITY || capacity % RECORD_ALIGNMENT != 0 ||
        header.allocated.load() > capacity || file_size < HEADER_SIZE + header.allocated.load() ||
        (header.mode == Mode::ring ? header.allocated.load() != capacity : header.mode != Mode::growing))
        throw Failure{"a damaged journal", EINVAL};
    return HEADER_SIZE + capacity;
}

}  // namespace

std::unique_ptr<MappedFile> MappedFile::open(const std::string &path, const FileSettings &settings, std::string &error,
                                             int &error_number) {
    try {
        Descriptor file;
        open_locked(path, settings.fresh, file);
        if (is_unfinished(file.number))
            write_header(file.number, settings);

        struct stat status = {};
        if (fstat(file.number, &status) != 0)
            throw Failure{"cannot open it", errno};
        std::vector<unsigned char> head(sizeof(FileHeader));
        if (pread(file.number, head.data(), head.size(), 0) != static_cast<ssize_t>(head.size()))
            throw Failure{"not a journal", EINVAL};
        const uint64_t size =
            checked_size(*reinterpret_cast<const FileHeader *>(head.data()), static_cast<uint64_t>(status.st_size));
        // What somebody made sparse must not fail under a write.
        const uint64_t used = HEADER_SIZE + reinterpret_cast<const FileHeader *>(head.data())->allocated.load();
        if (const int problem = give_room(file.number, 0, used); problem != 0 && problem != EOPNOTSUPP)
            throw Failure{"cannot take room for it on the disk", problem};
        // All of it, also where the file does not reach yet: that is touched only when `allocated` covers it.
        void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.number, 0);
        if (memory == MAP_FAILED)
            throw Failure{"cannot map it", errno};
        flock(file.number, LOCK_UN);
        std::unique_ptr<MappedFile> mapped(new MappedFile(file.number, memory, size));
        file.number = -1;
        return mapped;
    } catch (const Failure &failure) {
        error =
            path + ": " + failure.what + (failure.number != EINVAL ? ": " + std::string(strerror(failure.number)) : "");
        error_number = failure.number;
        return nullptr;
    }
}

MappedFile::MappedFile(int descriptor, void *memory, uint64_t size)
    : descriptor_(descriptor),
      memory_(memory),
      size_(size),
      header_(static_cast<FileHeader *>(memory)),
      records_(static_cast<unsigned char *>(memory) + HEADER_SIZE),
      mode_(header_->mode),
      capacity_(size - HEADER_SIZE),
      nonce_(header_->nonce),
      max_record_(std::min<uint64_t>(MAX_RECORD_SIZE, capacity_ / 4)) {}

MappedFile::~MappedFile() {
    munmap(memory_, size_);
    close(descriptor_);
}

uint64_t MappedFile::append(RecordHead &record, uint64_t size) noexcept {
    uint64_t place = 0;
    if (size > max_record_ || !reserve(size, place)) {
        header_->lost.fetch_add(1, std::memory_order_relaxed);
        return 0;
    }
    record.mark = mark_of(place, nonce_);
    record.length = static_cast<uint32_t>(size);
    if (record.kind == RecordKind::enter)
        record.call = place;
    record.check = 0;

    unsigned char *target = at(place);
    uint64_t opening = 0;
    std::memcpy(&opening, &record, sizeof opening);
    __atomic_store_n(reinterpret_cast<uint64_t *>(target), opening, __ATOMIC_RELAXED);
    constexpr size_t checked_from = offsetof(RecordHead, check) + sizeof record.check;
    const auto *source = reinterpret_cast<const unsigned char *>(&record);
    store_words(target + checked_from, source + checked_from, size - checked_from);
    const uint64_t check = check_of(source + checked_from, size - checked_from, place, nonce_);
    __atomic_store_n(reinterpret_cast<uint64_t *>(target + offsetof(RecordHead, check)), check, __ATOMIC_RELEASE);
    return place;
}

// A piece that does not run over the end of a ring.
bool MappedFile::reserve(uint64_t size, uint64_t &place) noexcept {
    for (;;) {
        // Asked before, too: a full journal's cursor stays where it is.
        if (!ensure_room(header_->cursor.load(std::memory_order_relaxed) + size))
            return false;
        place = header_->cursor.fetch_add(size, std::memory_order_relaxed);
        const uint64_t round_end = place - place % capacity_ + capacity_;
        if (!ensure_room(std::min(place + size, round_end)))
            return false;
        if (place + size <= round_end)
            return true;
        pad(place, round_end);
        if (mode_ == Mode::growing)
            return false;
        pad(round_end, place + size);
    }
}

bool MappedFile::ensure_room(uint64_t end) noexcept {
    if (mode_ == Mode::ring)
        return true;  // all of it was set aside at the start
    return end <= header_->allocated.load(std::memory_order_acquire) || allocate(end);
}

// Several at once do no harm: room that is there stays as it is.
bool MappedFile::allocate(uint64_t end) noexcept {
    if (end > capacity_)
        return false;
    const uint64_t now = monotonic_now();
    if (now < retry_ns_.load(std::memory_order_relaxed))
        return false;
    const int saved = errno;
    const uint64_t begin = header_->allocated.load(std::memory_order_acquire);
    uint64_t reached = 0;
    int problem = 0;
    for (const uint64_t step : {ALLOCATION_STEP, SMALL_ALLOCATION_STEP}) {
        reached = std::min(capacity_, (end + step - 1) / step * step);
        problem = reached > begin ? give_room(descriptor_, HEADER_SIZE + begin, HEADER_SIZE + reached) : 0;
        if (problem == 0)
            break;
    }
    errno = saved;
    if (problem != 0) {
        retry_ns_.store(now + RETRY_AFTER_NS, std::memory_order_relaxed);
        return false;
    }
    uint64_t known = begin;
    while (known < reached && !header_->allocated.compare_exchange_weak(known, reached, std::memory_order_acq_rel)) {
    }
    return true;
}

void MappedFile::pad(uint64_t begin, uint64_t end) noexcept {
    if (begin == end)
        return;
    // The beginning of a RecordHead.
    const uint32_t mark_and_length[] = {mark_of(begin, nonce_), static_cast<uint32_t>(end - begin)};
    uint64_t opening = 0;
    static_assert(sizeof mark_and_length == sizeof opening);
    std::memcpy(&opening, mark_and_length, sizeof opening);
    auto *target = reinterpret_cast<uint64_t *>(at(begin));
    __atomic_store_n(target, opening, __ATOMIC_RELAXED);
    if (end - begin >= 2 * sizeof *target)
        __atomic_store_n(target + 1, uint64_t{PADDING}, __ATOMIC_RELEASE);
}

}  // namespace journal
