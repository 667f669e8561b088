#include "simhost/check/checked_file.h"

#include <fmt/format.h>

#include <set>
#include <utility>

#include "base/nearest_word.h"
#include "sim/config_file.h"
#include "simhost/check/array_check.h"
#include "simhost/check/copan_check.h"
#include "simhost/check/findings.h"
#include "simhost/check/form_check.h"
#include "simhost/check/machine_check.h"

namespace {

const std::string sim_suffix = ".sim";

std::string file_name(const std::string &path) { return path.substr(path.rfind('/') + 1); }  // npos + 1 is 0

// The known name that was probably meant. Names without a domain are compared first: a host is often asked for by its
// whole one, or listed by it.
std::string help_for(const std::string &name, const std::vector<std::string> &known) {
    std::vector<std::string> short_names;
    for (const std::string &each : known) {
        if (in_upper_case(short_server_name(each)) == in_upper_case(short_server_name(name)))
            return fmt::format("did you mean {}?", each);
        short_names.push_back(short_server_name(each));
    }
    const std::string nearest = nearest_word(short_server_name(name), short_names);
    for (size_t i = 0; i < known.size() && !nearest.empty(); ++i)
        if (short_names[i] == nearest)
            return fmt::format("did you mean {}?", known[i]);
    return "";
}

// The prefix of the servers that a file of this name serves; "" when the name does not tell.
std::string served_prefix(const std::string &path, Grammar grammar) {
    Grammar own{};
    if (grammar == Grammar::array)
        return "Kelvarpool";
    if (!grammar_of_file(path, own) || own != grammar)
        return "";
    return file_name(path).substr(0, file_name(path).size() - sim_suffix.size());
}

void not_served(const std::string &server, const std::string &why, const std::string &help, Findings &findings) {
    findings.error(Rule::server_not_served, {}, fmt::format("{} is not served: {}", in_apostrophes(server), why), help);
}

bool serves_prefix(const std::string &path, Grammar grammar, const std::string &server, Findings &findings) {
    const std::string prefix = configuration_name(server);
    const std::string served = served_prefix(path, grammar);
    if (!served.empty() ? prefix == served : prefix != "Kelvarpool")
        return true;
    not_served(server,
               served.empty() ? "only Kelvarpool.sim serves names that begin with 'Kelvarpool:'"
                              : fmt::format("names that begin with {} are not of this file, which serves {}",
                                            in_apostrophes(prefix + ':'), in_apostrophes(served + ':')),
               "", findings);
    return false;
}

void demand_host(const Outline &outline, const std::string &server, const std::string &name, Findings &findings) {
    std::vector<std::string> hosts;
    for (const PoolOutline &pool : outline.pools) {
        for (const ListedName &host : pool.hosts) {
            if (host.name == name)
                return;
            hosts.push_back(host.name);
        }
    }
    not_served(server, fmt::format("no pool lists host {}", in_apostrophes(name)), help_for(name, hosts), findings);
}

void demand_section(const Outline &outline, const std::string &server, const std::string &name, Findings &findings) {
    std::vector<std::string> servers;
    for (const ServerOutline &section : outline.servers) {
        if (!section.is_read)
            continue;
        if (short_server_name(section.name.name) == short_server_name(name))
            return;
        servers.push_back(section.name.name);
    }
    not_served(server, fmt::format("no STORAGE_SERVER is named {}", in_apostrophes(name)), help_for(name, servers),
               findings);
}

std::string list_of(const std::set<std::string> &names, const char *otherwise) {
    std::string list;
    for (const std::string &name : names)
        list += (list.empty() ? "" : ", ") + in_apostrophes(name);
    return list.empty() ? otherwise : list;
}

void demand_pools(const Outline &outline, const Expectation &expectation, Findings &findings) {
    const std::set<std::string> demanded(expectation.pools.begin(), expectation.pools.end());
    std::set<std::string> seen;
    for (const PoolOutline &pool : outline.pools)
        for (const ListedName &host : pool.hosts)
            if (host.name == expectation.host)
                seen.insert(pool.name.name);
    if (seen != demanded)
        findings.error(Rule::not_as_expected, {},
                       fmt::format("host {} sees {}, but is to see {}", in_apostrophes(expectation.host),
                                   list_of(seen, "no pool"), list_of(demanded, "none")));
}

}  // namespace

CheckedFile check_file(std::string name, std::string bytes, Grammar grammar, const Demands &demands) {
    CheckedFile file{std::move(name), SourceText(std::move(bytes)), {}, {}};
    Findings findings;
    Findings line_by_line;
    const bool is_array = grammar == Grammar::array;
    file.outline = is_array ? check_array(file.source, line_by_line) : check_copan(file.source, line_by_line);
    if (!check_form(file.source, findings))
        findings = std::move(line_by_line);
    for (const std::string &server : demands.servers) {
        if (!serves_prefix(file.name, grammar, server, findings))
            continue;
        const std::string host = server.substr(server.find(':') + 1);
        is_array ? demand_host(file.outline, server, host, findings)
                 : demand_section(file.outline, server, host, findings);
    }
    for (const Expectation &expectation : demands.expectations)
        if (is_array)
            demand_pools(file.outline, expectation, findings);
    if (demands.on_this_machine)
        check_machine(file.outline, findings);
    file.findings = findings.sorted();
    return file;
}

bool grammar_of_file(const std::string &path, Grammar &grammar) {
    const std::string name = file_name(path);
    if (name.size() <= sim_suffix.size() ||
        name.compare(name.size() - sim_suffix.size(), sim_suffix.size(), sim_suffix) != 0 ||
        name.find(':') != std::string::npos)
        return false;
    grammar = name == "Kelvarpool.sim" ? Grammar::array : Grammar::copan;
    return true;
}

const char *grammar_word(Grammar grammar) { return grammar == Grammar::array ? "disk array" : "Copan array"; }
