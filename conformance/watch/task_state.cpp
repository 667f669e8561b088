#include "conformance/watch/task_state.h"

#include <fstream>

namespace conformance {

char task_state(const std::string &directory) {
    std::ifstream file(directory + "/stat");
    std::string text;
    std::getline(file, text, '\0');
    // Behind the name, which may hold anything, ')' and a new line too.
    const size_t name_end = text.rfind(") ");
    return name_end != std::string::npos && name_end + 2 < text.size() ? text[name_end + 2] : '\0';
}

}  // namespace conformance
