#include "tests/unit/stsimage/open_descriptors.h"

#include <dirent.h>

int open_descriptors() {
    int count = 0;
    DIR *directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr)
        ++count;
    closedir(directory);
    return count;
}
