#include "simhost/host/shared_object.h"

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "simhost/report/failure.h"
#include "tests/support/temp_directory.h"

using testing::Contains;
using testing::HasSubstr;

namespace {

// The C library: any machine that runs the test has it.
constexpr char library[] = "/lib/x86_64-linux-gnu/libc.so.6";

std::string content(const std::string &path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

}  // namespace

TEST(SharedObject, TellsNameNeedsAndExports) {
    const SharedObject object = read_shared_object(library);
    EXPECT_EQ(object.soname, "libc.so.6");
    EXPECT_THAT(object.needed, Contains("ld-linux-x86-64.so.2"));
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
    const std::string whole = content(library);
    for (size_t length = 1; length < whole.size(); length += whole.size() / 97) {
        std::ofstream(path, std::ios::binary).write(whole.data(), static_cast<std::streamsize>(length));
        EXPECT_THROW(read_shared_object(path), UsageError) << length;
    }
}

TEST(SharedObject, WrongByteInTheHeaderIsRefusedOrDoesNotMatter) {
    TempDirectory directory;
    const std::string path = directory.path() + "/wild";
    const std::string whole = content(library);
    const SharedObject unharmed = read_shared_object(library);
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
    std::string other = content(library);
    for (const auto &[machine, name] : {std::pair{EM_AARCH64, "64-bit ARM"}, std::pair{EM_386, "32-bit x86"}}) {
        other[offsetof(Elf64_Ehdr, e_machine)] = static_cast<char>(machine);
        std::ofstream(path, std::ios::binary) << other;
        try {
            demand_loadable(path);
            ADD_FAILURE() << name;
        } catch (const UsageError &failure) {
            EXPECT_NE(
                std::string(failure.what()).find(std::string("it is for ") + name + ", this program is for x86-64"),
                std::string::npos)
                << failure.what();
        }
    }
}

TEST(DemandLoadable, TellsAFileWhoseSegmentsAreCutOff) {
    TempDirectory directory;
    const std::string path = directory.path() + "/cut";
    std::string whole = content(library);
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
