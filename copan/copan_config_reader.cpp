#include "copan/copan_config_reader.h"

#include <memory>

#include "sim/name_lists.h"
#include "sim/readline.h"
#include "sim/standard_output.h"

namespace {

constexpr int line_size = 1024;

std::string up_to(const std::string &text, char end) { return text.substr(0, text.find(end)); }

// Whether a STORAGE_SERVER value means the server: host names match with or without their domain.
bool is_same_server(const char *value, const std::string &server_name) {
    const std::string name = c_text(purified_name(value));
    const std::string host = up_to(name, '.');
    return server_name == name || server_name == host || up_to(server_name, '.') == host;
}

}  // namespace

CopanReading read_copan_configuration(FILE *file, const std::string &server_name, std::vector<std::string> &volumes,
                                      std::string &storage_dir) {
    bool in_section = false;
    bool found = false;
    char buffer[line_size];
    while (readline(buffer, line_size, file) != nullptr) {
        const std::string line = buffer;
        if (line.empty())
            continue;
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            print_line("'=' not found");
            return CopanReading::stopped;
        }
        const std::string key = line.substr(0, equals);
        const char *value = line.c_str() + equals + 1;
        if (key == "STORAGE_SERVER") {
            in_section = is_same_server(value, server_name);
            found = found || in_section;
        } else if (in_section && key == "VOLUMES") {
            const std::unique_ptr<std::vector<std::string>> names(tokenize_to_vector(value, ","));
            volumes.insert(volumes.end(), names->begin(), names->end());
        } else if (in_section && key == "STORAGE_DIR") {
            storage_dir = up_to(value, ';');
        }
    }
    return found ? CopanReading::found : CopanReading::not_found;
}
