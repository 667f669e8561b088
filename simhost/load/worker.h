// A process of the load: loads the plug-in, registers, and runs its streams as threads.
#pragma once

#include "simhost/load/load_target.h"
#include "simhost/load/run_state.h"

enum class WorkerTask { load, verify, verify_and_keep };

// In a process that was forked for it; ends that process. number: which of the processes, 0 to the workload's count - 1. A verifying worker takes
// all streams of the run.
[[noreturn]] void work_as_process(RunState &run, const LoadTarget &target, unsigned number, WorkerTask task);
