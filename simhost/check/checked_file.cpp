#include "simhost/check/checked_file.h"

#include <fmt/format.h>

#include <utility>

#include "simhost/check/array_check.h"
#include "simhost/check/copan_check.h"
#include "simhost/check/findings.h"
#include "simhost/check/suggestion.h"

namespace {

std::string help_for(const std::string &name, const std::vector<std::string> &known) {
    const std::string nearest = nearest_word(name, known);
    return nearest.empty() ? "" : fmt::format("did you mean {}?", nearest);
}

void demand_host(const Outline &outline, const std::string &name, Findings &findings) {
    std::vector<std::string> hosts;
    for (const PoolOutline &pool : outline.pools) {
        for (const ListedName &host : pool.hosts) {
            if (host.name == name)
                return;
            hosts.push_back(host.name);
        }
    }
    findings.error(Rule::server_not_served, {}, fmt::format("no pool lists host {}", quoted(name)),
                   help_for(name, hosts));
}

void demand_section(const Outline &outline, const std::string &name, Findings &findings) {
    std::vector<std::string> servers;
    for (const ServerOutline &server : outline.servers) {
        if (!server.is_read)
            continue;
        if (short_server_name(server.name.name) == short_server_name(name))
            return;
        servers.push_back(server.name.name);
    }
    findings.error(Rule::server_not_served, {}, fmt::format("no section serves server {}", quoted(name)),
                   help_for(name, servers));
}

}  // namespace

CheckedFile check_file(std::string name, std::string bytes, Grammar grammar, const std::vector<std::string> &servers) {
    CheckedFile file{std::move(name), SourceText(std::move(bytes)), {}, {}};
    Findings findings;
    const bool is_array = grammar == Grammar::array;
    file.outline = is_array ? check_array(file.source, findings) : check_copan(file.source, findings);
    for (const std::string &server : servers) {
        const size_t colon = server.find(':');
        const std::string host = colon == std::string::npos ? server : server.substr(colon + 1);
        is_array ? demand_host(file.outline, host, findings) : demand_section(file.outline, host, findings);
    }
    file.findings = findings.sorted();
    return file;
}

bool grammar_of_file(const std::string &path, Grammar &grammar) {
    static const std::string suffix = ".sim";
    const std::string name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
    if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0 ||
        name.find(':') != std::string::npos)
        return false;
    grammar = name == "Kelvarpool.sim" ? Grammar::array : Grammar::copan;
    return true;
}

const char *grammar_word(Grammar grammar) { return grammar == Grammar::array ? "disk array" : "Copan array"; }
