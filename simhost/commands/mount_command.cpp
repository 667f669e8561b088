// simhost mount: one mount, and why it failed.
#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/directory_cleanup.h"
#include "simhost/host/made_directories.h"
#include "simhost/host/mount_point.h"
#include "simhost/host/server.h"

namespace fs = std::filesystem;

namespace {

struct MountOptions {
    ServerOptions server;
    std::string lsu;
    std::string mount_point;
};

// A link is replaced by a mount as the interface has it; a file would be lost.
void refuse_a_file(const std::string &path) {
    std::error_code failure;
    const fs::file_type type = fs::symlink_status(path, failure).type();
    if (type != fs::file_type::not_found && type != fs::file_type::symlink && type != fs::file_type::directory &&
        type != fs::file_type::none)
        throw UsageError(fmt::format("{} is a file; a mount would put a link in its place", printable(path)));
}

void demand_volume(Server &server, const std::string &lsu, Report &report) {
    const size_t colon = lsu.find(':');
    if (colon == 0 || colon == std::string::npos || colon + 1 == lsu.size())
        throw UsageError(fmt::format("the LSU {} is no volume: name one as POOL:VOLUME; \"simhost volumes\" lists them",
                                     in_quotes(lsu)));
    server.list_volumes(lsu.substr(0, colon));
    if (!server.knows_lsu(lsu))
        report.warn(fmt::format("{} (the plug-in mounts it all the same)", server.no_such_lsu(lsu)));
}

void mount(const MountOptions &options, const HostOptions &host_options, const Workbench &bench) {
    const std::string mount_point = absolute_mount_point(options.mount_point);
    refuse_a_file(mount_point);
    DirectoryCleanup directories(bench.report, DirectoryCleanup::Remaining::accept);
    Host host(host_options, bench.report, bench.captured);
    const std::string &name = options.server.server;
    demand_claim(host, name);
    if (kind_of_server(host, name) == ServerKind::copan)
        throw UsageError(fmt::format("{} is a Copan array, whose LSUs are not mounted", in_quotes(name)));
    Server server(host, name, options.server.hosts_or_default());
    demand_volume(server, options.lsu, bench.report);
    const std::string result = server.mount(options.lsu, mount_point);
    directories.keep();
    std::error_code failure;
    const std::string directory = fs::read_symlink(mount_point, failure).string();
    bench.report.line("{} -> {}", printable(mount_point), printable(directory));
    bench.report.result() = {{"server", name},
                             {"lsu", options.lsu},
                             {"mount_point", mount_point},
                             {"directory", directory},
                             {"made_directories", made_directories()},
                             {"answer", result}};
    server.close();
    host.terminate();
}

}  // namespace

void add_mount_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<MountOptions>();
    CLI::App *command = add_command(app, "mount", "Mount a volume of a pool, or find out why that fails");
    command->add_option("LSU", options->lsu, "POOL:VOLUME")->required();
    command->add_option("PATH", options->mount_point, "Where the link to the volume is made; a link there is replaced")
        ->required();
    add_server_options(*command, options->server);
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->footer(
        "The mount stays: a link, the volume's directory and the directories above them.\n"
        "\"simhost umount\" removes the link.");
    command->callback([options, &line] {
        line.command = "mount";
        line.action = [options, &line](Workbench &bench) { mount(*options, line.host, bench); };
    });
}
