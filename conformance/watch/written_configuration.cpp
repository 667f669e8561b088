#include "conformance/watch/written_configuration.h"

#include <map>
#include <mutex>

namespace conformance {

namespace {

constexpr size_t longest_text = 1 << 20;

std::mutex written_mutex;

std::map<std::string, std::string> &files() {
    static std::map<std::string, std::string> texts;
    return texts;
}

}  // namespace

void remember_configuration(const std::string &file_name, const std::string &text) {
    const std::lock_guard lock(written_mutex);
    files()[file_name] = text.substr(0, longest_text);
}

void forget_configuration(const std::string &file_name) {
    const std::lock_guard lock(written_mutex);
    files().erase(file_name);
}

void forget_all_configuration() {
    const std::lock_guard lock(written_mutex);
    files().clear();
}

ConfigurationTexts written_configuration() {
    const std::lock_guard lock(written_mutex);
    ConfigurationTexts texts;
    for (const auto &[file_name, text] : files())
        texts.push_back({file_name, text});
    return texts;
}

}  // namespace conformance
