#include "conformance/tests/part_of_id.h"

#include <algorithm>

namespace conformance {

std::string part_of_id(const std::string &entry_point) {
    std::string id = entry_point.substr(std::string("stspi_").size());
    std::replace(id.begin(), id.end(), '_', '-');
    return id;
}

}  // namespace conformance
