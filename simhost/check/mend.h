// Files set right where there is one safe way to do so.
#pragma once

#include <string>

#include "simhost/check/outline.h"

struct Mend {
    std::string bytes;           // as they are to be
    std::string diff;            // what was changed, line by line, made safe for a terminal; "" when nothing was
    bool is_other_form = false;  // UTF-16, or carriage returns alone: then diff begins behind that change
};

// Mends the bytes of a file as long as findings have edits. Each finding that has some is gone then.
Mend mended(const std::string &name, const std::string &bytes, Grammar grammar);
