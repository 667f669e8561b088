#include "conformance/calls/configuration.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <stdexcept>

#include "conformance/calls/call_journal.h"
#include "conformance/watch/call_note.h"
#include "conformance/watch/written_configuration.h"
#include "redirect/config_redirect.h"

namespace conformance {

namespace {

constexpr char real_directory[] = "/etc/quillmere";

std::string directory;
std::string working_directory;
int journal_file = -1;

std::set<std::string> &written() {
    static std::set<std::string> names;
    return names;
}

}  // namespace

void use_configuration_directory(const std::string &path, int journal) {
    directory = path;
    journal_file = journal;
    if (path != real_directory)
        set_config_directory(path);
}

void forget_written_configuration() {
    written().clear();
    forget_all_configuration();
}

std::string config_path(const std::string &name) { return directory + "/" + name + ".sim"; }

void write_config(const std::string &name, const std::string &text) {
    const std::string path = config_path(name);
    // A file of somebody else's is never replaced.
    const bool own = !written().insert(name).second;
    if (!own && journal_file >= 0)
        dprintf(journal_file, "%s\n", path.c_str());
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (own ? O_TRUNC : O_EXCL), 0644);
    if (file < 0)
        throw std::runtime_error(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count < 0)
            throw std::runtime_error(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
        done += static_cast<size_t>(count);
    }
    close(file);
    remember_configuration(name + ".sim", text);
    note_step(name + ".sim written");
    note_configuration_step(name + ".sim", &text);
}

void remove_config(const std::string &name) {
    unlink(config_path(name).c_str());
    written().erase(name);
    forget_configuration(name + ".sim");
    note_step(name + ".sim removed");
    note_configuration_step(name + ".sim", nullptr);
}

std::string work_directory() { return working_directory; }
void set_work_directory(const std::string &path) { working_directory = path; }

std::string disk_array_config() {
    return fmt::format(
        "ENCLOSURE = enc1;\n"
        "\tDISKS = d1,d2,d3,d4;\n"
        "\tHOSTS = h1,h2;\n"
        "\tDISK_SIZE = 100;\n"
        "\tSTORAGE_DIR = {0}/s1;\n"
        "\n"
        "ENCLOSURE = enc2;\n"
        "\tDISKS = e1,e2;\n"
        "\tHOSTS = h1;\n"
        "\tDISK_SIZE = 2G;\n"
        "\tSTORAGE_DIR = {0}/s2;\n",
        working_directory);
}

std::string copan_config() {
    return fmt::format(
        "STORAGE_SERVER = arr1 ;\n"
        "\tVOLUMES = vol1,vol2,vol1 ;\n"
        "\tSTORAGE_DIR = {}/cop ;\n",
        working_directory);
}

void write_example_configs() {
    write_config("Kelvarpool", disk_array_config());
    write_config("copan", copan_config());
}

}  // namespace conformance
