// simhost server: what a server tells about itself.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/commands/server_session.h"
#include "simhost/report/capabilities.h"
#include "simhost/report/text_table.h"

namespace {

struct ServerCommandOptions {
    ServerOptions server;
    bool by_name = false;
};

std::string describe_server_type(uint32_t type) {
    switch (type) {
        case 0:
            return "0 (not told: a disk array)";
        case STS_SERVER_TYPE_COPAN:
            return "4 (Copan array)";
        default:
            return fmt::format("{} (unknown)", type);
    }
}

void tell(const sts_server_info_t &info, Report &report) {
    report.line("name          {}", printable(field_text(info.server_name)));
    report.line("type          {}", describe_server_type(info.server_type));
    report.line("capabilities");
    TextTable table({"  OFFSET", "VALUE", "BITS", "ANNOUNCED BY"});
    Json words = Json::array();
    for (const CapabilityWord &word : capability_words(info)) {
        table.add({fmt::format("  {}", word.offset), fmt::format("{:#010x}", word.value), bit_list(word.value),
                   word.announced_by});
        words.push_back({{"offset", word.offset},
                         {"value", word.value},
                         {"every_server", word.value & word.every_server},
                         {"disk_arrays", word.value & word.disk_arrays}});
    }
    report.lines(table.lines());
    report.result()["name"] = field_text(info.server_name);
    report.result()["type"] = info.server_type;
    report.result()["capabilities"] = std::move(words);
}

void by_name(const std::string &name, const HostOptions &host_options, const Workbench &bench) {
    Host host(host_options, bench.report, bench.captured);
    demand_claim(host, name);
    bench.report.result()["server"] = name;
    sts_server_info_t info = {};
    host.call("stspi_get_server_prop_byname", in_quotes(name), [&](Call &call) {
        const int32_t status = host.entry().get_server_prop_byname(host.session(), name.c_str(), &info);
        return explained_opening(call, status, host, name);
    });
    tell(info, bench.report);
    host.terminate();
}

}  // namespace

void add_server_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<ServerCommandOptions>();
    CLI::App *command = add_command(app, "server", "Show a server's properties");
    add_server_options(*command, options->server);
    command->add_flag("--by-name", options->by_name, "Ask by name, without opening the server")->excludes("--hosts");
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->callback([options, &line] {
        line.command = "server";
        line.action = [options, &line](Workbench &bench) {
            if (options->by_name)
                by_name(options->server.server, line.host, bench);
            else
                with_server(bench, line.host, options->server,
                            [&](Server &server) { tell(server.server_info(), bench.report); });
        };
    });
}
