#include "conformance/watch/address_space.h"

#include <sys/mman.h>

#include "conformance/watch/expect.h"

namespace conformance {

void need_address_space(uint64_t bytes) {
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        skip_test(fmt::format("this process may not have {} bytes of memory, which a plug-in may ask for", bytes));
    munmap(memory, bytes);
}

}  // namespace conformance
