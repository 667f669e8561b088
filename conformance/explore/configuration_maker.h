// Configuration files of all kinds: usual ones, odd ones, hostile ones.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "conformance/explore/chance.h"
#include "conformance/explore/history.h"

namespace conformance {

// What a file names, for calls that ask for it.
struct KnownNames {
    std::vector<std::string> pools;
    std::vector<std::string> disks;
    std::vector<std::string> hosts;
    std::vector<std::string> arrays;  // of Copan servers
    std::vector<std::string> lsus;
    std::string token;
};

Lines disk_array_file(Chance &chance, KnownNames &names);
Lines copan_file(Chance &chance, KnownNames &names);

// The name with one thing changed: a byte, a case, its length.
std::string nearly(Chance &chance, const std::string &name);

// A text of a length at which fields end.
std::string long_text(Chance &chance);

}  // namespace conformance
