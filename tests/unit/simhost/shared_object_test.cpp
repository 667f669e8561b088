#include "simhost/host/shared_object.h"

#include <dlfcn.h>
#include <elf.h>
#include <gmock/gmock.h>
#include <gnu/lib-names.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

#include "simhost/report/failure.h"
#include "tests/support/temp_directory.h"

using testing::Contains;
using testing::HasSubstr;

namespace {

// Of what this program has loaded under that name.
std::string path_of_loaded(const char *name) {
    void *handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    link_map *map = nullptr;
    if (handle == nullptr || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0)
        throw std::runtime_error(std::string(name) + " is not to be found");
    std::string path = map->l_name;
    dlclose(handle);
    return path;
}

// The C library: any machine that runs the test has it.
const std::string &library() {
    static const std::string path = path_of_loaded(LIBC_SO);
    return path;
}

std::string content(const std::string &path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

// Whom a library is for, as its header says it.
struct Machine {
    uint16_t number;
    unsigned char byte_order;
    const char *name;
};

constexpr Machine machines[] = {{EM_X86_64, ELFDATA2LSB, "x86-64"},
                                {EM_AARCH64, ELFDATA2LSB, "64-bit ARM"},
                                {EM_S390, ELFDATA2MSB, "S/390"},
                                {EM_386, ELFDATA2LSB, "32-bit x86"},
                                {EM_PPC64, ELFDATA2MSB, "64-bit PowerPC"},
                                {EM_PPC64, ELFDATA2LSB, "64-bit PowerPC"},
                                {EM_SPARCV9, ELFDATA2MSB, "another machine"}};

// The one that this program is for.
Machine own_machine() {
    Elf64_Ehdr header;
    std::memcpy(&header, content(library()).data(), sizeof header);
    for (const Machine &machine : machines)
        if (machine.number == header.e_machine)
            return machine;
    throw std::runtime_error("a machine that simhost does not know");
}

// The library as it would be for that machine, as far as its first words tell.
std::string library_for(const Machine &machine) {
    std::string bytes = content(library());
    bytes[EI_DATA] = static_cast<char>(machine.byte_order);
    const auto low = static_cast<char>(machine.number & 0xff);
    const auto high = static_cast<char>(machine.number >> 8);
    const bool low_first = machine.byte_order == ELFDATA2LSB;
    bytes[offsetof(Elf64_Ehdr, e_machine)] = low_first ? low : high;
    bytes[offsetof(Elf64_Ehdr, e_machine) + 1] = low_first ? high : low;
    return bytes;
}

std::string refusal(const std::string &path) {
    try {
        demand_loadable(path);
    } catch (const UsageError &failure) {
        return failure.what();
    }
    return "";
}

}  // namespace

TEST(SharedObject, TellsNameNeedsAndExports) {
    const SharedObject object = read_shared_object(library());
    EXPECT_EQ(object.soname, LIBC_SO);
    EXPECT_THAT(object.needed, Contains(LD_SO));
    EXPECT_THAT(object.exports, Contains("fopen"));
    EXPECT_TRUE(std::is_sorted(object.exports.begin(), object.exports.end()));
}

TEST(SharedObject, RefusesWhatCannotBeRead) {
    TempDirectory directory;
    EXPECT_THROW(read_shared_object(directory.path() + "/none"), UsageError);
    EXPECT_THROW(read_shared_object(directory.path()), UsageError);
    std::ofstream(directory.path() + "/empty").flush();
    EXPECT_THROW(read_shared_object(directory.path() + "/empty"), UsageError);
}

TEST(SharedObject, SurvivesFilesThatAreCutAnywhere) {
    TempDirectory directory;
    const std::string path = directory.path() + "/cut";
    const std::string whole = content(library());
    for (size_t length = 1; length < whole.size(); length += whole.size() / 97) {
        std::ofstream(path, std::ios::binary).write(whole.data(), static_cast<std::streamsize>(length));
        EXPECT_THROW(read_shared_object(path), UsageError) << length;
    }
}

TEST(SharedObject, WrongByteInTheHeaderIsRefusedOrDoesNotMatter) {
    TempDirectory directory;
    const std::string path = directory.path() + "/wild";
    const std::string whole = content(library());
    const SharedObject unharmed = read_shared_object(library());
    std::set<size_t> refused;
    for (size_t place = 0; place < sizeof(Elf64_Ehdr); ++place) {
        std::string wild = whole;
        wild[place] = '\xff';
        std::ofstream(path, std::ios::binary) << wild;
        try {
            const SharedObject object = read_shared_object(path);
            EXPECT_EQ(object.soname, unharmed.soname) << place;
            EXPECT_EQ(object.needed, unharmed.needed) << place;
            EXPECT_EQ(object.exports, unharmed.exports) << place;
        } catch (const UsageError &error) {
            EXPECT_THAT(error.what(), HasSubstr(path)) << place;
            refused.insert(place);
        }
    }
    for (const size_t place : {offsetof(Elf64_Ehdr, e_ident), offsetof(Elf64_Ehdr, e_type),
                               offsetof(Elf64_Ehdr, e_machine), offsetof(Elf64_Ehdr, e_shoff) + 7})
        EXPECT_THAT(refused, Contains(place));
}

TEST(DemandLoadable, TellsAnotherMachine) {
    TempDirectory directory;
    const std::string path = directory.path() + "/other";
    const Machine own = own_machine();
    size_t refused = 0;
    for (const Machine &machine : machines) {
        std::ofstream(path, std::ios::binary) << library_for(machine);
        if (machine.number == own.number) {
            EXPECT_EQ(refusal(path), "");
            continue;
        }
        EXPECT_EQ(refusal(path),
                  path + " is no shared library: it is for " + machine.name + ", this program is for " + own.name);
        ++refused;
    }
    EXPECT_EQ(refused, std::size(machines) - 1);
}

TEST(DemandLoadable, TellsThisMachineWithTheOtherByteOrder) {
    TempDirectory directory;
    const std::string path = directory.path() + "/other";
    Machine machine = own_machine();
    machine.byte_order = machine.byte_order == ELFDATA2LSB ? ELFDATA2MSB : ELFDATA2LSB;
    std::ofstream(path, std::ios::binary) << library_for(machine);
    EXPECT_EQ(refusal(path), path + " is no shared library: it is for " + machine.name + " with the other byte order");
}

TEST(DemandLoadable, TellsAFileWhoseSegmentsAreCutOff) {
    TempDirectory directory;
    const std::string path = directory.path() + "/cut";
    std::string whole = content(library());
    // Without sections, as some tools leave a library: the loader does not need them.
    Elf64_Ehdr header;
    std::memcpy(&header, whole.data(), sizeof header);
    header.e_shoff = 0;
    header.e_shnum = 0;
    header.e_shentsize = 0;
    std::memcpy(whole.data(), &header, sizeof header);
    std::ofstream(path, std::ios::binary) << whole;
    EXPECT_NO_THROW(demand_loadable(path));
    std::filesystem::resize_file(path, whole.size() / 2);
    EXPECT_THROW(demand_loadable(path), UsageError);
}

// What a directory says when it is asked for its end differs between file systems.
TEST(DemandLoadable, TellsADirectory) {
    for (const std::string directory : {"/", "/proc", "/dev"})
        EXPECT_EQ(refusal(directory), "cannot read " + directory + ": Is a directory");
}
