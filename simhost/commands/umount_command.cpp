// simhost umount: a mount is undone.
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/host.h"
#include "simhost/host/mount_point.h"

namespace {

struct UmountOptions {
    std::string path;
    bool force = false;
};

// Where the link leads, seen from here, as the plug-in makes it: a link of the system leads elsewhere when it is relative. The
// plug-in's own unmount leaves the link alone.
std::string link_target(const std::string &mount_point, bool force) {
    std::string target = link_target_of(mount_point);
    if (target.empty())
        throw UsageError(fmt::format("{} is no link: no volume is mounted there", printable(mount_point)));
    std::error_code failure;
    if (!force && !std::filesystem::is_directory(target, failure))
        throw UsageError(fmt::format(
            "{} leads to {}, which does not look like a volume's directory; --force removes the link all the same",
            printable(mount_point), printable(target)));
    return target;
}

void umount(const UmountOptions &options, const HostOptions &host_options, const Workbench &bench) {
    const std::string mount_point = absolute_mount_point(options.path);
    const std::string directory = link_target(mount_point, options.force);
    Host host(host_options, bench.report, bench.captured);
    host.call("stspi_unmount_lsu", in_quotes(mount_point), [&](Call &) { return host.entry().unmount_lsu(); });
    if (unlink(mount_point.c_str()) != 0)
        throw BadAnswer(fmt::format("{} cannot be removed: {}", printable(mount_point), std::strerror(errno)));
    bench.report.line("{} removed; {} stays", printable(mount_point), printable(directory));
    bench.report.result() = {{"mount_point", mount_point}, {"directory", directory}};
    host.terminate();
}

}  // namespace

void add_umount_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<UmountOptions>();
    CLI::App *command = add_command(app, "umount", "Undo a mount: remove the link to the volume");
    command->add_option("PATH", options->path, "Where the volume is mounted")->required();
    command->add_flag("--force", options->force, "Remove the link wherever it leads");
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->footer("The volume's directory stays, with all that is in it.");
    command->callback([options, &line] {
        line.command = "umount";
        line.action = [options, &line](Workbench &bench) { umount(*options, line.host, bench); };
    });
}
