#include "simhost/host/host.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "journal/calls/status_name.h"
#include "redirect/config_redirect.h"
#include "simhost/host/image_root.h"
#include "simhost/host/server_name.h"
#include "stspi/stsimg.h"

namespace {

constexpr uint64_t api_version = 9;

// The surroundings must be as they are to be before the libraries are loaded.
std::unique_ptr<FilterSession> prepared_filter(const HostOptions &options) {
    if (!options.config_dir.empty())
        set_config_directory(options.config_dir);
    if (!options.image_root.empty())
        use_image_root(options.image_root);
    if (!options.filter.wanted())
        return nullptr;
    return std::make_unique<FilterSession>(options.filter, options.plugin, default_plugin_path());
}

std::string plugin_path_of(const HostOptions &options, const FilterSession *filter) {
    if (filter != nullptr)
        return filter->plugin();
    return options.plugin.empty() ? default_plugin_path() : options.plugin;
}

}  // namespace

void demand_expected(const Call &call) {
    if (call.expected)
        return;
    std::string why = status_meaning(call.status);
    if (!call.library_error.empty())
        why = "image library: " + visible(call.library_error);
    if (!call.reason.empty())
        why = call.reason;
    const std::string what =
        fmt::format("{} answers {}{}{}", call.entry_point, describe_status(call.status), why.empty() ? "" : ": ", why);
    if (call.status == STSIMG_E_OUTCOME_UNKNOWN)
        throw OutcomeUnknown(what);
    throw BadAnswer(what);
}

Host::Host(const HostOptions &options, Report &report, CapturedStdout &captured)
    : m_report(report),
      m_captured(captured),
      m_log(report.options().verbose),
      m_filter(prepared_filter(options)),
      m_plugin_path(plugin_path_of(options, m_filter.get())),
      m_library(m_plugin_path, options.image_library, m_filter == nullptr ? "" : default_filter_path()) {
    register_plugin();
}

Host::~Host() {
    if (m_registered)
        perform("stspi_terminate", "", [this](Call &) { return m_entry.terminate(); }, {0, STS_E_NOT_SUPPORTED});
    try {
        if (m_filter != nullptr)
            m_filter->tell(m_report);
    } catch (const std::exception &failure) {
        m_report.fail(failure.what());
    }
}

std::string Host::config_directory() const { return ::config_directory(); }

std::string Host::configuration_file(const std::string &server_name) const {
    return fmt::format("{}/{}.sim", config_directory(), printable(prefix_part(server_name)));
}

void Host::register_plugin() {
    call("stspi_init", fmt::format("API version {}", api_version), [this](Call &call) {
        const int32_t status = m_library.init(api_version, nullptr, &m_registration);
        if (status == 0)
            call.result = fmt::format("{}, prefix {}, API version {}", in_quotes(field_text(m_registration.label)),
                                      in_quotes(field_text(m_registration.prefix)), m_registration.api_version);
        return status;
    });
    call("stspi_init2", fmt::format("API version {}", api_version),
         [this](Call &) { return m_library.init2(api_version, &m_registration2); });
    m_entry = bind_entry_points(m_registration.entry_points, m_registration2.entry_points);
    m_registered = true;
}

void Host::terminate() {
    m_registered = false;
    // The interface's clean shutdown answers "not supported".
    call("stspi_terminate", "", [this](Call &) { return m_entry.terminate(); }, {0, STS_E_NOT_SUPPORTED});
}

void Host::complete(Call &call, std::initializer_list<int32_t> expected) {
    call.expected = std::find(expected.begin(), expected.end(), call.status) != expected.end();
    call.log = m_log.take();
    call.printed = m_captured.take();
    const auto is_about = [&call](const char *what) { return call.entry_point.find(what) != std::string::npos; };
    if (!call.expected && (is_about("_image") || is_about("_extent")))
        call.library_error = m_library.image_library_error();
    m_report.call(call);
}

void Host::warn_unless_expected(const Call &call) {
    if (!call.expected)
        m_report.warn(fmt::format("{} answers {} while releasing", call.entry_point, describe_status(call.status)));
}
