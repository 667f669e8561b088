#include "simhost/commands/completion.h"

#include <algorithm>
#include <sstream>

#include "base/escaped_text.h"
#include "simhost/commands/completion_values.h"

namespace {

// How far a command line has come.
struct Typing {
    const CLI::App *command;
    const CLI::Option *awaiting = nullptr;  // the option whose value comes next
    size_t positionals = 0;                 // given already
    GivenWords given;
};

bool is_option(const std::string &word) { return word.size() > 1 && word.front() == '-'; }

bool takes_value(const CLI::Option &option) { return option.get_items_expected_max() > 0; }

const CLI::Option *option_named(const CLI::App &command, const std::string &name) {
    for (const CLI::Option *option : command.get_options())
        if (!option->get_positional() && option->check_name(name))
            return option;
    return nullptr;
}

const CLI::App *command_named(const CLI::App &command, const std::string &name) {
    for (const CLI::App *candidate : command.get_subcommands(nullptr))
        if (candidate->get_name() == name)
            return candidate;
    return nullptr;
}

std::string long_name(const CLI::Option &option) {
    return option.get_lnames().empty() ? "" : "--" + option.get_lnames().front();
}

// The positional argument of that number; the last one may be given any number of times.
const CLI::Option *positional(const CLI::App &command, size_t number) {
    const CLI::Option *found = nullptr;
    size_t count = 0;
    for (const CLI::Option *option : command.get_options())
        if (option->get_positional()) {
            found = option;
            if (count++ == number)
                return option;
        }
    return found != nullptr && found->get_items_expected_max() > 1 ? found : nullptr;
}

void take(Typing &typing, const std::string &word) {
    if (typing.awaiting != nullptr) {
        typing.given.values[long_name(*typing.awaiting)] = word;
        typing.awaiting = nullptr;
        return;
    }
    if (is_option(word)) {
        const size_t equals = word.find('=');
        const CLI::Option *option = option_named(*typing.command, word.substr(0, equals));
        if (option != nullptr && takes_value(*option)) {
            if (equals == std::string::npos)
                typing.awaiting = option;
            else
                typing.given.values[long_name(*option)] = word.substr(equals + 1);
        }
        return;
    }
    if (const CLI::App *command = command_named(*typing.command, word)) {
        typing.command = command;
        typing.given.command += (typing.given.command.empty() ? "" : " ") + word;
        return;
    }
    ++typing.positionals;
    typing.given.words.push_back(word);
}

// An option that takes one of some words has them in its type: "FORMAT:{json,text}".
std::vector<Candidate> allowed_words(const std::string &type) {
    std::vector<Candidate> words;
    const size_t begin = type.find('{');
    const size_t end = type.find('}');
    if (begin == std::string::npos || end == std::string::npos)
        return words;
    std::istringstream list(type.substr(begin + 1, end - begin - 1));
    for (std::string word; std::getline(list, word, ',');)
        words.push_back({word, ""});
    return words;
}

Completion value_of(const Typing &typing, const CLI::Option &option, const std::string &word) {
    const std::string name = option.get_positional() ? option.get_name(true) : long_name(option);
    const std::string type = option.get_positional() ? name : option.get_type_name();
    Completion completion;
    completion.candidates = allowed_words(type);
    if (!completion.candidates.empty())
        return completion;
    if (type == "DIR")
        completion.others = Completion::Others::directories;
    else if (type == "FILE" || type == "PATH" || type == "PLUGIN" || type == "A" || type == "B" || type == "BEFORE" ||
             type == "AFTER")
        completion.others = Completion::Others::files;
    else
        for (std::string &value : values_for(typing.given, name, word))
            completion.candidates.push_back({std::move(value), ""});
    return completion;
}

std::vector<Candidate> options_of(const CLI::App &command) {
    std::vector<Candidate> candidates;
    for (const CLI::Option *option : command.get_options())
        if (!option->get_positional() && !long_name(*option).empty())
            candidates.push_back({long_name(*option), option->get_description()});
    return candidates;
}

std::vector<Candidate> commands_of(const CLI::App &command) {
    std::vector<Candidate> candidates;
    for (const CLI::App *subcommand : command.get_subcommands(nullptr))
        candidates.push_back({subcommand->get_name(), subcommand->get_description()});
    return candidates;
}

Completion completion_at(const CLI::App &app, const Typing &typing, const std::string &word) {
    Completion completion;
    const size_t equals = word.find('=');
    if (typing.awaiting != nullptr) {
        completion = value_of(typing, *typing.awaiting, word);
    } else if (is_option(word) && equals != std::string::npos) {
        if (const CLI::Option *option = option_named(*typing.command, word.substr(0, equals)))
            completion = value_of(typing, *option, word.substr(equals + 1));
        for (Candidate &candidate : completion.candidates)
            candidate.word.insert(0, word.substr(0, equals + 1));
    } else if (word.rfind('-', 0) == 0) {
        completion.candidates = options_of(*typing.command);
    } else if (typing.given.command == "help") {
        const CLI::App *command = &app;
        for (const std::string &given : typing.given.words)
            if (command != nullptr)
                command = command_named(*command, given);
        if (command != nullptr)
            completion.candidates = commands_of(*command);
    } else if (!typing.command->get_subcommands(nullptr).empty()) {
        completion.candidates = commands_of(*typing.command);
    } else if (const CLI::Option *option = positional(*typing.command, typing.positionals)) {
        completion = value_of(typing, *option, word);
    }
    return completion;
}

}  // namespace

Completion complete(const CLI::App &app, const std::vector<std::string> &words) {
    if (words.empty())
        return {};
    Typing typing;
    typing.command = &app;
    for (size_t i = 0; i + 1 < words.size(); ++i)
        take(typing, words[i]);
    Completion completion = completion_at(app, typing, words.back());
    const auto does_not_begin_so = [&words](const Candidate &candidate) {
        return candidate.word.compare(0, words.back().size(), words.back()) != 0;
    };
    std::vector<Candidate> &candidates = completion.candidates;
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(), does_not_begin_so), candidates.end());
    return completion;
}

std::string completion_text(const Completion &completion) {
    static constexpr const char *others[] = {"none", "files", "directories"};
    std::string text = std::string(others[static_cast<size_t>(completion.others)]) + '\n';
    for (const Candidate &candidate : completion.candidates)
        // A name that cannot be typed is none to offer.
        if (visible(candidate.word) == candidate.word)
            text += candidate.word + (candidate.description.empty() ? "" : '\t' + candidate.description) + '\n';
    return text;
}
