#include "simhost/check/configuration_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "base/escaped_text.h"
#include "sim/config_file.h"
#include "simhost/check/checked_file.h"
#include "simhost/report/binary_size.h"
#include "simhost/report/failure.h"

namespace {

constexpr size_t largest_file = size_t{64} << 20;  // more than 400,000 pools take, and an end to endless files

}  // namespace

void add_grammar_option(CLI::App &command, std::string &grammar) {
    command.add_option("--as", grammar, "Read the file as this, whatever its name: array or copan")
        ->type_name("KIND")
        ->check(CLI::IsMember({"array", "copan"}));
}

Grammar choose_grammar(const std::string &path, const std::string &as) {
    if (!as.empty())
        return as == "array" ? Grammar::array : Grammar::copan;
    Grammar grammar{};
    if (path == "-")
        throw UsageError("standard input has no name that tells what it is: add --as array or --as copan");
    if (grammar_of_file(path, grammar))
        return grammar;
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        throw UsageError(fmt::format("{}: {}", printable(path), error ? error.message() : std::strerror(ENOENT)));
    if (std::filesystem::is_directory(status))
        throw UsageError(fmt::format("{} is a directory: name a file in it", printable(path)));
    throw UsageError(
        fmt::format("{}: the plug-in reads no file of that name, only NAME.sim: rename it, or add "
                    "--as array or --as copan",
                    printable(path)));
}

std::string read_configuration_source(const std::string &path) {
    const std::string shown = path == "-" ? "standard input" : printable(path);
    const File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "rb"));
    FILE *file = path == "-" ? stdin : opened.get();
    std::string bytes;
    bool is_read = file != nullptr;
    char buffer[65536];
    while (is_read) {
        const size_t count = std::fread(buffer, 1, sizeof buffer, file);
        bytes.append(buffer, count);
        if (count == 0)
            break;
        if (bytes.size() > largest_file)
            throw UsageError(
                fmt::format("{}: more than {}: this is no configuration file", shown, binary_size(largest_file)));
    }
    if (!is_read || std::ferror(file) != 0)
        throw UsageError(fmt::format("{}: {}", shown, std::strerror(errno)));
    return bytes;
}

std::vector<std::string> configuration_files(const std::string &directory) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        Grammar grammar{};
        if (grammar_of_file(entry->path().filename(), grammar))
            files.push_back(entry->path());
    }
    if (error)
        throw UsageError(fmt::format("{}: {}", printable(directory), error.message()));
    if (files.empty())
        throw UsageError(fmt::format("{}: no file in this directory is called NAME.sim", printable(directory)));
    std::sort(files.begin(), files.end());
    return files;
}
