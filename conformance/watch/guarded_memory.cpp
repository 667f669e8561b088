#include "conformance/watch/guarded_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>

namespace conformance {

namespace {

constexpr unsigned char margin_pattern = 0xc3;

size_t page_size() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }

}  // namespace

unsigned char next_fill() {
    static std::atomic<size_t> records{0};
    return both_fills[records++ % std::size(both_fills)];
}

GuardedMemory::GuardedMemory(size_t size, unsigned char pattern) : size_(size) {
    const size_t page = page_size();
    const size_t usable = (size + 64 + page - 1) / page * page;
    mapped_ = usable + page;
    void *base = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED || mprotect(static_cast<char *>(base) + usable, page, PROT_NONE) != 0)
        std::abort();
    base_ = static_cast<unsigned char *>(base);
    data_ = base_ + usable - size;
    std::fill(base_, data_, margin_pattern);
    std::fill(data_, base_ + usable, pattern);
}

GuardedMemory::~GuardedMemory() { munmap(base_, mapped_); }

void GuardedMemory::expect_margin(const std::string &what) const {
    // Each byte is the one before it, and the first is the pattern's: the C library's comparison takes a tenth of a loop's time.
    const auto size = static_cast<size_t>(data_ - base_);
    const bool is_whole = *base_ == margin_pattern && std::memcmp(base_, base_ + 1, size - 1) == 0;
    expect_true(is_whole, "memory before " + what, "untouched", "overwritten");
}

void GuardedMemory::make_read_only() {
    if (mprotect(base_, mapped_ - page_size(), PROT_READ) != 0)
        std::abort();
}

GuardedText::GuardedText(const std::string &text) : memory_(text.size() + 1) {
    std::memcpy(memory_.data(), text.c_str(), text.size() + 1);
}

}  // namespace conformance
