#include "conformance/explore/configuration_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/private_directory.h"

using conformance::ConfigurationFiles;
using conformance::History;

TEST(ConfigurationFiles, WhatAnEarlierRoundWroteBetweenCallsIsGone) {
    const PrivateDirectory directory("configuration-files-test", AtEnd::remove_all);
    History history;
    history.files["copan"] = {"STORAGE_SERVER = a;\n"};
    for (const char *name : {"lab", "copan"}) {
        conformance::model::Call &call = history.calls.emplace_back();
        call.operation = conformance::model::Operation::set_config;
        call.name = name;
        call.text = "later";
    }
    const ConfigurationFiles files(directory.path());
    files.begin(history);
    for (const conformance::model::Call &call : history.calls)
        files.write(*call.name, call.text);
    EXPECT_TRUE(std::filesystem::exists(directory / "lab.sim"));

    files.begin(history);
    EXPECT_FALSE(std::filesystem::exists(directory / "lab.sim"));
    std::ifstream file(directory / "copan.sim");
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line, "STORAGE_SERVER = a;");
}
