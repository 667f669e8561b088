#include "simhost/load/process_use.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

uint64_t entries_of(const char *path) {
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir(path), closedir);
    uint64_t entries = 0;
    if (directory != nullptr)
        while (readdir(directory.get()) != nullptr)
            ++entries;
    return entries < 2 ? 0 : entries - 2;
}

uint64_t resident() {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen("/proc/self/statm", "re"), std::fclose);
    unsigned long long all = 0;
    unsigned long long pages = 0;
    if (file == nullptr ||
        std::fscanf(file.get(), "%llu %llu", &all, &pages) != 2)  // NOLINT(cert-err34-c): the kernel's
        return 0;
    return pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

ProcessUse least_of(const ProcessUse &a, const ProcessUse &b) {
    return {std::min(a.resident_bytes, b.resident_bytes), std::min(a.heap_bytes, b.heap_bytes),
            std::min(a.descriptors, b.descriptors), std::min(a.threads, b.threads)};
}

ProcessUse process_use() {
    ProcessUse use;
    use.resident_bytes = resident();
    const struct mallinfo2 heap = mallinfo2();
    use.heap_bytes = heap.uordblks + heap.hblkhd;
    use.descriptors = entries_of("/proc/self/fd") - 1;  // the one that looks
    use.threads = entries_of("/proc/self/task");
    return use;
}
