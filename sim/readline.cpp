#include "sim/readline.h"

#include <vector>

#include "sim/ascii.h"

char *readline(char *out, int size, FILE *stream) {
    if (size < 1)
        return nullptr;
    std::vector<char> line(static_cast<size_t>(size));
    if (std::fgets(line.data(), size, stream) == nullptr)
        return nullptr;
    char *end = out;
    for (const char *byte = line.data(); *byte != '\0'; ++byte)
        if (!is_ascii_space(*byte))
            *end++ = *byte;
    *end = '\0';
    return out;
}
