// The plug-in that a broken one wraps, and what about it is to be broken.
//
// STSPI_BROKEN_REAL names the library, STSPI_BROKEN the breakage (see breakages.txt), or several separated by commas; none at
// all leaves the plug-in as it is.
#pragma once

#include <string>

namespace broken {

// True for a breakage that was chosen.
bool is(const char *breakage);
// True when one was chosen whose name begins so.
bool is_any_of(const char *prefix);

// The real library's symbol.
void *real_symbol(const char *name);

template <typename Function>
Function *real(const char *name) {
    return reinterpret_cast<Function *>(real_symbol(name));
}

// Makes the real library call replacement where it calls the imported function name; gives the function it called.
void *replace_import(const char *name, void *replacement);

// The LSU name of the image call that this thread makes on a Copan array; null on a disk array.
void set_lsu_of_image_call(const char *lsu_name);

// Puts replacements of system calls and image-library calls in place, as the breakage chosen needs them.
void replace_imports();

}  // namespace broken
