// simhost probe: what a plug-in is made of, found out without a server.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "journal/calls/status_name.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/isolated_call.h"
#include "simhost/host/null_call.h"
#include "simhost/host/plugin_library.h"
#include "simhost/host/server.h"
#include "simhost/host/shared_object.h"
#include "simhost/host/table_slots.h"
#include "simhost/report/text_table.h"

namespace {

constexpr uint64_t offered_version = 9;
constexpr int32_t last_command = 13;

std::string describe(const IsolatedOutcome &outcome) {
    if (outcome.status)
        return describe_status(*outcome.status);
    return outcome.signal != 0 ? fmt::format("crashes ({})", strsignal(outcome.signal)) : "ends the process";
}

// The lowest API version from 0 to the offered one that is not refused.
template <class Register>
std::string lowest_version(Register &&accepts) {
    for (uint64_t version = 0; version <= offered_version; ++version)
        if (call_isolated([&] { return accepts(version); }).status.value_or(STS_E_VERSION) != STS_E_VERSION)
            return std::to_string(version);
    return "none";
}

// "1-7, 9-12".
std::string ranges(const std::vector<int32_t> &numbers) {
    std::string text;
    for (size_t i = 0; i < numbers.size();) {
        size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
            ++last;
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[i]);
        if (last > i)
            text += '-' + std::to_string(numbers[last]);
        i = last + 1;
    }
    return text.empty() ? "none" : text;
}

class Probe {
public:
    // filter: "" or the path of the one to put in front of the plug-in.
    Probe(const std::string &path, const std::string &image_library, const std::string &filter, Report &report)
        : m_report(report), m_object(read_shared_object(path)), m_library(path, image_library, filter) {
        m_report.line("{:<22}{}", "plug-in", printable(path));
        m_report.result()["plugin"] = path;
    }

    void run() {
        tell_file();
        tell_registration();
        tell_tables();
        tell_commands();
        if (m_problems > 0)
            throw BadAnswer(fmt::format("{} problem{} found", m_problems, m_problems == 1 ? "" : "s"));
    }

private:
    void problem(const std::string &text) {
        m_report.error(text);
        ++m_problems;
    }

    bool exports(const std::string &name) const {
        return std::binary_search(m_object.exports.begin(), m_object.exports.end(), name);
    }

    void tell_file() {
        m_report.line("{:<22}{}", "name", printable(m_object.soname));
        m_report.line("{:<22}{}", "needs", joined(m_object.needed));
        std::set<std::string> known = {"stspi_init", "stspi_init2", "load_process", "STSSanDiskEntryPoints",
                                       "STSSANDiskEntryPoints2"};
        for (const char *name : first_table_names())
            known.insert(name == nullptr ? "" : name);
        for (const char *name : second_table_names())
            known.insert(name);
        known.erase("");
        std::vector<std::string> missing, others;
        for (const std::string &name : known)
            if (!exports(name))
                missing.push_back(name);
        for (const std::string &name : m_object.exports)
            if (known.count(name) == 0)
                others.push_back(name);
        m_report.line("{:<22}{} of the interface's {} symbols", "exports", known.size() - missing.size(), known.size());
        if (!missing.empty())
            m_report.warn(fmt::format("not exported: {}", joined(missing)));
        if (!others.empty())
            m_report.warn(fmt::format("exported besides the interface: {}", joined(others)));
        m_report.result()["soname"] = m_object.soname;
        m_report.result()["needed"] = m_object.needed;
        m_report.result()["missing_exports"] = missing;
        m_report.result()["other_exports"] = others;
    }

    void tell_registration() {
        const std::string first = lowest_version([this](uint64_t version) {
            sts_registration_t registration = {};
            return m_library.init(version, nullptr, &registration);
        });
        const std::string second = lowest_version([this](uint64_t version) {
            sts_registration2_t registration = {};
            return m_library.init2(version, &registration);
        });
        const int32_t status = m_library.init(offered_version, nullptr, &m_registration);
        if (status != 0)
            throw BadAnswer(fmt::format("stspi_init answers {}", describe_status(status)));
        const int32_t status2 = m_library.init2(offered_version, &m_registration2);
        if (status2 != 0)
            throw BadAnswer(fmt::format("stspi_init2 answers {}", describe_status(status2)));
        m_report.line("{:<22}{}", "label", in_quotes(field_text(m_registration.label)));
        m_report.line("{:<22}{}", "prefix", in_quotes(field_text(m_registration.prefix)));
        m_report.line("{:<22}{} and {}", "API versions", m_registration.api_version, m_registration2.api_version);
        m_report.line("{:<22}{} for the first table, {} for the second", "lowest accepted", first, second);
        m_report.result()["label"] = field_text(m_registration.label);
        m_report.result()["prefix"] = field_text(m_registration.prefix);
        m_report.result()["api_versions"] = {m_registration.api_version, m_registration2.api_version};
        m_report.result()["lowest_versions"] = {first, second};
    }

