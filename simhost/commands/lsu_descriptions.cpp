#include "simhost/commands/lsu_descriptions.h"

#include "base/escaped_text.h"
#include "simhost/report/lsu_description.h"

LsuDescriptions::LsuDescriptions(Report &report, const char *member) : m_report(report), m_member(member) {
    report.result()[member] = Json::array();
}

std::optional<sts_lsu_info_v9_t> LsuDescriptions::of(Server &server, const std::string &lsu_name) {
    ++m_asked;
    try {
        const sts_lsu_info_v9_t info = server.lsu_info(lsu_name);
        m_report.result()[m_member].push_back(lsu_to_json(lsu_name, info));
        return info;
    } catch (const BadAnswer &failure) {
        tell(lsu_name, failure);
    } catch (const UsageError &failure) {
        // A name that the plug-in left without an end.
        tell(lsu_name, failure);
    }
    m_report.result()[m_member].push_back({{"lsu", lsu_name}});
    return std::nullopt;
}

std::vector<std::string> LsuDescriptions::volumes_of(Server &server, const std::string &pool) {
    try {
        return server.list_volumes(pool);
    } catch (const BadAnswer &failure) {
        ++m_asked;
        tell(pool, failure);
    }
    return {};
}

void LsuDescriptions::tell(const std::string &lsu_name, const std::exception &failure) {
    m_report.error(fmt::format("{}: {}", lsu_name.empty() ? "\"\"" : printable(lsu_name), failure.what()));
    ++m_bad;
}

void LsuDescriptions::demand_all() const {
    if (m_bad > 0)
        throw BadAnswer(fmt::format("{} of {} LSUs cannot be described", m_bad, m_asked));
}
