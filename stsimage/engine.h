// What a library that brings a store by way of an existing engine has to offer, and what it gets.
//
// Such a library is loaded when an LSU in that engine is first opened (engine_loading.h), so that nobody needs the engine's own
// libraries who does not use it. It is built together with this library and comes in the same version.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "stsimage/call_patience.h"
#include "stsimage/store.h"
#include "stsimage/store_root.h"

namespace stsimage {

// Changes with anything that the two libraries share.
constexpr uint32_t engine_interface = 6;

// What is the image library's. Most of it belongs to the calling thread: the text of its latest failure, where an engine leaves why
// something failed, and what its call may still wait for.
struct EngineHost {
    // The texts are whole lines; error is an errno value.
    int32_t (*tell)(int32_t status, const char *text);
    int32_t (*tell_system)(int error, const char *text);
    // Where it is read from: the calling thread's text until its next failure, and last_system_error().
    const char *(*latest)(int &out_error);
    // The same text and errno value as before, as the calling thread's.
    void (*tell_again)(const char *text, int error);
    CallState &(*call_state)();
    // Closes all that is open, as the process ends; what was being written is discarded.
    void (*give_up_open_at_end)();
    // What that may still wait for; before the process ends, more than any time-out.
    std::chrono::milliseconds (*time_left_at_end)();
};

struct Engine {
    uint32_t interface;

    // Opens the store of an LSU. The location is what follows "ENGINE:" in STSIMAGE_ROOT; the LSU text has been checked, and
    // spells one LSU in one way.
    int32_t (*open_lsu)(std::string_view location, std::string_view lsu, WhenMissing when_missing,
                        std::unique_ptr<Store> &out_store);

    // The root itself. Nothing is made.
    int32_t (*open_root)(std::string_view location, std::unique_ptr<StoreRoot> &out_root);
};

// The name of the one function that the library exports, and its type. The host outlives the library.
constexpr char engine_symbol[] = "stsimage_engine";
using EngineFunction = const Engine *(*)(const EngineHost *host);

}  // namespace stsimage
