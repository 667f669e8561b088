#include "simhost/load/shared_arena.h"

#include <sys/mman.h>

namespace {

constexpr size_t alignment = 64;

}  // namespace

SharedArena::SharedArena(size_t capacity) : m_start(nullptr), m_capacity(capacity) {
    void *memory = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    m_start = static_cast<char *>(memory);
}

SharedArena::~SharedArena() { munmap(m_start, m_capacity); }

void *SharedArena::take(size_t size) {
    size = (size + alignment - 1) / alignment * alignment;
    if (size > m_capacity - m_used)
        throw std::bad_alloc();
    return m_start + std::exchange(m_used, m_used + size);
}
