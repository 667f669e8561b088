// The text of a configuration file, as findings show it.
#pragma once

#include <string>
#include <vector>

namespace conformance {

struct ConfigurationText {
    std::string file_name;  // "Kelvarpool.sim"
    std::string text;

    bool operator==(const ConfigurationText &other) const { return file_name == other.file_name && text == other.text; }
};

using ConfigurationTexts = std::vector<ConfigurationText>;

// The files one below the other, line by line, each line escaped where it would not print; long files and long lines by
// their beginning.
std::string shown_configuration(const ConfigurationTexts &texts);

}  // namespace conformance
