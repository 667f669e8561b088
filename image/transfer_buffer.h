// The memory between a read and a write.
#pragma once

#include <cstdint>

// Room for one extent. The interface counts it in 32 bits, signed, but hands the read the length as it is; so a longer
// length gets all its room too, as address space that costs memory only where the library writes to it.
class TransferBuffer {
public:
    // Throws std::bad_alloc when there is no room.
    explicit TransferBuffer(uint64_t length);
    ~TransferBuffer();
    TransferBuffer(const TransferBuffer &) = delete;
    TransferBuffer &operator=(const TransferBuffer &) = delete;

    // Null when the low 32 bits of the length are a negative number.
    void *data() const { return m_data; }

private:
    uint64_t m_size;
    void *m_data = nullptr;
    bool m_is_mapped;
};
