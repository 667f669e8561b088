// The properties of many LSUs, one of which must not hide the others.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simhost/host/server.h"

class LsuDescriptions {
public:
    // Each LSU becomes an entry of the result's member, an array.
    LsuDescriptions(Report &report, const char *member);

    // Asks for the properties of an LSU. None when the plug-in does not tell them: why is reported as an error.
    std::optional<sts_lsu_info_v9_t> of(Server &server, const std::string &lsu_name);
    // The volumes of a pool. None when the plug-in does not list them: why is reported as an error.
    std::vector<std::string> volumes_of(Server &server, const std::string &pool);

    // Throws BadAnswer when something was not told.
    void demand_all() const;

private:
    void tell(const std::string &lsu_name, const std::exception &failure);

    Report &m_report;
    const char *m_member;
    size_t m_asked = 0;
    size_t m_bad = 0;
};
