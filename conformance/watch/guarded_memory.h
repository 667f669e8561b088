// Memory that ends at an unmapped page and begins with a watched margin: a byte written past its end stops the test's
// process, a byte written before it is found.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include "conformance/watch/expect.h"
#include "conformance/watch/record_fields.h"

namespace conformance {

class GuardedMemory {
public:
    explicit GuardedMemory(size_t size, unsigned char pattern = 0xa5);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory &) = delete;
    GuardedMemory &operator=(const GuardedMemory &) = delete;

    void *data() const { return data_; }
    size_t size() const { return size_; }

    // A finding when something was written before the block.
    void expect_margin(const std::string &what) const;

    // From now on a write into the block stops the process.
    void make_read_only();

private:
    unsigned char *base_;
    size_t mapped_;
    unsigned char *data_;
    size_t size_;
};

// Complementary in every bit.
constexpr unsigned char both_fills[] = {0xa5, 0x5a};

// One of both, in turn, from the first on.
unsigned char next_fill();

// A record the framework owns, filled with a pattern; says which of its bytes may change.
template <typename Record>
class Watched {
public:
    // Without a pattern of the test's own, records take two complementary ones in turn: a bit that is set by an OR shows
    // in one of them.
    Watched() : Watched(next_fill()) {}
    explicit Watched(unsigned char pattern) : memory_(sizeof(Record), pattern) { remember(); }

    Record *get() const { return static_cast<Record *>(memory_.data()); }
    Record *operator->() const { return get(); }

    // What stands in the record now is what a call finds there.
    void remember() { std::memcpy(&before_, memory_.data(), sizeof(Record)); }

    // The record must be as before but for what change(record) writes; all bytes are compared.
    template <typename Change>
    bool expect_changed(const std::string &what, Change change) {
        Record expected;
        std::memcpy(&expected, &before_, sizeof(Record));
        change(expected);
        memory_.expect_margin(what);
        return expect_bytes(
            what, memory_.data(), &expected, sizeof(Record),
            differing_fields(fields_of(static_cast<const Record *>(nullptr)), &expected, memory_.data()));
    }

    bool expect_untouched(const std::string &what) {
        memory_.expect_margin(what);
        return expect_untouched_bytes(what, memory_.data(), &before_, sizeof(Record));
    }

private:
    GuardedMemory memory_;
    Record before_;
};

// A text with its terminator right before an unmapped page.
class GuardedText {
public:
    explicit GuardedText(const std::string &text);
    const char *get() const { return static_cast<const char *>(memory_.data()); }

private:
    GuardedMemory memory_;
};

// Writes text and its terminator and leaves the bytes behind them.
template <size_t size>
void put_text(char (&field)[size], const std::string &text) {
    const size_t length = text.size() < size ? text.size() : size - 1;
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

}  // namespace conformance
