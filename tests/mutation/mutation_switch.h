/* Included before every instrumented source: which deliberate mistake is in force, chosen when the program starts. */
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/* The file that STSPI_MUTANT_REACH names, a byte for each mistake; null without one. */
inline unsigned char *stspi_mutant_reach() {
    const char *path = getenv("STSPI_MUTANT_REACH");
    const int file = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0)
        return nullptr;
    struct stat status;
    void *mapped = fstat(file, &status) == 0
                       ? mmap(nullptr, static_cast<size_t>(status.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)
                       : MAP_FAILED;
    close(file);
    return mapped != MAP_FAILED ? static_cast<unsigned char *>(mapped) : nullptr;
}

inline bool stspi_mutant(int number) {
    static const int active = [] {
        const char *text = getenv("STSPI_MUTANT");
        return text != nullptr ? atoi(text) : -1;
    }();
    static unsigned char *const reach = stspi_mutant_reach();
    if (reach != nullptr)
        reach[number] = 1;
    return number == active;
}
