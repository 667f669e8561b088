// A library whose loading goes wrong, in the way that STSPI_BAD_LOAD names.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

[[gnu::constructor]] void load() {
    const char *way = std::getenv("STSPI_BAD_LOAD");
    if (way == nullptr)
        return;
    if (std::strcmp(way, "crash") == 0)
        std::abort();
    if (std::strcmp(way, "exit") == 0)
        std::exit(3);
    if (std::strcmp(way, "hang") == 0)
        for (;;)
            pause();
}

}  // namespace
