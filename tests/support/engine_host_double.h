// Stands for the image library before what an engine's library is made of.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "stsimage/engine.h"

namespace engine_host_double {

inline thread_local std::string latest_text;

inline int32_t tell(int32_t status, const char *text) {
    latest_text = text;
    return status;
}
inline int32_t tell_system(int, const char *text) { return tell(1, text); }
inline const char *latest(int &out_error) {
    out_error = 0;
    return latest_text.c_str();
}
inline void tell_again(const char *text, int) { latest_text = text; }
inline stsimage::CallState &call_state() {
    thread_local stsimage::CallState state;
    return state;
}

inline constexpr stsimage::EngineHost host{
    tell, tell_system, latest, tell_again, call_state, [] {}, [] { return std::chrono::milliseconds::max(); }};

}  // namespace engine_host_double
