#include "sim/name_lists.h"

#include <array>
#include <cstring>
#include <memory>

#include "sim/array_size.h"
#include "sim/ascii.h"

namespace {

// Room that every list has from the start; a longer list grows.
constexpr size_t initial_names = 512;

constexpr size_t initial_hosts = 16;

bool is_name_byte(char byte) {
    return is_ascii_letter(byte) || is_ascii_digit(byte) || byte == '_' || byte == '-' || byte == '.';
}

using NameBuffer = std::array<char, name_size>;

NameBuffer purified(const char *raw) {
    NameBuffer buffer{};
    std::memcpy(buffer.data(), raw, strnlen(raw, name_size - 1));
    purify(buffer.data(), name_size);
    return buffer;
}

// Calls accept with each purified piece, in order.
template <class Accept>
void split(const char *text, const char *separators, Accept accept) {
    std::string rest = text;
    char *position = nullptr;
    for (char *piece = strtok_r(rest.data(), separators, &position); piece != nullptr;
         piece = strtok_r(nullptr, separators, &position))
        accept(purified(piece).data());
}

}  // namespace

void purify(char *text, int count) {
    for (int i = 0; i < count && text[i] != '\0'; ++i)
        if (!is_name_byte(text[i]))
            text[i] = '\0';
}

Name purified_name(const char *raw) { return Name(purified(raw).data()); }

NameList *tokenize(const char *text, const char *separators) {
    auto names = std::make_unique<NameList>();
    resize(*names, initial_names);
    size_t count = 0;
    split(text, separators, [&](const char *name) {
        if (count == names->size())
            resize(*names, 2 * count);
        (*names)[count++] = name;
    });
    resize(*names, count);
    return names.release();
}

std::vector<std::string> *tokenize_to_vector(const char *text, const char *separators) {
    auto names = std::make_unique<std::vector<std::string>>();
    names->reserve(initial_names);
    split(text, separators, [&](const char *name) { names->emplace_back(name); });
    return names.release();
}

HostSet *tokenize_to_map(const char *text, const char *separators) {
    auto names = std::make_unique<HostSet>(initial_hosts);
    std::string rest = text;
    // strtok, not strtok_r: that reading a file shares the process's tokenizer is known and accepted.
    for (char *piece = std::strtok(rest.data(), separators); piece != nullptr; piece = std::strtok(nullptr, separators))
        names->bind(Name(purified(piece).data()), 1);
    return names.release();
}

std::string joined_names(const NameList *names) {
    std::string text;
    for (size_t i = 0; names != nullptr && i < names->size(); ++i) {
        text += i != 0 ? "," : "";
        text += c_text((*names)[i]);
    }
    return text;
}

std::string joined_names(const HostSet *hosts) {
    std::string text;
    if (hosts == nullptr)
        return text;
    const char *separator = "";
    for (HostSet::const_iterator entry(*hosts); entry.done() == 0; ++entry) {
        text += separator;
        text += c_text((*entry).ext_id_);
        separator = ",";
    }
    return text;
}
