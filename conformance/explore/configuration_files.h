// The configuration files of a history, where the plug-in reads them.
#pragma once

#include <optional>
#include <string>

#include "conformance/explore/history.h"

namespace conformance {

class ConfigurationFiles {
public:
    explicit ConfigurationFiles(std::string directory) : directory_(std::move(directory)) {}

    // Nothing for a text removes the file. A file that cannot be written ends the process.
    void write(const std::string &name, const std::optional<std::string> &text) const;

    // As the history's first call finds them: what an earlier round of it wrote between calls is not there yet.
    void begin(const History &history) const;

private:
    std::string directory_;
};

}  // namespace conformance
