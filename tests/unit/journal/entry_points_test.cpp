// The table of entry points against the public header.
#include "journal/entry_points.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>

using namespace journal;

namespace {

struct Declaration {
    std::vector<std::string> arguments;  // "const char *server_name"
};

std::string header_text() {
    std::ifstream file(STSPI_HEADER);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return std::regex_replace(text, std::regex(R"(/\*[^*]*\*+(?:[^/*][^*]*\*+)*/)"), "");
}

// Every function that the header declares.
std::map<std::string, Declaration> declarations() {
    static const std::regex function(R"(int32_t\s+(\w+)\(([^)]*)\);)");
    static const std::regex separator(R"(\s*,\s*)");
    const std::string text = header_text();
    std::map<std::string, Declaration> found;
    for (std::sregex_iterator match(text.begin(), text.end(), function), end; match != end; ++match) {
        Declaration declaration;
        const std::string list = (*match)[2];
        for (std::sregex_token_iterator argument(list.begin(), list.end(), separator, -1), last; argument != last;
             ++argument)
            if (*argument != "void" && *argument != "...")
                declaration.arguments.push_back(std::regex_replace(argument->str(), std::regex(R"(\s+)"), " "));
        found[(*match)[1]] = declaration;
    }
    return found;
}

// "server_name" of "const char *server_name".
std::string argument_name(const std::string &declared) {
    std::smatch match;
    return std::regex_search(declared, match, std::regex(R"((\w+)$)")) ? match[1].str() : "";
}

// The C type that an argument of that kind is declared with, as a pattern.
std::string type_pattern(const Argument &argument) {
    static const std::map<HandleKind, std::string> handles = {{HandleKind::server, "sts_server_handle_t"},
                                                              {HandleKind::lsu_list, "sts_lsu_list_handle_t"},
                                                              {HandleKind::image, "sts_image_handle_t"},
                                                              {HandleKind::image_list, "sts_image_list_handle_t"}};
    static const std::map<std::string, std::string> records = {
        {"session", "sts_session_def_v7_t"},      {"registration", "sts_registration_t"},
        {"registration2", "sts_registration2_t"}, {"host", "sts_host_t"},
        {"server_info", "sts_server_info_t"},     {"lsu", "stsp_lsu_v7_t"},
        {"lsu_info", "sts_lsu_info_v9_t"},        {"image_definition", "sts_image_definition_t"},
        {"image_info", "sts_image_info_t"}};
    switch (argument.kind) {
        case ArgumentKind::ignored:
            return R"(const void \*)";
        case ArgumentKind::number:
            return "uint64_t ";
        case ArgumentKind::number32:
            return "uint32_t ";
        case ArgumentKind::signed32:
            return "int32_t ";
        case ArgumentKind::handle:
            return handles.at(argument.handle) + " ";
        case ArgumentKind::text:
            return R"(const char \*)";
        case ArgumentKind::record:
        case ArgumentKind::records:
            return "const " + records.at(argument.record->name) + R"( \*)";
        case ArgumentKind::data:
            return R"(const void \*)";
        case ArgumentKind::out_handle:
            return handles.at(argument.handle) + R"( \*)";
        case ArgumentKind::out_number:
            return R"(uint64_t \*)";
        case ArgumentKind::out_text:
            return R"(char \*)";
        case ArgumentKind::out_record:
        case ArgumentKind::in_out_record:
            return records.at(argument.record->name) + R"( \*)";
        case ArgumentKind::out_data:
            return R"(void \*)";
    }
    return "";
}

std::vector<const EntryPoint *> known_entry_points() {
    std::vector<const EntryPoint *> known;
    for (unsigned number = 0; number < ENTRY_POINT_NUMBERS; ++number)
        if (const EntryPoint *found = entry_point(number))
            known.push_back(found);
    return known;
}

}  // namespace

TEST(EntryPointTable, HoldsEveryDeclaredFunctionAndNoOther) {
    std::set<std::string> declared;
    for (const auto &[name, declaration] : declarations())
        declared.insert(name);
    std::set<std::string> known;
    for (const EntryPoint *entry : known_entry_points())
        known.insert(entry->name);
    EXPECT_EQ(known, declared);
    EXPECT_EQ(known.size(), 61U);
}

TEST(EntryPointTable, HasTheDeclaredArguments) {
    const auto declared = declarations();
    for (const EntryPoint *entry : known_entry_points()) {
        SCOPED_TRACE(entry->name);
        ASSERT_EQ(declared.count(entry->name), 1U);
        const std::vector<std::string> &arguments = declared.at(entry->name).arguments;
        ASSERT_EQ(entry->argument_count, arguments.size());
        for (size_t i = 0; i < arguments.size(); ++i) {
            EXPECT_EQ(entry->arguments[i].name, argument_name(arguments[i]));
            EXPECT_TRUE(std::regex_match(arguments[i],
                                         std::regex(type_pattern(entry->arguments[i]) + entry->arguments[i].name)))
                << arguments[i] << " is no " << type_pattern(entry->arguments[i]);
        }
    }
}

TEST(EntryPointTable, SlotsAreThoseOfTheHeader) {
    const std::string text = header_text();
    static const std::regex slot(R"(STS_SLOT(2?)_(\w+) = (\d+))");
    size_t slots = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), slot), end; match != end; ++match, ++slots) {
        std::string name = "stspi_";
        for (const char letter : (*match)[2].str())
            name += static_cast<char>(std::tolower(letter));
        const bool second = (*match)[1].length() != 0;
        const auto number = static_cast<unsigned>(std::stoul((*match)[3]));
        const EntryPoint *entry = entry_point(second ? second_table_entry(number) : first_table_entry(number));
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_EQ(entry->name, name);
        EXPECT_EQ(entry->slot, number);
        EXPECT_EQ(entry->table, second ? Table::second : Table::first);
    }
    EXPECT_EQ(slots, 58U);
}

TEST(EntryPointTable, NullSlotsStandForNothing) {
    for (const unsigned slot : {15U, 37U, 38U, 39U, 40U})
        EXPECT_EQ(entry_point(first_table_entry(slot)), nullptr) << slot;
    EXPECT_EQ(entry_point(ENTRY_POINT_NUMBERS), nullptr);
    EXPECT_EQ(entry_point(~0U), nullptr);
}

TEST(EntryPointTable, SizeAndCountArgumentsAreNumbersOfTheSameCall) {
    for (const EntryPoint *entry : known_entry_points())
        for (size_t i = 0; i < entry->argument_count; ++i) {
            const Argument &argument = entry->arguments[i];
            if (argument.kind == ArgumentKind::data || argument.kind == ArgumentKind::out_data) {
                EXPECT_STREQ(entry->arguments[argument.size_argument].name, "length") << entry->name;
            }
            if (argument.kind == ArgumentKind::records) {
                EXPECT_EQ(entry->arguments[argument.size_argument].kind, ArgumentKind::signed32) << entry->name;
            }
            if (argument.kind == ArgumentKind::out_data) {
                EXPECT_EQ(entry->arguments[argument.count_argument].kind, ArgumentKind::out_number) << entry->name;
            }
        }
}

TEST(EntryPointTable, IsSearchedByName) {
    EXPECT_EQ(find_entry_point("stspi_claim"), first_table_entry(STS_SLOT_CLAIM));
    EXPECT_EQ(find_entry_point("load_process"), ENTRY_POINT_LOAD_PROCESS);
    EXPECT_EQ(find_entry_point("stspi_clai"), ENTRY_POINT_NUMBERS);
    EXPECT_EQ(find_entry_point(""), ENTRY_POINT_NUMBERS);
}
