#include "simhost/show/graphviz.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sim/config_file.h"
#include "simhost/report/failure.h"

namespace {

// A file without a name, that holds the text and is read from its beginning.
File file_holding(const std::string &text) {
    File file(std::tmpfile());
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fflush(file.get()) != 0 || std::fseek(file.get(), 0, SEEK_SET) != 0)
        throw UsageError(fmt::format("cannot write a temporary file: {}", std::strerror(errno)));
    return file;
}

std::string content_of(FILE *file) {
    std::string text;
    char buffer[65536];
    std::rewind(file);
    while (const size_t count = std::fread(buffer, 1, sizeof buffer, file))
        text.append(buffer, count);
    return text;
}

pid_t start_dot(int input, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    char program[] = "dot";
    char format[] = "-Tsvg";
    char *arguments[] = {program, format, nullptr};
    pid_t child = -1;
    const int error = posix_spawnp(&child, program, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == ENOENT)
        throw UsageError(
            "Graphviz draws the picture, and its program \"dot\" is not there: install the package graphviz, or take "
            "--format dot or html");
    if (error != 0)
        throw UsageError(fmt::format("cannot start Graphviz's \"dot\": {}", std::strerror(error)));
    return child;
}

}  // namespace

std::string svg_of_dot(const std::string &dot) {
    // Files, not pipes: neither side can then wait for the other.
    const File input = file_holding(dot);
    const File output = file_holding("");
    const pid_t child = start_dot(fileno(input.get()), fileno(output.get()));
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    std::string svg = content_of(output.get());
    if (status != 0 || svg.empty())
        throw BadAnswer("Graphviz's \"dot\" could not draw the graph");
    return svg;
}
