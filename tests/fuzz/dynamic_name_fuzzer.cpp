// Dynamic LSU names: what is split can be joined again.
#include "lsu/dynamic_lsu_name.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string name = c_string_of(data, size);
    const bool has_colon = name.find(':') != std::string::npos;
    EXPECT(isDynamicLSUName(name.c_str()) == has_colon);
    Name left("old left");
    Name right("old right");
    const int status = parseDynamicLSUName(name.c_str(), left, right);
    if (!name.empty() && name[0] == ':') {
        EXPECT(status == -1 && left == "old left" && right == "old right");
        return 0;
    }
    EXPECT(status == 0);
    if (has_colon) {
        EXPECT(std::string(c_text(left)) + ":" + c_text(right) == name);
        EXPECT(std::string(c_text(left)).find(':') == std::string::npos && left.length() != 0);
    } else {
        EXPECT(name == c_text(left) && name == c_text(right));
    }
    return 0;
}
