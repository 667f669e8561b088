// simhost volumes: the volumes of pools, with the names that the framework sees.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/commands/lsu_descriptions.h"
#include "simhost/commands/server_session.h"
#include "simhost/report/lsu_description.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

struct VolumesOptions {
    ServerOptions server;
    std::vector<std::string> pools;
};

void volumes(Server &server, const VolumesOptions &options, Report &report) {
    if (server.kind() == ServerKind::copan)
        throw UsageError(fmt::format("{} is a Copan array, which has no volumes; \"simhost pools\" lists its LSUs",
                                     in_quotes(server.name())));
    LsuDescriptions descriptions(report, "volumes");
    TextTable table({"POOL", "VOLUME", "DISK", ">CAPACITY IN BYTES", ">USED"});
    bool found = false;
    const std::vector<std::string> pools = options.pools.empty() ? server.list_lsus() : options.pools;
    for (const std::string &pool : pools)
        for (const std::string &volume : descriptions.volumes_of(server, pool)) {
            std::string lsu = pool;
            lsu.append(":").append(volume);
            if (const auto info = descriptions.of(server, lsu))
                table.add({printable(pool), printable(volume), printable(field_text(info->lsu_name)),
                           bytes_in_table(info->capacity_bytes), bytes_in_table(info->used_bytes)});
            else
                table.add({printable(pool), printable(volume), "?", "?", "?"});
            found = true;
        }
    if (found)
        report.lines(table.lines());
    descriptions.demand_all();
    if (!found)
        report.warn(pools.empty() ? server.why_no_lsus() : fmt::format("no disks in {}", joined(pools)));
}

}  // namespace

void add_volumes_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<VolumesOptions>();
    CLI::App *command = add_command(app, "volumes", "List the volumes of a disk array's pools");
    command->add_option("POOL", options->pools, "Pools to list (default: all that the hosts may use)");
    add_server_options(*command, options->server);
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->footer(
        "VOLUME is the unique device identifier by which a volume is listed, DISK the\n"
        "disk behind it. \"simhost mount\" and \"simhost lsu\" take POOL:VOLUME.");
    command->callback([options, &line] {
        line.command = "volumes";
        line.action = [options, &line](Workbench &bench) {
            with_server(bench, line.host, options->server,
                        [&](Server &server) { volumes(server, *options, bench.report); });
        };
    });
}
