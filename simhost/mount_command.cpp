// simhost mount: one mount, and why it failed.
#include <fmt/format.h>

#include <cstring>
#include <filesystem>
#include <system_error>

#include "simhost/command_line.h"
#include "simhost/made_directories.h"
#include "simhost/server.h"
#include "simhost/text_field.h"

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

// The simulator logs through the session of the server that was opened last, and not through that of a created one.
class MessageSource {
public:
    MessageSource(Host &host, const std::string &server_name) : m_host(host), m_name(server_name) {
        m_host.call("stspi_open_server", in_quotes(m_name), [this](Call &) {
            return m_host.entry().open_server(m_host.session(), m_name.c_str(), nullptr, nullptr, &m_handle);
        });
    }
    ~MessageSource() {
        m_host.release("stspi_close_server", in_quotes(m_name),
                       [this](Call &) { return m_host.entry().close_server(m_handle); });
    }
    MessageSource(const MessageSource &) = delete;
    MessageSource &operator=(const MessageSource &) = delete;

private:
    Host &m_host;
    std::string m_name;
    sts_server_handle_t m_handle = nullptr;
};

// The plug-in answers every failure of a mount with the same status.
std::string reason_of_failure(const std::string &server_name, const Host &host) {
    const std::vector<FailedDirectory> failed = failed_directories();
    if (!failed.empty())
        return fmt::format("the directory {} could not be made: {}", printable(failed.back().path),
                           std::strerror(failed.back().error));
    if (host.last_call_had_messages())
        return "the plug-in's message says why";
    return fmt::format(
        "no directory is at fault and the plug-in logs nothing: MOUNT_BEHAVIOR in {}/{}.sim is not SUCCESS",
        host.config_directory(), printable(server_name.substr(0, server_name.find(':'))));
}

void mount(const MountOptions &options, const HostOptions &host_options, const Workbench &bench) {
    const std::string mount_point = fs::absolute(options.mount_point).string();
    refuse_a_file(mount_point);
    record_made_directories();
    Host host(host_options, bench.report, bench.captured);
    const std::string &name = options.server.server;
    demand_claim(host, name);
    if (kind_of_server(host, name) == ServerKind::copan)
        throw UsageError("a Copan array's LSUs are not mounted");
    const MessageSource messages(host, name);
    Server server(host, name, options.server.hosts_or_default());
    std::string result;
    try {
        result = server.mount(options.lsu, mount_point);
    } catch (const BadAnswer &failure) {
        const std::string reason = reason_of_failure(name, host);
        bench.report.result()["reason"] = reason;
        remove_made_directories();
        throw BadAnswer(fmt::format("{}\n         {}", failure.what(), reason));
    }
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
        "Remove the link to undo it.");
    command->callback([options, &line] {
        line.command = "mount";
        line.action = [options, &line](Workbench &bench) { mount(*options, line.host, bench); };
    });
}
