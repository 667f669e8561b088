#include "conformance/run/runner.h"

#include <algorithm>
#include <memory>
#include <tuple>

namespace conformance {

std::vector<TestResult> in_order(std::vector<TestResult> results) {
    std::sort(results.begin(), results.end(), [](const TestResult &a, const TestResult &b) {
        return std::tie(a.round, a.test->id) < std::tie(b.round, b.test->id);
    });
    return results;
}

std::vector<TestResult> run_tests(const RunPlan &plan, const TestSettings &settings, const OnResult &on_result,
                                  const StopQuestion &stopped) {
    struct Job {
        const TestCase *test;
        unsigned round;
    };
    std::vector<Job> waiting;
    for (unsigned round = 1; round <= plan.repeat; ++round)
        for (const TestCase *test : plan.tests)
            waiting.push_back({test, round});
    std::stable_partition(waiting.begin(), waiting.end(), [](const Job &job) { return job.test->is_long; });
    std::reverse(waiting.begin(), waiting.end());

    std::vector<TestResult> results;
    std::vector<std::unique_ptr<TestProcess>> running;
    while (!stopped() && (!waiting.empty() || !running.empty())) {
        if (!waiting.empty() && running.size() < plan.jobs) {
            const Job job = waiting.back();
            waiting.pop_back();
            running.push_back(std::make_unique<TestProcess>(*job.test, job.round, settings));
            continue;
        }
        std::vector<ChildProcess *> children;
        children.reserve(running.size());
        for (const auto &test : running)
            children.push_back(&test->child());
        const size_t ended = wait_for_any(children, stopped);
        if (ended == children.size())
            break;
        results.push_back(running[ended]->result());
        running.erase(running.begin() + static_cast<std::ptrdiff_t>(ended));
        on_result(results.back());
    }
    return in_order(std::move(results));
}

}  // namespace conformance
