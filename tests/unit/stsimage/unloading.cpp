// Loads the image library, looks for an image where STSIMAGE_ROOT leads, unloads it and ends.
//
// Usage: unloading LIBRARY [DIRECTORY]     ends with 0 if the image is not there and the end went well
//
// The working directory is changed once the library has been loaded.
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "stspi/stsimg.h"

int main(int count, char **words) {
    void *const library = count == 2 || count == 3 ? dlopen(words[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (library == nullptr) {
        std::fprintf(stderr, "unloading: LIBRARY is expected, and cannot be loaded: %s\n", count > 1 ? dlerror() : "");
        return 2;
    }
    if (count == 3 && chdir(words[2]) != 0) {
        std::perror(words[2]);
        return 2;
    }
    const auto look =
        reinterpret_cast<decltype(&stsimg_get_image_prop_byname)>(dlsym(library, "stsimg_get_image_prop_byname"));
    const sts_image_definition_t definition{"none"};
    sts_image_info_t info{};
    const int32_t status = look("pool1", nullptr, "host", &definition, &info);
    dlclose(library);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::printf("%d\n", status);
    return status == STS_E_NOT_FOUND ? 0 : 1;
}
