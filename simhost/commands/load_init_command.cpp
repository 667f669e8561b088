// simhost load init: a workload as a file, to start from.
#include <fmt/format.h>

#include <memory>
#include <stdexcept>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/data_sink.h"
#include "simhost/load/workload_file.h"
#include "simhost/load/workload_settings.h"

namespace {

struct LoadInitOptions {
    std::string file = "-";
    std::string profile;
    bool replace = false;
};

void write_workload(const LoadInitOptions &options, Report &report) {
    Workload workload;
    try {
        if (!options.profile.empty())
            apply_profile(workload, options.profile);
    } catch (const std::invalid_argument &failure) {
        throw UsageError(fmt::format("--profile: {}", failure.what()));
    }
    const std::string text = workload_text(workload);
    if (options.file == "-") {
        report.line("{}", text.substr(0, text.size() - 1));
        report.result()["text"] = text;
        return;
    }
    DataSink file(options.file, options.replace, report.own_output());
    file.write(text.data(), text.size());
    file.finish();
    report.line("wrote {}", printable(options.file));
    report.result() = {{"file", options.file}, {"text", text}};
}

}  // namespace

void add_load_init_command(CLI::App &load, CommandLine &line) {
    auto options = std::make_shared<LoadInitOptions>();
    CLI::App *command = add_command(load, "init", "Write a workload to start from");
    command->add_option("FILE", options->file, "Where to write it (default: standard output)");
    command->add_option("--profile", options->profile, "Profile whose settings it has")->type_name("NAME");
    command->add_flag("--replace", options->replace, "Write over a file that is there");
    add_json_option(*command, line.output);
    command->callback([options, &line] {
        line.command = "load init";
        line.action = [options](Workbench &bench) { write_workload(*options, bench.report); };
    });
}
