// simhost lsu: the properties of one LSU, of whatever kind.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/commands/server_session.h"
#include "simhost/report/lsu_description.h"
#include "simhost/report/quantities.h"

namespace {

struct LsuOptions {
    ServerOptions server;
    std::string lsu;
};

// Of a directory the plug-in tells no name.
std::string or_dash(const std::string &text) { return text.empty() ? "-" : printable(text); }

void tell_size(Report &report, const char *label, uint64_t bytes) {
    report.line("{:<15}{}", label, bytes_in_words(bytes));
}

void lsu(Server &server, const LsuOptions &options, Report &report) {
    const sts_lsu_info_v9_t info = server.lsu_info(options.lsu);
    report.line("{:<15}{}", "LSU", or_dash(field_text(info.lsu_name)));
    report.line("{:<15}{}", "server", or_dash(field_text(info.server_name)));
    report.line("{:<15}{}", "class", describe_lsu_class(info.lsu_class));
    report.line("{:<15}{}", "flags", describe_lsu_flags(info.flags));
    tell_size(report, "capacity", info.capacity_bytes);
    tell_size(report, "used", info.used_bytes);
    tell_size(report, "block size", info.block_size_bytes);
    for (const auto &[key, value] : lsu_properties(field_text(info.property_text)))
        report.line("{:<15}{}", printable(key), printable(value));
    report.result()["properties"] = lsu_to_json(options.lsu, info);
}

}  // namespace

void add_lsu_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<LsuOptions>();
    CLI::App *command = add_command(app, "lsu", "Show the properties of one LSU");
    command->add_option("LSU", options->lsu, "POOL, POOL:DISK, POOL:VOLUME, /DIRECTORY, or a Copan array's LSU")
        ->required();
    add_server_options(*command, options->server);
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->callback([options, &line] {
        line.command = "lsu";
        line.action = [options, &line](Workbench &bench) {
            with_server(bench, line.host, options->server,
                        [&](Server &server) { lsu(server, *options, bench.report); });
        };
    });
}
