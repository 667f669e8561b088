// Memory of ACE's containers that runs out when a test wants it to.
#pragma once

#include <ace/Malloc_Allocator.h>

#include <cstddef>

// While it lives, allocations of ACE's default allocator between the two sizes (both included) fail.
class FailingAllocator : public ACE_New_Allocator {
public:
    FailingAllocator(size_t smallest, size_t largest)
        : m_smallest(smallest), m_largest(largest), m_previous(ACE_Allocator::instance(this)) {}
    ~FailingAllocator() override { ACE_Allocator::instance(m_previous); }

    void *malloc(size_t size) override {
        if (size >= m_smallest && size <= m_largest) {
            ++m_refused;
            return nullptr;
        }
        return ACE_New_Allocator::malloc(size);
    }

    // How many allocations failed.
    int refused() const { return m_refused; }

private:
    size_t m_smallest;
    size_t m_largest;
    int m_refused = 0;
    ACE_Allocator *m_previous;
};
