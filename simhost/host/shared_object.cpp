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

    void demand(uint64_t offset, uint64_t length) const {
        if (offset > m_bytes.size() || m_bytes.size() - offset < length)
            refuse("it ends too early");
    }

    template <class Record>
    Record at(uint64_t offset) const {
        demand(offset, sizeof(Record));
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

    [[noreturn]] void refuse(const std::string &why) const {
        throw UsageError(fmt::format("{} is no shared library: {}", printable(m_path), why));
    }

private:
    std::string m_path;
    std::string m_bytes;
};

const char *machine_name(uint16_t machine) {
    switch (machine) {
        case EM_X86_64:
            return "x86-64";
        case EM_386:
            return "32-bit x86";
        case EM_AARCH64:
            return "64-bit ARM";
        case EM_ARM:
            return "32-bit ARM";
        case EM_PPC64:
            return "64-bit PowerPC";
        case EM_S390:
            return "S/390";
        case EM_RISCV:
            return "RISC-V";
        default:
            return "another machine";
    }
}

constexpr uint16_t own_machine =
#if defined(__x86_64__)
    EM_X86_64;
#elif defined(__aarch64__)
    EM_AARCH64;
#elif defined(__s390x__)
    EM_S390;
#else
#error "Libraries for this processor cannot be told from others yet: write its number in the header of an ELF file"
#endif

constexpr bool is_little_endian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
constexpr unsigned char own_byte_order = is_little_endian ? ELFDATA2LSB : ELFDATA2MSB;
constexpr unsigned char other_byte_order = is_little_endian ? ELFDATA2MSB : ELFDATA2LSB;

// Numbers of a header are in the byte order of the machine that the file is for.
uint16_t machine_of(const Elf64_Ehdr &header) {
    return header.e_ident[EI_DATA] == other_byte_order ? __builtin_bswap16(header.e_machine) : header.e_machine;
}

// What the loader looks at, and the parts that it maps: it takes the file for complete, and who touches a page that is not
// there is killed.
Elf64_Ehdr checked_header(const ElfFile &file) {
    if (!file.begins_with(ELFMAG))
        file.refuse("it is no ELF file");
    const auto header = file.at<Elf64_Ehdr>(0);
    if (machine_of(header) != own_machine)
        file.refuse(fmt::format("it is for {}, this program is for {}", machine_name(machine_of(header)),
                                machine_name(own_machine)));
    if (header.e_ident[EI_DATA] == other_byte_order)
        file.refuse(fmt::format("it is for {} with the other byte order", machine_name(own_machine)));
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != own_byte_order ||
        header.e_type != ET_DYN || header.e_phentsize != sizeof(Elf64_Phdr))
        file.refuse("it is of another type");
    for (uint64_t i = 0; i < header.e_phnum; ++i) {
        const auto segment = file.at<Elf64_Phdr>(header.e_phoff + i * sizeof(Elf64_Phdr));
        if (segment.p_type == PT_LOAD)
            file.demand(segment.p_offset, segment.p_filesz);
    }
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

ElfFile read_file(const std::string &path) {
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    if (errno != 0 && content.str().empty())
        throw UsageError(fmt::format("cannot read {}: {}", printable(path), std::strerror(errno)));
    return {path, content.str()};
}

}  // namespace

void demand_loadable(const std::string &path) { checked_header(read_file(path)); }

SharedObject read_shared_object(const std::string &path) {
    const ElfFile file = read_file(path);
    const Elf64_Ehdr header = checked_header(file);
    if (header.e_shentsize != sizeof(Elf64_Shdr))
        file.refuse("it is of another type");
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
