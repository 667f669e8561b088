// The Copan array's configuration: what is read keeps its rules, and nothing is taken from foreign sections.
#include <iostream>

#include "copan/copan_config_reader.h"
#include "tests/fuzz/input.h"

namespace {

struct Reading {
    Reading(const std::string &text, const char *server_name) {
        FILE *file = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
        result = read_copan_configuration(file, server_name, volumes, storage_dir);
        std::fclose(file);
    }
    std::vector<std::string> volumes;
    std::string storage_dir;
    CopanReading result;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::cout.setstate(std::ios::failbit);  // the reader reports a line that it stops at
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = text_of(data, size);
    const Reading reading(text, "arr1.lab");
    for (const std::string &volume : reading.volumes)
        EXPECT(is_name(volume));
    EXPECT(reading.storage_dir.find(';') == std::string::npos);
    if (reading.result == CopanReading::not_found)
        EXPECT(reading.volumes.empty() && reading.storage_dir.empty());

    // A name that no section can hold finds nothing, and reading stops at the same line.
    const Reading foreign(text, "no/section/can/hold/this");
    EXPECT(foreign.volumes.empty() && foreign.storage_dir.empty());
    EXPECT(foreign.result != CopanReading::found);
    EXPECT((foreign.result == CopanReading::stopped) == (reading.result == CopanReading::stopped));

    // A file with a section of ours before it is always found.
    const Reading with_section("STORAGE_SERVER=arr1;\nVOLUMES=first;\n" + text, "arr1.lab");
    EXPECT(with_section.result != CopanReading::not_found);
    EXPECT(!with_section.volumes.empty() && with_section.volumes.front() == "first");
    return 0;
}
