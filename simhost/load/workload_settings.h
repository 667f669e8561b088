// The settings of a workload by name: what options and files have in common.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simhost/load/workload.h"

struct WorkloadSetting {
    const char *name;  // "kill-every"
    const char *type;  // "TIME"
    const char *what;
    // Throws std::invalid_argument, which says what is wrong with the value.
    std::function<void(Workload &, const std::string &)> set;
    std::function<std::string(const Workload &)> get;
};
const std::vector<WorkloadSetting> &workload_settings();
// Null when there is none of that name.
const WorkloadSetting *workload_setting(const std::string &name);

// "backup=30,restore=25": every operation that is not named has weight 0. Throws std::invalid_argument.
OperationMix parse_mix(const std::string &text);
std::string mix_text(const OperationMix &mix);

// Puts a profile into force. Throws std::invalid_argument for a name that is none.
void apply_profile(Workload &workload, const std::string &name);
