// simhost load: many streams at once, every byte checked.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "base/escaped_text.h"
#include "base/private_directory.h"
#include "redirect/config_redirect.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/data_sink.h"
#include "simhost/host/image_root.h"
#include "simhost/host/interrupt.h"
#include "simhost/host/plugin_library.h"
#include "simhost/load/live_table.h"
#include "simhost/load/load_document.h"
#include "simhost/load/load_page.h"
#include "simhost/load/load_run.h"
#include "simhost/load/load_series.h"
#include "simhost/load/load_text.h"
#include "simhost/load/workload_file.h"
#include "simhost/load/workload_settings.h"

namespace {

struct LoadCommandOptions {
    ServerOptions server;
    std::vector<std::string> lsus;
    std::string profile;
    std::string workload_file;
    std::vector<std::pair<std::string, std::string>> settings;  // of the command line, in its order
    LoadOptions run;
    std::string html;
    std::string csv;
    std::string prometheus;
};

void put(Workload &workload, const std::string &option, const std::function<void(Workload &)> &set) {
    try {
        set(workload);
    } catch (const std::invalid_argument &failure) {
        throw UsageError(fmt::format("--{}: {}", option, failure.what()));
    }
}

// A profile, then the file, then what the command line says itself.
Workload workload_of(const LoadCommandOptions &options) {
    Workload workload;
    if (!options.profile.empty())
        put(workload, "profile", [&](Workload &changed) { apply_profile(changed, options.profile); });
    if (!options.workload_file.empty())
        apply_workload_file(workload, options.workload_file);
    bool has_duration = false;
    bool has_limit = false;
    for (const auto &setting : options.settings) {
        const std::string &name = setting.first;
        put(workload, name, [&](Workload &changed) { workload_setting(name)->set(changed, setting.second); });
        has_duration = has_duration || name == "duration";
        has_limit = has_limit || name == "operations" || name == "bytes";
    }
    if (has_limit && !has_duration)
        workload.duration_seconds = 0;
    if (workload.duration_seconds <= 0 && workload.operations == 0 && workload.bytes == 0)
        throw UsageError("nothing says when to end: give --duration, --operations or --bytes");
    return workload;
}

// The surroundings must be as they are to be before a process loads the plug-in.
void prepare(const HostOptions &host, const std::string &private_directory) {
    if (!host.config_dir.empty())
        set_config_directory(host.config_dir);
    if (!host.image_root.empty())
        use_image_root(host.image_root);
    else if (std::getenv("STSIMAGE_ROOT") == nullptr)
        setenv("STSIMAGE_ROOT", private_directory.c_str(), 1);
}

void write_file(const std::string &path, const std::string &text, Report &report) {
    DataSink file(path, true, report.own_output());
    file.write(text.data(), text.size());
    file.finish();
    if (!file.is_standard_output())
        report.line("wrote          {}", printable(path));
}

void remove_directories(std::vector<std::string> made) {
    std::reverse(made.begin(), made.end());
    for (const std::string &path : made)
        rmdir(path.c_str());
}

void tell_outcome(const LoadCommandOptions &options, const Json &load, Report &report) {
    tell_load(load, report);
    for (const auto &[path, text] : {std::pair{options.html, &load_page}, std::pair{options.csv, &series_csv},
                                     std::pair{options.prometheus, &metrics_text}})
        if (!path.empty())
            write_file(path, text(load), report);
    report.result() = load;
}

void load(const LoadCommandOptions &options, const HostOptions &host, Workbench &bench) {
    if (options.server.server.empty())
        throw UsageError("--server is required");
    demand_server_name(options.server.server);
    const Workload workload = workload_of(options);
    PrivateDirectory private_directory("simhost", AtEnd::remove_all);
    const PrivateDirectory links("simhost-mounts", AtEnd::remove_all);
    prepare(host, private_directory.path());
    if (options.run.keep)
        private_directory.keep();
    std::unique_ptr<FilterSession> filter;
    if (host.filter.wanted())
        filter = std::make_unique<FilterSession>(host.filter, host.plugin, default_plugin_path());
    LoadTarget target;
    target.plain_plugin = filter ? filter->plugin() : host.plugin.empty() ? default_plugin_path() : host.plugin;
    target.plugin = filter ? default_filter_path() : target.plain_plugin;
    target.image_library = host.image_library;
    target.server = options.server.server;
    target.hosts = options.server.hosts_or_default();
    target.mount_directory = links.path();
    look_at_target(target, options.lsus, workload.mix[static_cast<size_t>(Operation::mount)] > 0);
    RunState run(workload);
    LoadOutcome outcome;
    {
        LiveTable live(bench.report.shows_progress());
        outcome = LoadRun(run, target, options.run).perform([&](const TimePoint &point) {
            if (bench.report.options().progress)
                live.show(point, run.found_total());
        });
    }
    if (!options.run.keep)
        remove_directories(target.made_directories);
    tell_outcome(options, load_document(run, target, outcome), bench.report);
    if (filter)
        filter->tell(bench.report);
    if (outcome.signal != 0)
        throw Interrupted(outcome.signal);
    if (run.found_total() > 0)
        throw BadAnswer(fmt::format("{} broken promise{}", run.found_total(), run.found_total() == 1 ? "" : "s"));
}

void add_workload_options(CLI::App &command, LoadCommandOptions &options) {
    std::string profiles;
    for (const Profile &profile : load_profiles())
        profiles += fmt::format("{}{}", profiles.empty() ? "" : ", ", profile.name);
    command.add_option("--profile", options.profile, "Workload to start from: " + profiles)->type_name("NAME");
    command.add_option("--workload", options.workload_file, "File with a workload; \"load init\" writes one")
        ->type_name("FILE");
    for (const WorkloadSetting &setting : workload_settings())
        command
            .add_option_function<std::string>(
                fmt::format("--{}", setting.name),
                [&options, name = std::string(setting.name)](const std::string &value) {
                    options.settings.emplace_back(name, value);
                },
                setting.what)
            ->type_name(setting.type);
}

}  // namespace

void add_load_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<LoadCommandOptions>();
    CLI::App *command = add_command(app, "load", "Put a load on a server, check every byte, and measure");
    add_server_options(*command, options->server);
    // Its commands need no server.
    command->get_option("--server")->required(false);
    command->add_option("--lsu", options->lsus, "Pools, or LSUs of a Copan array, to use (default: all listed)")
        ->type_name("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    add_workload_options(*command, *options);
    command->add_flag("--keep", options->run.keep, "Leave the images");
    command->add_flag("--stop-at-first", options->run.stop_at_first, "End with the first broken promise");
    command->add_option("--html", options->html, "Page with charts to write")->type_name("FILE");
    command->add_option("--csv", options->csv, "Time series to write, comma-separated")->type_name("FILE");
    command->add_option("--prometheus", options->prometheus, "Totals to write, for a collector of metrics")
        ->type_name("FILE");
    add_host_options(*command, line.host);
    add_progress_option(*command, line.output);
    add_output_options(*command, line.output);
    command->footer(
        "Streams write, read, list and delete images whose every block tells what it is.\n"
        "What the plug-in acknowledged must be there, whole; what failed must not.\n"
        "Afterwards a fresh process verifies everything and takes it away.\n"
        "\n"
        "Exit status: 0 every promise was kept, 1 one was not, 2 the command or its\n"
        "input cannot be used.");
    command->callback([options, command, &line] {
        if (!command->get_subcommands().empty())
            return;
        line.command = "load";
        line.action = [options, &line](Workbench &bench) { load(*options, line.host, bench); };
    });
}
