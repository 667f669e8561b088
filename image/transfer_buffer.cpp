#include "image/transfer_buffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>

namespace {

// A terabyte, more than one call can fill; a length beyond it is nonsense that the library is to judge.
constexpr uint64_t most_room = uint64_t{1} << 40;

}  // namespace

TransferBuffer::TransferBuffer(uint64_t length)
    : m_size(std::clamp(length, uint64_t{1}, most_room)), m_is_mapped(length > INT32_MAX) {
    if (static_cast<int32_t>(length) < 0)
        return;
    if (!m_is_mapped) {
        m_data = ::operator new(m_size);
        return;
    }
    void *mapped = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
    m_data = mapped;
}

TransferBuffer::~TransferBuffer() {
    if (m_data == nullptr)
        return;
    if (m_is_mapped)
        munmap(m_data, m_size);
    else
        ::operator delete(m_data);
}
