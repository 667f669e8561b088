// simhost init: a .sim file to start from.
#include <fmt/format.h>

#include <filesystem>

#include "base/escaped_text.h"
#include "redirect/config_redirect.h"
#include "simhost/commands/command_line.h"
#include "simhost/commands/starting_file.h"
#include "simhost/host/data_sink.h"

namespace {

constexpr char array_prefix[] = "Kelvarpool";

struct InitOptions {
    std::string server;
    std::vector<std::string> hosts;
    std::string storage_dir = "/var/tmp";
    std::string config_dir;
    bool replace = false;
};

StartingPoint starting_point(const InitOptions &options) {
    StartingPoint start;
    const std::string host = host_part(options.server);
    start.prefix = prefix_part(options.server);
    start.kind = start.prefix == array_prefix ? ServerKind::disk_array : ServerKind::copan;
    start.storage_dir = options.storage_dir;
    if (start.kind == ServerKind::copan) {
        if (!options.hosts.empty())
            throw UsageError("--hosts is for disk arrays; this server is a Copan array");
        start.array = host.empty() ? "arr1" : host;
    } else {
        start.hosts = options.hosts;
        if (start.hosts.empty())
            start.hosts.push_back(host.empty() ? "mediaA" : host);
    }
    return start;
}

std::string server_name(const StartingPoint &start) {
    return start.prefix + ':' + (start.kind == ServerKind::copan ? start.array : start.hosts.front());
}

void init(const InitOptions &options, Report &report) {
    const StartingPoint start = starting_point(options);
    demand_usable(start);
    set_config_directory(options.config_dir);
    const std::string path = (std::filesystem::path(config_directory()) / (start.prefix + ".sim")).string();
    const std::string text = starting_file(start);
    DataSink file(path, options.replace, report.own_output());
    file.write(text.data(), text.size());
    file.finish();
    report.line("wrote {} ({}):\n", printable(path),
                start.kind == ServerKind::disk_array ? "a disk array" : "a Copan array");
    report.line("{}", text);
    report.line("{}", explain_starting_file(start));
    report.line("Try: simhost pools{} --server {}",
                options.config_dir.empty() ? "" : " --config-dir " + printable(options.config_dir), server_name(start));
    report.result() = {{"file", path},
                       {"kind", start.kind == ServerKind::disk_array ? "disk array" : "Copan array"},
                       {"server", server_name(start)},
                       {"text", text}};
}

}  // namespace

void add_init_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<InitOptions>();
    CLI::App *command = add_command(app, "init", "Write a .sim file to start from, and explain it");
    command
        ->add_option(
            "SERVER", options->server,
            "PREFIX or PREFIX:HOST; the file is PREFIX.sim. \"Kelvarpool\" gives a disk array, any other prefix "
            "a Copan array")
        ->required();
    command
        ->add_option("--hosts", options->hosts,
                     "Hosts that may use the pools, separated by commas (default: HOST, or mediaA)")
        ->type_name("HOST,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    command
        ->add_option("--storage-dir", options->storage_dir,
                     "Existing directory below which the storage is made (default: /var/tmp)")
        ->type_name("DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""));
    add_config_dir_option(*command, options->config_dir,
                          "Where to write the file (default: $SIMHOST_CONFIG_DIR, or /etc/quillmere)");
    command->add_flag("--replace", options->replace, "Write over a file that is there");
    add_json_option(*command, line.output);
    command->callback([options, &line] {
        line.command = "init";
        line.action = [options](Workbench &bench) { init(*options, bench.report); };
    });
}
