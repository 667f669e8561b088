// Room for one argument's target, made once: it ends at an unmapped page, and what stands before it is watched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace conformance {

class GuardedArgument {
public:
    GuardedArgument();
    ~GuardedArgument();
    GuardedArgument(const GuardedArgument &) = delete;
    GuardedArgument &operator=(const GuardedArgument &) = delete;

    enum : size_t { LARGEST = 32768 };

    // Puts the bytes right before the unmapped page and gives their address. At most LARGEST.
    uint64_t put(const std::string &bytes);
    uint64_t put(size_t size, uint8_t fill) { return put(std::string(size, static_cast<char>(fill))); }

    uint64_t address() const { return size_ == 0 ? 0 : reinterpret_cast<uint64_t>(data_); }
    void *data() const { return data_; }

    // What stands there now.
    std::string bytes() const { return {data_, size_}; }
    bool is_changed() const;
    // Whether something was written before the bytes.
    bool is_margin_changed() const;

private:
    char *base_;
    char *data_;
    size_t size_ = 0;
    std::string before_;
};

}  // namespace conformance
