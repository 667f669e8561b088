// The framework's side of the interface: a loaded and registered plug-in, and every call to it, watched and reported.
#pragma once

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "simhost/faults/filter_session.h"
#include "simhost/host/captured_stdout.h"
#include "simhost/host/entry_points.h"
#include "simhost/host/failed_file_call.h"
#include "simhost/host/interrupt.h"
#include "simhost/host/plugin_library.h"
#include "simhost/host/session_log.h"
#include "simhost/report/report.h"

struct HostOptions {
    std::string plugin;         // path; empty: default_plugin_path()
    std::string image_library;  // path; empty: as the plug-in finds it
    std::string image_root;     // the substitute image library's root; empty: the library's own
    std::string config_dir;     // empty: /etc/quillmere
    FilterOptions filter;       // in front of the plug-in
};

class Host {
public:
    // Loads the plug-in and registers. Throws UsageError when it cannot be loaded, BadAnswer when it refuses.
    Host(const HostOptions &options, Report &report, CapturedStdout &captured);
    // Ends the plug-in if terminate was not called; a failure is reported, not thrown. Tells what became of rules.
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    const EntryPoints &entry() const { return m_entry; }
    const std::string &plugin_path() const { return m_plugin_path; }
    const sts_registration_t &registration() const { return m_registration; }
    const sts_session_def_v7_t *session() const { return m_log.session(); }
    Report &report() { return m_report; }
    // Where the plug-in's .sim files are looked for.
    std::string config_directory() const;
    // The file that describes a server, as messages give it.
    std::string configuration_file(const std::string &server_name) const;
    // Whether the image library is the substitute, which shows an image when it is closed, not before.
    bool hides_unfinished_images() const { return m_library.has_substitute_image_library(); }
    // Whether the plug-in logged an error in the call that is being made.
    bool has_logged_error() const { return m_log.has_error(); }

    // Makes a call, or several of one entry point, and reports it. function(Call &) returns the status and may set
    // result, reason and times. Throws Interrupted before the call when the user asked to stop, BadAnswer after it when the
    // status is none of the expected ones.
    template <class Function>
    int32_t call(const char *entry_point, std::string arguments, Function &&function,
                 std::initializer_list<int32_t> expected = {0});

    // The same for releasing something on the way out of a failure: never throws, and goes on after an interrupt.
    template <class Function>
    void release(const char *entry_point, std::string arguments, Function &&function,
                 std::initializer_list<int32_t> expected = {0}) noexcept;

    // Shuts the plug-in down.
    void terminate();

private:
    template <class Function>
    Call perform(const char *entry_point, std::string arguments, Function &&function,
                 std::initializer_list<int32_t> expected);
    void warn_unless_expected(const Call &call);
    void complete(Call &call, std::initializer_list<int32_t> expected);
    void register_plugin();

    Report &m_report;
    CapturedStdout &m_captured;
    SessionLog m_log;
    std::unique_ptr<FilterSession> m_filter;  // null: the plug-in is called itself
    std::string m_plugin_path;
    PluginLibrary m_library;
    sts_registration_t m_registration = {};
    sts_registration2_t m_registration2 = {};
    EntryPoints m_entry;
    bool m_registered = false;
};

// Throws BadAnswer when the call's status was not expected, OutcomeUnknown when that is what it says.
void demand_expected(const Call &call);

template <class Function>
Call Host::perform(const char *entry_point, std::string arguments, Function &&function,
                   std::initializer_list<int32_t> expected) {
    Call call;
    call.entry_point = entry_point;
    call.arguments = std::move(arguments);
    forget_failed_file_call();
    const auto start = std::chrono::steady_clock::now();
    call.status = function(call);
    call.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    complete(call, expected);
    return call;
}

template <class Function>
int32_t Host::call(const char *entry_point, std::string arguments, Function &&function,
                   std::initializer_list<int32_t> expected) {
    stop_if_interrupted();
    const Call call = perform(entry_point, std::move(arguments), std::forward<Function>(function), expected);
    demand_expected(call);
    return call.status;
}

template <class Function>
void Host::release(const char *entry_point, std::string arguments, Function &&function,
                   std::initializer_list<int32_t> expected) noexcept {
    warn_unless_expected(perform(entry_point, std::move(arguments), std::forward<Function>(function), expected));
}
