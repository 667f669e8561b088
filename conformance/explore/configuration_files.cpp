#include "conformance/explore/configuration_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>

namespace conformance {

void ConfigurationFiles::write(const std::string &name, const std::optional<std::string> &text) const {
    const std::string path = fmt::format("{}/{}.sim", directory_, name);
    unlink(path.c_str());
    if (!text)
        return;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0 || ::write(file, text->data(), text->size()) != static_cast<ssize_t>(text->size()))
        std::abort();
    close(file);
}

void ConfigurationFiles::begin(const History &history) const {
    const auto files = configuration_of(history);
    for (const model::Call &call : history.calls)
        if (call.operation == model::Operation::set_config && files.count(*call.name) == 0)
            write(*call.name, std::nullopt);
    for (const auto &[name, text] : files)
        write(name, text);
}

}  // namespace conformance
