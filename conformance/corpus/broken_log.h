// Sessions with a log function of the wrapper's own, which spoils messages on their way.
#pragma once

#include "stspi/sts_types.h"

namespace broken {

// The session to hand to the real plug-in in place of the framework's; null for null. Lives as long as the library.
const sts_session_def_v7_t *shadow(const sts_session_def_v7_t *session);

// Takes masks and log functions over from the framework's sessions; before every call of the real plug-in.
void refresh_shadows();

// Sends a message of the wrapper's own.
void say(const sts_session_def_v7_t *session, int32_t level, const char *text);

// While one lives, the real plug-in's messages are lost.
class Silence {
public:
    Silence();
    ~Silence();
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;
};

}  // namespace broken
