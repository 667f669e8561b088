#include "filter/ledger/ledger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>
#include <unordered_set>

#include "filter/ledger/text_hash.h"
#include "filter/ledger/wall_clock.h"

namespace filter {

namespace {

// For a lock that is held for microseconds: five seconds at most.
constexpr int most_waits = 500;
constexpr useconds_t wait_us = 10000;

[[noreturn]] void refuse(const std::string &what, const std::string &path, int error) {
    throw std::runtime_error("cannot " + what + " the ledger " + path + ": " + std::strerror(error));
}

class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0)
            close(m_number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int number() const { return m_number; }

private:
    int m_number;
};

// Nobody else begins meanwhile.
class FileLock {
public:
    FileLock(int descriptor, const std::string &path) : m_descriptor(descriptor) {
        while (flock(descriptor, LOCK_EX) != 0)
            if (errno != EINTR)
                refuse("lock", path, errno);
    }
    // Closing would not do: a mapping keeps the open file, and the lock with it.
    ~FileLock() { flock(m_descriptor, LOCK_UN); }
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    int m_descriptor;
};

// Nobody else enters meanwhile. In the mapping, since a process that forked may have lost the right to open the file.
class SharedLock {
public:
    explicit SharedLock(pthread_mutex_t &mutex) : m_mutex(mutex) {
        int error = pthread_mutex_trylock(&mutex);
        for (int waits = 0; error == EBUSY && waits < most_waits; ++waits) {
            usleep(wait_us);
            error = pthread_mutex_trylock(&mutex);
        }
        if (error == EOWNERDEAD)  // what it left half done is found again: slots are filled before they count
            error = pthread_mutex_consistent(&mutex);
        m_is_held = error == 0;
    }
    ~SharedLock() {
        if (m_is_held)
            pthread_mutex_unlock(&m_mutex);
    }
    SharedLock(const SharedLock &) = delete;
    SharedLock &operator=(const SharedLock &) = delete;
    bool is_held() const { return m_is_held; }

private:
    pthread_mutex_t &m_mutex;
    bool m_is_held = false;
};

void make_lock(pthread_mutex_t &mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

LedgerLayout *map(int descriptor, int protection, const std::string &path) {
    void *memory = mmap(nullptr, sizeof(LedgerLayout), protection, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED)
        refuse("map", path, errno);
    return static_cast<LedgerLayout *>(memory);
}

bool is_ledger(int descriptor) {
    char begin[16];
    struct stat status;
    if (fstat(descriptor, &status) != 0 || static_cast<uint64_t>(status.st_size) != sizeof(LedgerLayout) ||
        pread(descriptor, begin, sizeof begin, 0) != sizeof begin)
        return false;
    uint64_t size = 0;
    std::memcpy(&size, begin + 8, sizeof size);
    return std::memcmp(begin, ledger_magic, 8) == 0 && size == sizeof(LedgerLayout);
}

uint64_t drawn_seed() {
    uint64_t seed = 0;
    if (getrandom(&seed, sizeof seed, 0) != sizeof seed)
        seed = wall_clock_ns();
    return seed & 0xffffffff;  // short enough to type again
}

// All of the room is taken at once: a disk that fills up later cannot hurt a process that counts.
void make(int descriptor, const std::string &path) {
    if (ftruncate(descriptor, 0) != 0)
        refuse("empty", path, errno);
    if (const int error = posix_fallocate(descriptor, 0, sizeof(LedgerLayout)); error != 0)
        refuse("make room for", path, error);
    LedgerLayout *layout = map(descriptor, PROT_READ | PROT_WRITE, path);
    make_lock(layout->lock);
    layout->size = sizeof(LedgerLayout);
    layout->begun = wall_clock_ns();
    layout->seed = drawn_seed();
    std::memcpy(layout->magic, ledger_magic, 8);  // the last: a maker that dies leaves no ledger
    munmap(layout, sizeof(LedgerLayout));
}

// The time a process was started, as /proc tells it; 0 when there is none.
uint64_t start_time(pid_t process) {
    const Descriptor file(open(("/proc/" + std::to_string(process) + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
    char text[1024];
    const ssize_t size = file.number() < 0 ? -1 : ::read(file.number(), text, sizeof text - 1);
    if (size <= 0)
        return 0;
    text[size] = '\0';
    // The program's name, in parentheses, may hold anything: fields are counted behind it.
    const char *at = std::strrchr(text, ')');
    for (int field = 2; at != nullptr && field < 22; ++field)
        at = std::strchr(at + 1, ' ');
    return at == nullptr ? 0 : std::strtoull(at + 1, nullptr, 10);
}

}  // namespace

std::unique_ptr<Ledger> Ledger::begin(const std::string &path) {
    const Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (file.number() < 0)
        refuse("open", path, errno);
    const FileLock lock(file.number(), path);
    if (!is_ledger(file.number()))
        make(file.number(), path);
    return std::unique_ptr<Ledger>(new Ledger(path, map(file.number(), PROT_READ | PROT_WRITE, path)));
}

std::unique_ptr<Ledger> Ledger::read(const std::string &path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0)
        refuse("open", path, errno);
    if (!is_ledger(file.number()))
        throw std::runtime_error(path + " is no ledger of the filter");
    return std::unique_ptr<Ledger>(new Ledger(path, map(file.number(), PROT_READ, path)));
}

Ledger::~Ledger() { munmap(m_layout, sizeof(LedgerLayout)); }

ProcessSlot *Ledger::enter_process() {
    const SharedLock lock(m_layout->lock);
    if (!lock.is_held())
        return nullptr;
    const auto own = static_cast<uint64_t>(getpid());
    const uint64_t own_start = start_time(getpid());
    ProcessSlot *free = nullptr;
    for (ProcessSlot &slot : m_layout->processes) {
        if (slot.process == own && slot.start_time == own_start)
            return &slot;
        if (free == nullptr && !is_alive(slot))
            free = &slot;
    }
    if (free != nullptr) {
        free->start_time = own_start;
        free->version = 0;
        free->rejected = 0;
        free->since = wall_clock_ns();
        free->process = own;
    }
    return free;
}

void Ledger::leave_process(ProcessSlot &slot) {
    if (slot.process == static_cast<uint64_t>(getpid()))
        slot.process = 0;
}

std::vector<RuleSlot *> Ledger::enter_rules(const std::vector<Rule> &rules, uint64_t version) {
    const SharedLock lock(m_layout->lock);
    if (!lock.is_held())
        throw std::runtime_error("the ledger " + m_path + " is locked by a process that does not go on");
    std::unordered_set<uint64_t> in_force = {version};
    for (const ProcessSlot &slot : m_layout->processes)
        if (is_alive(slot))
            in_force.insert(slot.version);
    std::map<uint64_t, RuleSlot *> known;
    std::vector<RuleSlot *> free;
    for (RuleSlot &slot : m_layout->rules) {
        if (slot.key != 0)
            known[slot.key] = &slot;
        if (slot.key == 0 || in_force.count(slot.version) == 0)
            free.push_back(&slot);
    }
    std::vector<RuleSlot *> slots;
    const std::vector<uint64_t> keys = rule_keys(rules);
    size_t next_free = 0;
    for (size_t i = 0; i < rules.size(); ++i) {
        RuleSlot *slot = known.count(keys[i]) != 0 ? known[keys[i]] : nullptr;
        while (slot == nullptr && next_free < free.size()) {
            slot = free[next_free++];
            // One of a rule that has come back by now, or comes back further down.
            for (size_t j = 0; slot != nullptr && j < keys.size(); ++j)
                if (slot->key == keys[j])
                    slot = nullptr;
        }
        if (slot == nullptr)
            throw std::runtime_error("the ledger " + m_path + " holds no more rules");
        if (slot->key != keys[i]) {
            for (SharedNumber *number : {&slot->matched, &slot->fired, &slot->bytes, &slot->first_match,
                                         &slot->last_match, &slot->first_fired, &slot->last_fired, &slot->free_at})
                *number = 0;
            std::memset(slot->text, 0, sizeof slot->text);
            rules[i].text.copy(slot->text, sizeof slot->text - 1);
            slot->key = keys[i];
        }
        slot->line = rules[i].line;
        slot->version = version;
        slots.push_back(slot);
    }
    m_layout->version = version;
    return slots;
}

uint64_t Ledger::count_identity(uint64_t identity) {
    identity += identity == 0;
    constexpr size_t mask = ledger_identities - 1;
    static_assert((ledger_identities & mask) == 0);
    constexpr size_t most_steps = 64;
    for (size_t step = 0; step < most_steps; ++step) {
        IdentitySlot &slot = m_layout->identities[(identity + step) & mask];
        uint64_t found = slot.identity.load(std::memory_order_relaxed);
        if (found == 0 && slot.identity.compare_exchange_strong(found, identity, std::memory_order_relaxed))
            found = identity;
        if (found == identity)
            return slot.count.fetch_add(1, std::memory_order_relaxed);
    }
    return m_layout->identities[identity & mask].count.fetch_add(1, std::memory_order_relaxed);
}

std::vector<uint64_t> rule_keys(const std::vector<Rule> &rules) {
    std::map<std::string, uint64_t> equal;
    std::vector<uint64_t> keys;
    for (const Rule &rule : rules) {
        const uint64_t key = mixed(text_hash(rule.text), equal[rule.text]++);
        keys.push_back(key == 0 ? 1 : key);
    }
    return keys;
}

uint64_t settings_version(std::string_view text) {
    const uint64_t hash = mixed(text_hash(text), text.size());
    return hash == 0 ? 1 : hash;
}

bool is_alive(const ProcessSlot &slot) {
    const uint64_t process = slot.process;
    return process != 0 && start_time(static_cast<pid_t>(process)) == slot.start_time;
}

std::string default_ledger_path(const std::string &settings_path, size_t section) {
    return settings_path + ".ledger" + (section == 0 ? "" : "." + std::to_string(section + 1));
}

}  // namespace filter
