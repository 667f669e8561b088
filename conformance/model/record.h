// A record of the framework's as bytes, before and after a call.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "conformance/model/text_rules.h"

namespace conformance::model {

class Record {
public:
    Record(size_t size, uint8_t fill) : bytes_(size, static_cast<char>(fill)) {}

    void clear() { bytes_.assign(bytes_.size(), '\0'); }

    // Writes text and terminator into a field, cut to fit; what stands behind the terminator stays.
    void put_text(size_t offset, size_t field_size, const std::string &text) {
        const std::string fitting = cut(text, field_size);
        std::memcpy(&bytes_[offset], fitting.c_str(), fitting.size() + 1);
    }

    template <typename Number>
    void put(size_t offset, Number number) {
        std::memcpy(&bytes_[offset], &number, sizeof number);
    }

    void set_bits(size_t offset, uint32_t bits) {
        uint32_t word;
        std::memcpy(&word, &bytes_[offset], sizeof word);
        put(offset, word | bits);
    }

    const std::string &bytes() const { return bytes_; }

private:
    std::string bytes_;
};

}  // namespace conformance::model
