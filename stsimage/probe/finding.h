// What was found out about a file system.
#pragma once

#include <string>

namespace stsimage::probe {

enum class Answer { yes, no, cannot_tell };

struct Finding {
    std::string what;
    Answer answer = Answer::cannot_tell;
    bool needed = false;  // without it the library's promises do not hold
    std::string detail;   // why it cannot be told, or how often it was otherwise
};

inline Finding found(std::string what, bool holds, bool needed, std::string detail = "") {
    return {std::move(what), holds ? Answer::yes : Answer::no, needed, std::move(detail)};
}

}  // namespace stsimage::probe
