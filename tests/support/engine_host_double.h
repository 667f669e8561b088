// Stands for the image library before what an engine's library is made of. No call ever ends.
#pragma once

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
inline void note_time_out(int64_t) {}
inline int64_t time_left_for_call() { return INT64_MAX; }

inline constexpr stsimage::EngineHost host{tell, tell_system, latest, tell_again, note_time_out, time_left_for_call};

}  // namespace engine_host_double
