#include "conformance/explore/guarded_argument.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace conformance {

namespace {

constexpr size_t margin = 64;
constexpr char margin_byte = '\x3c';
constexpr size_t room = GuardedArgument::LARGEST + 4096;

}  // namespace

GuardedArgument::GuardedArgument() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *memory = mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED || mprotect(static_cast<char *>(memory) + room, page, PROT_NONE) != 0)
        throw std::runtime_error("no memory for arguments");
    base_ = static_cast<char *>(memory);
    data_ = base_ + room;
}

GuardedArgument::~GuardedArgument() { munmap(base_, room + static_cast<size_t>(sysconf(_SC_PAGESIZE))); }

uint64_t GuardedArgument::put(const std::string &bytes) {
    if (bytes.size() > LARGEST)
        throw std::length_error("an argument is too long");
    before_ = bytes;
    size_ = bytes.size();
    data_ = base_ + room - size_;
    std::memcpy(data_, bytes.data(), size_);
    std::memset(data_ - margin, margin_byte, margin);
    return reinterpret_cast<uint64_t>(data_);
}

bool GuardedArgument::is_changed() const { return std::memcmp(data_, before_.data(), size_) != 0; }

bool GuardedArgument::is_margin_changed() const {
    return std::any_of(data_ - margin, data_, [](char byte) { return byte != margin_byte; });
}

}  // namespace conformance
