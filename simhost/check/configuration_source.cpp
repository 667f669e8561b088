#include "simhost/check/configuration_source.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sim/config_file.h"
#include "simhost/check/checked_file.h"
#include "simhost/report/failure.h"

void add_grammar_option(CLI::App &command, std::string &grammar) {
    command.add_option("--as", grammar, "Read the file as this, whatever its name: array or copan")
        ->type_name("KIND")
        ->check(CLI::Validator(CLI::IsMember({"array", "copan"})).description(""));
}

Grammar choose_grammar(const std::string &path, const std::string &as) {
    if (!as.empty())
        return as == "array" ? Grammar::array : Grammar::copan;
    Grammar grammar{};
    if (path == "-")
        throw UsageError("standard input has no name that tells what it is: add --as array or --as copan");
    if (!grammar_of_file(path, grammar))
        throw UsageError(
            fmt::format("{}: the plug-in reads no file of that name, only NAME.sim: rename it, or add "
                        "--as array or --as copan",
                        path));
    return grammar;
}

std::string read_configuration_source(const std::string &path) {
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
    }
    if (!is_read || std::ferror(file) != 0)
        throw UsageError(fmt::format("{}: {}", path == "-" ? "standard input" : path, std::strerror(errno)));
    return bytes;
}
