#include "simhost/host/shared_object.h"

#include <elf.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "base/escaped_text.h"
#include "simhost/report/failure.h"

namespace {

// A file of which only what is asked for is read, with a check of every place: libraries may be large.
class ElfFile {
public:
    explicit ElfFile(const std::string &path) : m_path(path) {
        errno = 0;
        m_stream.open(path, std::ios::binary);
        if (m_stream.peek(); m_stream.bad() || !m_stream.is_open())  // a directory, say
            fail_to_read();
        m_stream.clear();
        m_stream.seekg(0, std::ios::end);
        const std::streamoff end = m_stream.tellg();
        if (end < 0)
            fail_to_read();
        m_size = static_cast<uint64_t>(end);
    }

    uint64_t size() const { return m_size; }

    void demand(uint64_t offset, uint64_t length) const {
        if (offset > m_size || m_size - offset < length)
            refuse("it ends too early");
    }

    std::string bytes(uint64_t offset, uint64_t length) {
        demand(offset, length);
        std::string read(length, '\0');
        errno = 0;
        m_stream.seekg(static_cast<std::streamoff>(offset));
        if (!m_stream.read(read.data(), static_cast<std::streamsize>(length)))
            fail_to_read();
        return read;
    }

    template <class Record>
    Record at(uint64_t offset) {
        const std::string read = bytes(offset, sizeof(Record));
        Record record;
        std::memcpy(&record, read.data(), sizeof record);
        return record;
    }

    // As many as there are whole.
    template <class Record>
    std::vector<Record> records(const Elf64_Shdr &section) {
        std::vector<Record> found;
        const uint64_t count = section.sh_size / sizeof(Record);
        if (count == 0)
            return found;
        const std::string read = bytes(section.sh_offset, count * sizeof(Record));
        found.resize(count);
        std::memcpy(found.data(), read.data(), read.size());
        return found;
    }

    // As much of them as the file has.
    std::string strings(const Elf64_Shdr &section) {
        const uint64_t offset = std::min(section.sh_offset, m_size);
        return bytes(offset, std::min(section.sh_size, m_size - offset));
    }

    std::string text(const std::string &names, uint64_t offset) const {
        if (offset >= names.size())
            refuse("a name lies outside of it");
        return names.c_str() + offset;
    }

    [[noreturn]] void refuse(const std::string &why) const {
        throw UsageError(fmt::format("{} is no shared library: {}", printable(m_path), why));
    }

private:
    [[noreturn]] void fail_to_read() const {
        throw UsageError(fmt::format("cannot read {}: {}", printable(m_path), std::strerror(errno != 0 ? errno : EIO)));
    }

    std::string m_path;
    std::ifstream m_stream;
    uint64_t m_size = 0;
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
Elf64_Ehdr checked_header(ElfFile &file) {
    if (file.bytes(0, std::min<uint64_t>(file.size(), SELFMAG)) != ELFMAG)
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

void read_exports(ElfFile &file, const Elf64_Shdr &symbols, const std::string &names, SharedObject &object) {
    for (const auto &symbol : file.records<Elf64_Sym>(symbols)) {
        const unsigned type = ELF64_ST_TYPE(symbol.st_info);
        if (symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS && type != STT_SECTION &&
            ELF64_ST_BIND(symbol.st_info) != STB_LOCAL)
            object.exports.push_back(file.text(names, symbol.st_name));
    }
    std::sort(object.exports.begin(), object.exports.end());
}

void read_dynamic(ElfFile &file, const Elf64_Shdr &dynamic, const std::string &names, SharedObject &object) {
    for (const auto &entry : file.records<Elf64_Dyn>(dynamic)) {
        if (entry.d_tag == DT_NEEDED)
            object.needed.push_back(file.text(names, entry.d_un.d_val));
        else if (entry.d_tag == DT_SONAME)
            object.soname = file.text(names, entry.d_un.d_val);
    }
}

}  // namespace

void demand_loadable(const std::string &path) {
    ElfFile file(path);
    checked_header(file);
}

SharedObject read_shared_object(const std::string &path) {
    ElfFile file(path);
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
            read_exports(file, found, file.strings(section(found.sh_link)), object);
        else if (found.sh_type == SHT_DYNAMIC)
            read_dynamic(file, found, file.strings(section(found.sh_link)), object);
    }
    return object;
}
