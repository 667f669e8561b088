#include "conformance/model/copan_array.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "recording_machine.h"

using conformance::model::CopanArray;
using testing::ElementsAre;

namespace {

std::string output;

std::optional<CopanArray> read(const std::string &name, const std::string &file) {
    output.clear();
    return CopanArray::read(name, file, output);
}

constexpr char two_sections[] =
    "STORAGE_SERVER = arr1.lab;\nVOLUMES = v1,v2,v1;\nSTORAGE_DIR = /c;x;\nSTORAGE_SERVER = arr2;\nVOLUMES = w;\n";

}  // namespace

TEST(CopanArray, ASectionIsTheServersWithAndWithoutDomain) {
    for (const char *name : {"copan:arr1", "copan:arr1.lab", "copan:arr1.other"})
        EXPECT_THAT(read(name, two_sections)->lsus(), ElementsAre("v1", "v2", "v1")) << name;
    EXPECT_FALSE(read("copan:arr", two_sections));
    EXPECT_FALSE(read("copan:ARR1", two_sections));
}

TEST(CopanArray, ALineWithoutEqualsEndsTheFile) {
    const auto array = read("copan:arr2", "VOLUMES=x\n\n#c\nSTORAGE_SERVER=arr2;\nVOLUMES=w;\n");
    ASSERT_TRUE(array);
    EXPECT_THAT(array->lsus(), ElementsAre());
    EXPECT_EQ(output, "'=' not found\n");
}

TEST(CopanArray, ANameWithoutColonGivesAnEmptyArray) {
    EXPECT_EQ(read("copan", two_sections)->name(), "");
    EXPECT_EQ(output, "Error in server_name\n");
}

TEST(CopanArray, DirectoriesAreMadeForAnyName) {
    RecordingMachine machine;
    const auto quiet = [](const std::string &) {};
    EXPECT_EQ(read("copan:arr1", two_sections)->directory_of(machine, "v9", quiet), "/c/v9");
    EXPECT_THAT(machine.made, ElementsAre("mkdir /c", "mkdir /c/v9"));
}

TEST(CopanArray, AFailureTellsTheStorageDirectoryEitherWay) {
    RecordingMachine machine;
    std::vector<std::string> said;
    const auto keep = [&](const std::string &text) { said.push_back(text); };
    machine.errors["mkdir /c"] = {EEXIST, EACCES};
    machine.errors["mkdir /c/v"] = {EROFS};
    EXPECT_FALSE(read("copan:arr1", two_sections)->directory_of(machine, "v", keep));
    EXPECT_FALSE(read("copan:arr1", two_sections)->directory_of(machine, "v", keep));
    EXPECT_THAT(
        said, ElementsAre("vol directory creation failed: ", "/c", "m_storage_dir directory creation failed: ", "/c"));
}
