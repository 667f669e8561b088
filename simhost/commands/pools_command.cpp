// simhost pools: what a server offers to its hosts.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/lsu_descriptions.h"
#include "simhost/commands/server_session.h"
#include "simhost/report/lsu_description.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

TextTable list_pools(Server &server, const std::vector<std::string> &names, LsuDescriptions &descriptions) {
    TextTable table({"POOL", ">CAPACITY IN BYTES", ">DISKS", ">VOLUMES", "HOSTS"});
    for (const std::string &name : names)
        if (const auto info = descriptions.of(server, name))
            table.add({printable(name), bytes_in_table(info->capacity_bytes), lsu_property(*info, "StorelCount"),
                       lsu_property(*info, "VolumeCount"), printable(lsu_property(*info, "Hosts"))});
        else
            table.add({name.empty() ? "\"\"" : printable(name), "?", "?", "?", "?"});
    return table;
}

TextTable list_lsus(Server &server, const std::vector<std::string> &names, LsuDescriptions &descriptions) {
    TextTable table({"LSU", ">CAPACITY IN BYTES", ">USED", ">BLOCK SIZE"});
    for (const std::string &name : names)
        if (const auto info = descriptions.of(server, name))
            table.add({printable(name), bytes_in_table(info->capacity_bytes), bytes_in_table(info->used_bytes),
                       bytes_in_table(info->block_size_bytes)});
        else
            table.add({name.empty() ? "\"\"" : printable(name), "?", "?", "?"});
    return table;
}

void pools(Server &server, Report &report) {
    const std::vector<std::string> names = server.list_lsus();
    LsuDescriptions descriptions(report, "pools");
    if (names.empty()) {
        report.warn(server.why_no_lsus());
        return;
    }
    const TextTable table = server.kind() == ServerKind::disk_array ? list_pools(server, names, descriptions)
                                                                    : list_lsus(server, names, descriptions);
    report.lines(table.lines());
    descriptions.demand_all();
}

}  // namespace

void add_pools_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<ServerOptions>();
    CLI::App *command = add_command(app, "pools", "List the pools (or a Copan array's LSUs) that the hosts may use");
    add_server_options(*command, *options);
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->callback([options, &line] {
        line.command = "pools";
        line.action = [options, &line](Workbench &bench) {
            with_server(bench, line.host, *options, [&](Server &server) { pools(server, bench.report); });
        };
    });
}
