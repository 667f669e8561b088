#include "simhost/commands/server_session.h"

#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/host/directory_cleanup.h"

void with_server(const Workbench &bench, const HostOptions &host_options, const ServerOptions &server_options,
                 const std::function<void(Server &)> &work) {
    const DirectoryCleanup directories(bench.report, DirectoryCleanup::Remaining::accept);
    Host host(host_options, bench.report, bench.captured);
    demand_claim(host, server_options.server);
    if (!server_options.hosts.empty() && kind_of_server(host, server_options.server) == ServerKind::copan)
        throw UsageError(
            fmt::format("--hosts is for disk arrays; {} is a Copan array", in_quotes(server_options.server)));
    Server server(host, server_options.server, server_options.hosts_or_default());
    bench.report.result()["server"] = server_options.server;
    work(server);
    server.close();
    host.terminate();
}
