// For programs that define functions of the C library, which the dynamic linker prefers for every library.
#pragma once

#include <dlfcn.h>

namespace next_function {

template <class Function>
Function find(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace next_function

// The C library's function of the same name and type.
#define NEXT(function)                                                                      \
    ([] {                                                                                   \
        static const auto next_one = next_function::find<decltype(&::function)>(#function); \
        return next_one;                                                                    \
    }())
