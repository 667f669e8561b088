// Makes the calls of a history: puts arguments into guarded memory, calls, and tells what was seen.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "conformance/calls/plugin_library.h"
#include "conformance/explore/guarded_argument.h"
#include "conformance/explore/observed.h"
#include "conformance/model/call.h"
#include "stspi/stspi.h"

namespace conformance {

// Told before and after each call: the words of its arguments, as they are passed.
class CallListener {
public:
    virtual ~CallListener() = default;
    virtual void entering(const std::string &entry_point, const uint64_t *words) = 0;
    virtual void left(const std::string &entry_point, const uint64_t *words, int32_t status) = 0;
    virtual void message(int32_t level, const char *text) = 0;
};

class PluginCaller {
public:
    // Throws std::runtime_error when the library cannot be loaded. One in a process, in which load_image_double() has been
    // called; it stays loaded.
    explicit PluginCaller(const std::string &path);
    ~PluginCaller();
    PluginCaller(const PluginCaller &) = delete;
    PluginCaller &operator=(const PluginCaller &) = delete;

    const void *first_table() const { return library_.symbol("STSSanDiskEntryPoints"); }
    const void *second_table() const { return library_.symbol("STSSANDiskEntryPoints2"); }

    // Any thread with a number of its own below THREADS. set_mask is a call like others, set_config is not.
    Observed make(const model::Call &call, size_t thread);

    // Whether the session records are as the framework left them.
    bool sessions_are_unwritten() const;

    // Null for none. Only while one thread makes calls.
    void set_listener(CallListener *listener) { listener_ = listener; }

    enum : size_t { THREADS = 4 };

private:
    using Words = std::array<uint64_t, 7>;
    struct Arguments {
        GuardedArgument lsu;
        GuardedArgument record;
        GuardedArgument out;
        GuardedArgument name;
        GuardedArgument text;
    };

    uint64_t function(const std::string &entry_point, bool by_slot) const;
    std::string wrong_slot() const;
    uint64_t handle(int id);
    uint64_t name_word(const model::Call &call, Arguments &arguments) const;
    Words words_of(const model::Call &call, Arguments &arguments);
    Words server_words(const model::Call &call, Arguments &arguments);
    Words lsu_words(const model::Call &call, Arguments &arguments);
    Words image_words(const model::Call &call, Arguments &arguments);

    PluginLibrary library_;
    CallListener *listener_ = nullptr;
    std::map<std::string, std::array<uint64_t, 2>> functions_;  // by symbol, by slot
    std::map<int, uint64_t> handles_;
    std::mutex mutex_;
    std::array<std::unique_ptr<Arguments>, THREADS> arguments_;
    std::array<sts_session_def_v7_t, model::SESSIONS> sessions_before_;
    std::array<std::unique_ptr<GuardedArgument>, model::SESSIONS> sessions_;
};

}  // namespace conformance
