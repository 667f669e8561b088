// Memory that the system copies data from and to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// It begins with a page: into memory that begins anywhere, some processors copy several times as slowly.
class PageBuffer {
public:
    // Throws std::bad_alloc. What is in it at first means nothing.
    explicit PageBuffer(size_t bytes)
        : m_memory(new char[bytes + page_bytes]), m_data(next_page(m_memory.get())), m_size(bytes) {}

    char *data() { return m_data; }
    size_t size() const { return m_size; }

private:
    static constexpr size_t page_bytes = 4096;

    static char *next_page(char *place) { return place + page_bytes - reinterpret_cast<uintptr_t>(place) % page_bytes; }

    std::unique_ptr<char[]> m_memory;
    char *m_data;
    size_t m_size;
};
