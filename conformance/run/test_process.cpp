#include "conformance/run/test_process.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "conformance/calls/configuration.h"
#include "conformance/calls/image_calls.h"
#include "conformance/calls/plugin_library.h"

namespace conformance {

TestProcess::TestProcess(const TestCase &test, unsigned round, const TestSettings &settings)
    : test_(test), round_(round), settings_(settings), place_(test, round, settings), made_("what was made") {
    const auto work = [&](int report) { run_test_here(test, settings, place_, made_.descriptor(), report); };
    child_ = std::make_unique<ChildProcess>(work, settings.time_limit * (test.is_long ? 4 : 1));
}

TestProcess::~TestProcess() {
    child_->finish();
    clear_place(place_, made_.contents());
}

TestResult TestProcess::result() const {
    TestResult result;
    result.test = &test_;
    result.round = round_;
    result.seconds = child_->seconds();
    const bool has_failed = read_report(child_->report(), result);
    if (!child_->ended_well()) {
        result.outcome = child_->timed_out() ? Outcome::timeout : child_->crashed() ? Outcome::crash : Outcome::fail;
        result.reason = child_->end_text();
        result.error_output = child_->error_output();
        if (result.findings.empty())
            result.configuration = configuration_left(place_);
    } else {
        result.outcome = outcome_of(result, has_failed);
        if (has_failed)
            result.error_output = child_->error_output();
    }
    keep_what_is_asked_for(place_, settings_, result.outcome);
    return result;
}

std::string why_not_testable(const TestSettings &settings) {
    struct stat status;
    if (stat(settings.plugin.c_str(), &status) != 0)
        return fmt::format("{}: {}", settings.plugin, std::strerror(errno));
    const auto load = [&](int report) {
        use_configuration_directory(settings.directory, -1);
        load_image_double();
        std::string reason;
        try {
            const PluginLibrary library(settings.plugin, RTLD_NOW | RTLD_LOCAL);
            for (const char *name : {"stspi_init", "stspi_init2", "STSSanDiskEntryPoints", "STSSANDiskEntryPoints2"})
                if (library.symbol(name) == nullptr)
                    reason += fmt::format("{}{}", reason.empty() ? "not a plug-in, it does not export " : ", ", name);
        } catch (const std::runtime_error &error) {
            reason = fmt::format("cannot be loaded: {}", error.what());
        }
        if (write(report, reason.data(), reason.size()) < 0)
            std::abort();
    };
    ChildProcess child(load, settings.time_limit);
    wait_for_any({&child}, [] { return false; });
    std::string reason = child.report();
    if (reason.empty() && !child.ended_well())
        reason = child.end_text() + (child.error_output().empty() ? "" : "\n" + child.error_output());
    return reason.empty() ? reason : fmt::format("{}: {}", settings.plugin, reason);
}

}  // namespace conformance
