#include "simhost/host/server_name.h"

#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/report/failure.h"

std::string prefix_part(const std::string &server_name) { return server_name.substr(0, server_name.find(':')); }

std::string host_part(const std::string &server_name) {
    const size_t colon = server_name.find(':');
    return colon == std::string::npos ? "" : server_name.substr(colon + 1);
}

void demand_server_name(const std::string &server_name) {
    const bool has_prefix = !prefix_part(server_name).empty();
    if (!has_prefix || host_part(server_name).empty())
        throw UsageError(
            fmt::format("the server name {} lacks {}: it must be PREFIX:HOST, where PREFIX.sim has HOST in a "
                        "HOSTS line (Kelvarpool.sim) or in a STORAGE_SERVER line (any other)",
                        in_quotes(server_name), has_prefix ? "HOST" : "PREFIX"));
}
