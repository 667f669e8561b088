// A machine that does nothing, remembers what it was asked to do, and fails where a test wants it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "conformance/model/machine.h"

class RecordingMachine : public conformance::model::Machine {
public:
    std::vector<std::string> made;
    std::map<std::string, std::vector<int>> errors;  // "mkdir /a": the answers to come, then 0

    std::string array_name() override { return "node.domain"; }
    const void *first_table() override { return nullptr; }
    const void *second_table() override { return nullptr; }
    int make_directory(const std::string &path) override { return answer("mkdir " + path); }
    int make_link(const std::string &target, const std::string &path) override {
        return answer("symlink " + target + " " + path);
    }
    int remove_link(const std::string &path) override { return answer("unlink " + path); }
    int look_at(const std::string &path) override { return answer("stat " + path); }
    int ask_sizes(const std::string &path) override { return answer("statvfs " + path); }
    bool may_make(const std::string &) override { return true; }

private:
    int answer(const std::string &call) {
        made.push_back(call);
        auto &left = errors[call];
        if (left.empty())
            return 0;
        const int error = left.front();
        left.erase(left.begin());
        return error;
    }
};
