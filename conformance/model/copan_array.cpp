#include "conformance/model/copan_array.h"

#include <algorithm>
#include <cerrno>

#include "conformance/model/reached.h"
#include "conformance/model/text_rules.h"

namespace conformance::model {

namespace {

std::string before_dot(const std::string &name) { return name.substr(0, name.find('.')); }

bool is_section_of(const std::string &server, const std::string &value) {
    const std::string whole = clean_name(value);
    const std::string first = before_dot(whole);
    return server == whole || server == first || before_dot(server) == first;
}

}  // namespace

std::optional<CopanArray> CopanArray::read(const std::string &server_name, const std::string &file,
                                           std::string &output) {
    CopanArray array;
    if (server_name.find(':') == std::string::npos) {
        reached("copan: name without colon");
        output += "Error in server_name\n";
        return array;
    }
    array.name_ = after_colon(server_name);
    bool is_ours = false;
    bool found = false;
    for (const std::string &line : squeezed_lines(file)) {
        if (line.empty())
            continue;
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            // What was read counts, and nothing is missed: not even a section of the server's name.
            reached("copan: line without '='");
            output += "'=' not found\n";
            return array;
        }
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (key == "STORAGE_SERVER") {
            is_ours = is_section_of(array.name_, value);
            found = found || is_ours;
        } else if (is_ours && key == "VOLUMES") {
            for (const std::string &name : name_list(value))
                array.lsus_.push_back(name);
        } else if (is_ours && key == "STORAGE_DIR") {
            array.storage_directory_ = value.substr(0, value.find(';'));
        }
    }
    if (!found) {
        reached("copan: no section of that name");
        return std::nullopt;
    }
    reached("copan: read");
    return array;
}

bool CopanArray::has(const std::string &lsu) const { return std::find(lsus_.begin(), lsus_.end(), lsu) != lsus_.end(); }

std::optional<std::string> CopanArray::directory_of(Machine &machine, const std::string &lsu,
                                                    const std::function<void(const std::string &)> &say) const {
    if (const int error = machine.make_directory(storage_directory_); error != 0 && error != EEXIST) {
        reached("copan: storage cannot be made");
        say("m_storage_dir directory creation failed: ");
        say(storage_directory_);
        return std::nullopt;
    }
    std::string path = path_of(lsu);
    if (const int error = machine.make_directory(path); error != 0 && error != EEXIST) {
        reached("copan: directory cannot be made");
        say("vol directory creation failed: ");
        say(storage_directory_);  // the storage directory, not the one that could not be made
        return std::nullopt;
    }
    return path;
}

}  // namespace conformance::model
