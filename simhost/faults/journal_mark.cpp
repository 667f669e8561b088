#include "simhost/faults/journal_mark.h"

#include <cstring>
#include <fstream>

#include "journal/format.h"

bool is_marked_as_journal(const std::string &path) {
    char begin[sizeof journal::FILE_MAGIC] = {};
    std::ifstream(path, std::ios::binary).read(begin, sizeof begin);
    return std::memcmp(begin, journal::FILE_MAGIC, sizeof begin) == 0;
}
