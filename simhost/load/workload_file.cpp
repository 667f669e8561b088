#include "simhost/load/workload_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "base/escaped_text.h"
#include "base/nearest_word.h"
#include "simhost/load/workload_settings.h"
#include "simhost/report/failure.h"

namespace {

constexpr char blanks[] = " \t\r";

std::string without_blanks(const std::string &text) {
    const size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string unknown_setting(const std::string &name) {
    std::vector<std::string> names = {"profile"};
    for (const WorkloadSetting &setting : workload_settings())
        names.emplace_back(setting.name);
    const std::string nearest = nearest_word(name, names);
    return fmt::format("{} is no setting{}", in_quotes(name),
                       nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest));
}

void take_setting(Workload &workload, const std::string &name, const std::string &value) {
    if (name == "profile")
        apply_profile(workload, value);
    else
        workload_setting(name)->set(workload, value);
}

}  // namespace

std::vector<WorkloadMistake> read_workload(const std::string &text, Workload &workload) {
    std::vector<WorkloadMistake> mistakes;
    std::set<std::string> seen;
    std::istringstream lines(text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const std::string meant = line.substr(0, line.find('#'));
        const size_t start = meant.find_first_not_of(blanks);
        if (start == std::string::npos)
            continue;
        const size_t equals = meant.find('=');
        const std::string name = without_blanks(meant.substr(0, equals));
        if (equals == std::string::npos) {
            mistakes.push_back({number, start + 1, "a line is NAME = VALUE"});
            continue;
        }
        const std::string value = without_blanks(meant.substr(equals + 1));
        const size_t value_start = meant.find_first_not_of(blanks, equals + 1);
        const size_t value_column = (value_start == std::string::npos ? equals : value_start) + 1;
        if (name != "profile" && workload_setting(name) == nullptr) {
            mistakes.push_back({number, start + 1, unknown_setting(name)});
        } else if (!seen.insert(name).second) {
            mistakes.push_back({number, start + 1, fmt::format("{} was set already", name)});
        } else if (name == "profile" && seen.size() > 1) {
            mistakes.push_back({number, start + 1, "a profile comes before every other setting"});
        } else {
            try {
                take_setting(workload, name, value);
            } catch (const std::invalid_argument &failure) {
                mistakes.push_back({number, value_column, failure.what()});
            }
        }
    }
    return mistakes;
}

std::string mistakes_text(const std::vector<WorkloadMistake> &mistakes, const std::string &name,
                          const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    std::string told;
    for (const WorkloadMistake &mistake : mistakes) {
        const std::string indent(visible(lines[mistake.line - 1].substr(0, mistake.column - 1)).size(), ' ');
        told += fmt::format("{}:{}:{}: {}\n  {}\n  {}^\n", printable(name), mistake.line, mistake.column, mistake.what,
                            visible(lines[mistake.line - 1]), indent);
    }
    return told;
}

std::string workload_text(const Workload &workload) {
    std::string text =
        "# A workload for \"simhost load --workload FILE\". Options of the command line come after it.\n";
    text += "#\n# Operations of the mix:\n";
    for (size_t i = 0; i < operation_count; ++i) {
        const auto operation = static_cast<Operation>(i);
        text += fmt::format("#   {:<11} {}\n", operation_name(operation), operation_meaning(operation));
    }
    for (const WorkloadSetting &setting : workload_settings()) {
        const std::string value = setting.get(workload);
        text += fmt::format("\n# {}.\n{}{} = {}\n", setting.what, value.empty() ? "#" : "", setting.name,
                            value.empty() ? "STSIMG_E_NO_SPACE" : value);
    }
    return text;
}

std::string workload_file_text(const std::string &path) {
    std::ostringstream content;
    if (path == "-") {
        content << std::cin.rdbuf();
        return content.str();
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    content << stream.rdbuf();
    if (errno != 0 && content.str().empty())
        throw UsageError(fmt::format("cannot read {}: {}", printable(path), std::strerror(errno)));
    return content.str();
}

void apply_workload_file(Workload &workload, const std::string &path) {
    const std::vector<WorkloadMistake> mistakes = read_workload(workload_file_text(path), workload);
    if (!mistakes.empty())
        throw UsageError(fmt::format("{}:{}:{}: {}", printable(path), mistakes.front().line, mistakes.front().column,
                                     mistakes.front().what));
}
