#include "conformance/calls/exports.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace conformance {

namespace {

template <typename T>
T read_at(const std::vector<char> &file, uint64_t offset) {
    if (offset > file.size() || file.size() - offset < sizeof(T))
        throw std::runtime_error("the library's file is cut short");
    T value;
    std::memcpy(&value, file.data() + offset, sizeof value);
    return value;
}

std::string text_at(const std::vector<char> &file, uint64_t offset) {
    std::string text;
    for (; offset < file.size() && file[offset] != '\0'; ++offset)
        text += file[offset];
    return text;
}

}  // namespace

std::set<std::string> exports_of(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    const std::vector<char> file((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const auto header = read_at<Elf64_Ehdr>(file, 0);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64)
        throw std::runtime_error("not a 64-bit ELF file");
    const auto section = [&](uint64_t index) {
        return read_at<Elf64_Shdr>(file, header.e_shoff + index * sizeof(Elf64_Shdr));
    };
    std::set<std::string> names;
    for (uint64_t i = 0; i < header.e_shnum; ++i) {
        const Elf64_Shdr table = section(i);
        if (table.sh_type != SHT_DYNSYM)
            continue;
        const Elf64_Shdr strings = section(table.sh_link);
        for (uint64_t offset = 0; offset < table.sh_size; offset += sizeof(Elf64_Sym)) {
            const auto symbol = read_at<Elf64_Sym>(file, table.sh_offset + offset);
            const auto binding = ELF64_ST_BIND(symbol.st_info);
            if (symbol.st_shndx != SHN_UNDEF && (binding == STB_GLOBAL || binding == STB_WEAK))
                names.insert(text_at(file, strings.sh_offset + symbol.st_name));
        }
    }
    return names;
}

}  // namespace conformance
