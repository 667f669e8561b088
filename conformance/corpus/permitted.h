// Choices that the interface leaves to a plug-in, made otherwise than the wrapped plug-in makes them. The suite must pass
// each of them (see permitted.txt).
#pragma once

#include <string>

#include "stspi/sts_types.h"

namespace broken {

// Keeps a block of memory for ever.
void keep(size_t size);

// True when the host part of a server name does not fit its field and the variant chosen refuses such names.
bool refuses_host(const char *server_name);

// A server name for which the wrapped plug-in stores a handle and refuses the call.
constexpr char refused_name[] = "no-such-file-in-any-test:x";

// How the variant chosen takes an LSU name without a terminator: refused, or read up to the last byte but one.
bool refuses_unterminated(const stsp_lsu_v7_t *lsu);
const stsp_lsu_v7_t *terminated(const stsp_lsu_v7_t *lsu, stsp_lsu_v7_t &copy);

// Gives the simulated host's name another domain.
void change_domain(char *server_name);

// A configuration line as the variant chosen understands it.
void understand(std::string &line);

// A command line whose '%' have been taken for directives.
std::string formatted(const std::string &text);

}  // namespace broken
