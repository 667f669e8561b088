#include "conformance/replay/recorded_test.h"

#include <fmt/format.h>

#include <charconv>
#include <fstream>
#include <stdexcept>

#include "conformance/calls/call_journal.h"

namespace conformance {

using nlohmann::json;

namespace {

std::string from_hexadecimal(const std::string &text) {
    std::string bytes(text.size() / 2, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        unsigned byte = 0;
        const char *digits = &text[2 * i];
        if (std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2)
            throw std::runtime_error("these are no hexadecimal digits: " + text.substr(2 * i, 2));
        bytes[i] = static_cast<char>(byte);
    }
    return bytes;
}

Tree tree_of(const json &list) {
    Tree tree;
    tree.reserve(list.size());
    for (const json &one : list)
        tree.push_back({from_hexadecimal(one.at(0)),
                        static_cast<uint32_t>(std::stoul(one.at(1).get<std::string>(), nullptr, 8)),
                        from_hexadecimal(one.at(2))});
    return tree;
}

BytesAt bytes_at(const json &list) {
    BytesAt all;
    all.reserve(list.size());
    for (const json &one : list)
        all.emplace_back(one.at(0).get<size_t>(), from_hexadecimal(one.at(1)));
    return all;
}

LibraryAnswer answer_of(const json &line) {
    LibraryAnswer answer;
    answer.function = line.at("library");
    for (const json &word : line.at("arguments"))
        answer.shown.push_back(word.is_string() ? word.get<std::string>() : fmt::format("{:#x}", word.get<uint64_t>()));
    answer.shown.push_back(from_hexadecimal(line.at("lsu")));
    answer.shown.push_back(from_hexadecimal(line.at("server")));
    answer.status = line.at("status");
    answer.stored = bytes_at(line.at("stored"));
    return answer;
}

void take(const json &line, Surroundings &surroundings) {
    const uint64_t calls = line.at("calls");
    if (line.contains("directory")) {
        surroundings.directory = from_hexadecimal(line["directory"]);
    } else if (line.contains("library")) {
        surroundings.answers[calls].push_back(answer_of(line));
    } else if (line.contains("before")) {
        surroundings.before[calls] = bytes_at(line["before"]);
    } else if (line.contains("made")) {
        surroundings.made = tree_of(line["made"]);
        surroundings.made_calls = calls;
    } else {
        SurroundingStep step;
        step.calls = calls;
        if (line.contains("tree")) {
            step.tree = tree_of(line["tree"]);
        } else {
            step.file = from_hexadecimal(line.at("file"));
            if (!line.at("text").is_null())
                step.text = from_hexadecimal(line["text"]);
        }
        surroundings.steps.push_back(std::move(step));
    }
}

}  // namespace

Surroundings read_surroundings(const std::string &directory) {
    const std::string path = directory + "/" + surroundings_file;
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(
            fmt::format("{}: cannot be read; is {} a directory that --record left?", path, directory));
    Surroundings surroundings;
    size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        try {
            take(json::parse(line), surroundings);
        } catch (const std::exception &error) {
            throw std::runtime_error(fmt::format("{}:{}: {}", path, number, error.what()));
        }
    }
    if (surroundings.directory.empty())
        throw std::runtime_error(fmt::format("{}: it does not say where the test worked", path));
    return surroundings;
}

}  // namespace conformance
