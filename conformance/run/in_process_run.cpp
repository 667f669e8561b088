#include "conformance/run/in_process_run.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "conformance/calls/configuration.h"
#include "conformance/calls/image_calls.h"
#include "conformance/run/surroundings.h"
#include "conformance/watch/call_note.h"
#include "conformance/watch/call_watch.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/in_process.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

const char *const not_guarded_in_process =
    "all tests run in this process: a crash, an exit or a hang ends the run, no time limit holds, what one test leaves "
    "is "
    "there for the next, and the end of a process is not looked at";

namespace {

// Standard output of the tests goes to a file, as it does in processes of their own; standard error stays.
class OutputElsewhere {
public:
    OutputElsewhere() : before_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)), output_("standard output") {
        std::fflush(nullptr);
        redirect_output(output_.descriptor(), STDERR_FILENO);
    }
    ~OutputElsewhere() {
        std::fflush(nullptr);
        dup2(before_, STDOUT_FILENO);
        close(before_);
    }
    OutputElsewhere(const OutputElsewhere &) = delete;
    OutputElsewhere &operator=(const OutputElsewhere &) = delete;

private:
    int before_;
    UnnamedFile output_;
};

TestResult run_one(const TestCase &test, unsigned round, const TestSettings &settings) {
    const auto start = std::chrono::steady_clock::now();
    const TestPlace place(test, round, settings);
    const UnnamedFile made("what was made");
    const UnnamedFile report("report");
    findings().clear();
    forget_calls();
    forget_written_configuration();
    load_image_double();
    images() = {};
    CallWatch::switch_on(true);
    const std::string directory = std::filesystem::current_path().string();
    {
        const OutputElsewhere output;
        run_test_here(test, settings, place, made.descriptor(), report.descriptor());
    }
    std::filesystem::current_path(directory);
    TestResult result;
    result.test = &test;
    result.round = round;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const bool has_failed = read_report(report.contents(), result);
    result.outcome = outcome_of(result, has_failed);
    keep_what_is_asked_for(place, settings, result.outcome);
    clear_place(place, made.contents());
    return result;
}

}  // namespace

std::vector<TestResult> run_tests_in_process(const RunPlan &plan, const TestSettings &settings,
                                             const OnResult &on_result, const StopQuestion &stopped) {
    let_tests_run_in_process();
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    prepare_test_process();
    std::vector<TestResult> results;
    results.reserve(plan.tests.size() * plan.repeat);
    for (unsigned round = 1; round <= plan.repeat; ++round)
        for (const TestCase *test : plan.tests) {
            if (stopped())
                return results;
            results.push_back(run_one(*test, round, settings));
            on_result(results.back());
        }
    return results;
}

}  // namespace conformance
