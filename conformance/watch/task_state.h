// What a process or thread does, as the kernel tells it.
#pragma once

#include <string>

namespace conformance {

// The letter in the file "stat" of a directory such as /proc/PID or /proc/PID/task/TID: R when it runs or would run if a
// processor were free, Z when it has ended and is to be waited for, X when it has ended and vanishes, and what proc(5) lists
// besides. '\0' when there is no such process any more.
char task_state(const std::string &directory);

}  // namespace conformance
