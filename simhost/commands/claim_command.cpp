// simhost claim: which server names are the plug-in's own.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/server.h"
#include "simhost/report/text_table.h"

namespace {

void claim(const std::vector<std::string> &names, const HostOptions &host_options, const Workbench &bench) {
    Host host(host_options, bench.report, bench.captured);
    TextTable table({"SERVER", "CLAIMED"});
    bench.report.result()["servers"] = Json::array();
    std::vector<std::string> reasons;
    size_t foreign = 0;
    for (const std::string &name : names) {
        const bool claimed = is_claimed(host, name);
        const std::string reason = claim_reason(host, name, claimed);
        table.add({printable(name), claimed ? "yes" : "no"});
        Json server = {{"server", name}, {"claimed", claimed}};
        if (!reason.empty()) {
            server["reason"] = reason;
            reasons.push_back(fmt::format("{}: {}", printable(name), reason));
        }
        bench.report.result()["servers"].push_back(std::move(server));
        foreign += claimed ? 0 : 1;
    }
    host.terminate();
    bench.report.lines(table.lines());
    for (const std::string &reason : reasons)
        bench.report.warn(reason);
    if (foreign > 0)
        throw BadAnswer(fmt::format("{} of {} names not claimed: the .sim file of a claimed server lies in {}", foreign,
                                    names.size(), host.config_directory()));
}

}  // namespace

void add_claim_command(CLI::App &app, CommandLine &line) {
    auto names = std::make_shared<std::vector<std::string>>();
    CLI::App *command = add_command(app, "claim", "Ask which server names are the plug-in's own");
    command->add_option("SERVER", *names, "Server names, PREFIX:HOST")->required();
    add_host_options(*command, line.host);
    add_output_options(*command, line.output);
    command->footer(
        "A name is claimed when PREFIX.sim can be read. Ends with status 1 when one is\n"
        "not claimed.");
    command->callback([names, &line] {
        line.command = "claim";
        line.action = [names, &line](Workbench &bench) { claim(*names, line.host, bench); };
    });
}
