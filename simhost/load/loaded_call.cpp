#include "simhost/load/loaded_call.h"

const char *loaded_call_name(LoadedCall call) {
    static constexpr const char *names[] = {
#define LOADED_NAME(name) "stspi_" #name,
        LOADED_CALLS(LOADED_NAME)
#undef LOADED_NAME
    };
    return names[static_cast<size_t>(call)];
}
