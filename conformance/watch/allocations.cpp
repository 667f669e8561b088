#include "conformance/watch/allocations.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "conformance/watch/call_note.h"
#include "conformance/watch/sanitizers.h"

namespace conformance {

namespace {

// All of it is static: nothing here may allocate.
constexpr size_t most_blocks = 1 << 15;  // more are not remembered
constexpr size_t most_calls = 64;

struct Block {
    void *address;  // null for a free place, removed for one that was taken
    uint32_t call;
    size_t size;
};

char removed;
Block blocks[most_blocks];
char calls[most_calls][sizeof(SharedNote::call)];
uint32_t call_count = 0;
size_t bytes_remembered = 0;
std::atomic<bool> is_watching{false};
std::atomic_flag lock = ATOMIC_FLAG_INIT;

struct Lock {
    Lock() {
        while (lock.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~Lock() { lock.clear(std::memory_order_release); }
};

// Neighbours lie side by side, so that few pages are touched.
size_t place_of(const void *address) { return (reinterpret_cast<uintptr_t>(address) >> 4) % most_blocks; }

// The number of the call that is under way; addresses in its arguments are left out.
uint32_t number_of_call() {
    char text[sizeof(SharedNote::call)];
    size_t length = 0;
    for (const char *from = shared_note().call; *from != '\0' && length + 5 < sizeof text; ++from) {
        text[length++] = *from;
        if (*from != 'x' || length < 2 || text[length - 2] != '0')
            continue;
        while (from[1] != '\0' && std::strchr("0123456789abcdef", from[1]) != nullptr)
            ++from;
        for (int dots = 0; dots < 3; ++dots)
            text[length++] = '.';
    }
    text[length] = '\0';
    for (uint32_t i = 0; i < call_count; ++i)
        if (std::strcmp(calls[i], text) == 0)
            return i;
    if (call_count == most_calls)
        return most_calls - 1;
    std::memcpy(calls[call_count], text, length + 1);
    return call_count++;
}

[[maybe_unused]] void remember(void *address, size_t size) {
    if (address == nullptr || !is_watching || !is_this_thread_in_a_call())
        return;
    const Lock guard;
    size_t place = place_of(address);
    for (size_t tries = 0; tries < most_blocks; ++tries, place = (place + 1) % most_blocks)
        if (blocks[place].address == nullptr || blocks[place].address == &removed) {
            blocks[place] = {address, number_of_call(), size};
            bytes_remembered += size;
            return;
        }
}

[[maybe_unused]] void forget(void *address) {
    if (address == nullptr || !is_watching)
        return;
    const Lock guard;
    size_t place = place_of(address);
    for (size_t tries = 0; tries < most_blocks && blocks[place].address != nullptr;
         ++tries, place = (place + 1) % most_blocks)
        if (blocks[place].address == address) {
            blocks[place].address = &removed;
            bytes_remembered -= blocks[place].size;
            return;
        }
}

}  // namespace

AllocationWatch::AllocationWatch() {
    // The first watch of a process finds all of it empty, and touches none of its pages.
    if (call_count != 0)
        std::memset(blocks, 0, sizeof blocks);
    call_count = 0;
    bytes_remembered = 0;
    is_watching = true;
}

AllocationWatch::~AllocationWatch() { is_watching = false; }

size_t AllocationWatch::bytes_kept() {
    const Lock guard;
    return bytes_remembered;
}

std::vector<KeptMemory> AllocationWatch::kept() {
    is_watching = false;
    std::vector<KeptMemory> list(call_count);
    for (uint32_t i = 0; i < call_count; ++i)
        list[i].call = calls[i];
    for (const Block &block : blocks)
        if (block.address != nullptr && block.address != &removed) {
            ++list[block.call].blocks;
            list[block.call].bytes += block.size;
        }
    list.erase(std::remove_if(list.begin(), list.end(), [](const KeptMemory &one) { return one.blocks == 0; }),
               list.end());
    std::sort(list.begin(), list.end(), [](const KeptMemory &a, const KeptMemory &b) { return a.blocks > b.blocks; });
    return list;
}

}  // namespace conformance

#if !defined(STSPI_SANITIZED)
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp) the C library's own names
void *__libc_malloc(size_t size) noexcept;
void *__libc_calloc(size_t count, size_t size) noexcept;
void *__libc_realloc(void *address, size_t size) noexcept;
void __libc_free(void *address) noexcept;
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

__attribute__((visibility("default"))) void *malloc(size_t size) noexcept {
    void *address = __libc_malloc(size);
    conformance::remember(address, size);
    return address;
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size) noexcept {
    void *address = __libc_calloc(count, size);
    conformance::remember(address, count * size);
    return address;
}

__attribute__((visibility("default"))) void *realloc(void *old, size_t size) noexcept {
    conformance::forget(old);
    void *address = __libc_realloc(old, size);
    conformance::remember(address, size);
    return address;
}

__attribute__((visibility("default"))) void free(void *address) noexcept {
    conformance::forget(address);
    __libc_free(address);
}
}
#endif