    void tell_tables() {
        m_report.result()["unsupported"] = Json::array();
        m_report.result()["tables"] = Json::array();
        tell_table("first", m_registration.entry_points, first_table_names());
        tell_table("second", m_registration2.entry_points, second_table_names());
        const Json &unsupported = m_report.result()["unsupported"];
        m_report.line("");
        m_report.line("{:<22}{} of the entry points", "not supported", unsupported.size());
    }

    template <size_t Size>
    void tell_table(const char *which, const sts_entry_point_t *table, const std::array<const char *, Size> &names) {
        if (table == nullptr) {
            problem(fmt::format("there is no {} table", which));
            return;
        }
        m_report.line("");
        m_report.line("{} table, {} slots", which, Size);
        TextTable text({">SLOT", "ENTRY POINT", "SYMBOL", "ANSWER TO NULLS"});
        for (size_t slot = 0; slot < Size; ++slot) {
            const SlotFinding finding = find(table[slot], names[slot]);
            text.add(
                {std::to_string(slot), names[slot] == nullptr ? "-" : names[slot], finding.symbol, finding.answer});
            m_report.result()["tables"].push_back({{"table", which},
                                                   {"slot", slot},
                                                   {"entry_point", names[slot] == nullptr ? Json() : Json(names[slot])},
                                                   {"symbol", finding.symbol},
                                                   {"answer", finding.answer}});
            for (const std::string &what : finding.problems)
                problem(fmt::format("{} table, slot {}: {}", which, slot, what));
        }
        m_report.lines(text.lines());
    }

    struct SlotFinding {
        std::string symbol;
        std::string answer;
        std::vector<std::string> problems;
    };

    SlotFinding find(sts_entry_point_t entry_point, const char *name) {
        if (entry_point == nullptr)
            return name == nullptr ? SlotFinding{"null", "", {}}
                                   : SlotFinding{"null", "", {fmt::format("{} is null", name)}};
        if (name == nullptr)
            return {"unknown", "", {"it should be null"}};
        SlotFinding finding;
        const void *symbol = exports(name) ? m_library.symbol(name) : nullptr;
        if (symbol == nullptr) {
            finding.symbol = "not exported";
        } else if (symbol == reinterpret_cast<const void *>(entry_point)) {
            finding.symbol = "same";
        } else {
            finding.symbol = "differs";
            finding.problems.push_back(fmt::format("it is not the exported {}", name));
        }
        const IsolatedOutcome outcome = call_isolated([&] { return call_with_nulls(entry_point); });
        finding.answer = describe(outcome);
        if (!outcome.status)
            finding.problems.push_back(fmt::format("{} {} when it is given null pointers", name, finding.answer));
        // These two answer "not supported" also when they have done their work.
        const bool works = std::strcmp(name, "stspi_terminate") == 0 || std::strcmp(name, "stspi_ioctl") == 0;
        if (outcome.status == STS_E_NOT_SUPPORTED && !works)
            m_report.result()["unsupported"].push_back(name);
        return finding;
    }

    void tell_commands() {
        const sts_entry_point_t *table = m_registration.entry_points;
        if (table == nullptr || table[STS_SLOT_IOCTL] == nullptr)
            return;
        const auto control = reinterpret_cast<decltype(&stspi_ioctl)>(table[STS_SLOT_IOCTL]);
        std::vector<int32_t> accepted;
        for (int32_t command = 0; command <= last_command; ++command)
            if (call_isolated([&] { return control(nullptr, command); }).status == 0)
                accepted.push_back(command);
        m_report.line("{:<22}{}", "control commands", ranges(accepted));
        m_report.result()["control_commands"] = accepted;
    }

    Report &m_report;
    SharedObject m_object;
    PluginLibrary m_library;
    sts_registration_t m_registration = {};
    sts_registration2_t m_registration2 = {};
    size_t m_problems = 0;
};

}  // namespace

void add_probe_command(CLI::App &app, CommandLine &line) {
    struct ProbeOptions {
        std::string plugin;
        std::string image_library;
        FilterOptions filter;
    };
    auto options = std::make_shared<ProbeOptions>();
    CLI::App *command = add_command(app, "probe", "Look into a plug-in: exports, versions, tables slot by slot");
    command->add_option("PLUGIN", options->plugin, "The shared library")->required();
    command
        ->add_option("--image-library", options->image_library,
                     "Image library to load for the plug-in (default: the one it finds itself)")
        ->type_name("FILE");
    add_filter_options(*command, options->filter);
    add_output_options(*command, line.output);
    command->footer(
        "Each entry point is called once with null pointers, in a process of its own:\n"
        "the interface wants a status, not a crash. Ends with status 1 when a slot is\n"
        "wrong or a call crashes.");
    command->callback([options, &line] {
        line.command = "probe";
        line.action = [options](Workbench &bench) {
            std::unique_ptr<FilterSession> filter;
            if (options->filter.wanted())
                filter = std::make_unique<FilterSession>(options->filter, options->plugin, options->plugin);
            Probe(options->plugin, options->image_library, filter == nullptr ? "" : default_filter_path(), bench.report)
                .run();
            if (filter != nullptr)
                filter->tell(bench.report);
        };
    });
}
