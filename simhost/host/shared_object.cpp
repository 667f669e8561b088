#include "simhost/host/shared_object.h"

#include <elf.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "base/escaped_text.h"
#include "simhost/report/failure.h"

namespace {

// A file's bytes, read with a check of every place.
class ElfFile {
public:
    ElfFile(const std::string &path, std::string bytes) : m_path(path), m_bytes(std::move(bytes)) {}

    template <class Record>
    Record at(uint64_t offset) const {
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof(Record))
            refuse("it ends too early");
        Record record;
        std::memcpy(&record, m_bytes.data() + offset, sizeof record);
        return record;
    }

    bool begins_with(const std::string &beginning) const {
        return m_bytes.compare(0, beginning.size(), beginning) == 0;
    }

    std::string text(const Elf64_Shdr &strings, uint64_t offset) const {
        const uint64_t place = strings.sh_offset + offset;
        if (offset >= strings.sh_size || place >= m_bytes.size())
            refuse("a name lies outside of it");
        return std::string(m_bytes.data() + place,
                           strnlen(m_bytes.data() + place, std::min(strings.sh_size - offset, m_bytes.size() - place)));
    }

    [[noreturn]] void refuse(const char *why) const {
        throw UsageError(fmt::format("{} is no shared library: {}", printable(m_path), why));
    }

private:
    std::string m_path;
    std::string m_bytes;
};

Elf64_Ehdr checked_header(const ElfFile &file) {
    if (!file.begins_with(ELFMAG))
        file.refuse("it is no ELF file");
    const auto header = file.at<Elf64_Ehdr>(0);
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_machine != EM_X86_64)
        file.refuse("it is not for x86-64");
    if (header.e_type != ET_DYN || header.e_shentsize != sizeof(Elf64_Shdr))
        file.refuse("it is of another type");
    return header;
}

void read_exports(const ElfFile &file, const Elf64_Shdr &symbols, const Elf64_Shdr &strings, SharedObject &object) {
    for (uint64_t offset = 0; offset + sizeof(Elf64_Sym) <= symbols.sh_size; offset += sizeof(Elf64_Sym)) {
        const auto symbol = file.at<Elf64_Sym>(symbols.sh_offset + offset);
        const unsigned type = ELF64_ST_TYPE(symbol.st_info);
        if (symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS && type != STT_SECTION &&
            ELF64_ST_BIND(symbol.st_info) != STB_LOCAL)
            object.exports.push_back(file.text(strings, symbol.st_name));
    }
    std::sort(object.exports.begin(), object.exports.end());
}

void read_dynamic(const ElfFile &file, const Elf64_Shdr &dynamic, const Elf64_Shdr &strings, SharedObject &object) {
    for (uint64_t offset = 0; offset + sizeof(Elf64_Dyn) <= dynamic.sh_size; offset += sizeof(Elf64_Dyn)) {
        const auto entry = file.at<Elf64_Dyn>(dynamic.sh_offset + offset);
        if (entry.d_tag == DT_NEEDED)
            object.needed.push_back(file.text(strings, entry.d_un.d_val));
        else if (entry.d_tag == DT_SONAME)
            object.soname = file.text(strings, entry.d_un.d_val);
    }
}

}  // namespace

SharedObject read_shared_object(const std::string &path) {
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    if (errno != 0 && content.str().empty())
        throw UsageError(fmt::format("cannot read {}: {}", printable(path), std::strerror(errno)));
    const ElfFile file(path, content.str());
    const Elf64_Ehdr header = checked_header(file);
    const auto section = [&](uint64_t index) {
        return file.at<Elf64_Shdr>(header.e_shoff + index * sizeof(Elf64_Shdr));
    };
    SharedObject object;
    for (uint64_t i = 0; i < header.e_shnum; ++i) {
        const Elf64_Shdr found = section(i);
        if (found.sh_type == SHT_DYNSYM)
            read_exports(file, found, section(found.sh_link), object);
        else if (found.sh_type == SHT_DYNAMIC)
            read_dynamic(file, found, section(found.sh_link), object);
    }
    return object;
}
