#include "stspi/stspi.h"

namespace {

constexpr int32_t last_command = 12;
constexpr uint32_t accepted_commands = 0xf7f;  // bit (command - 1); command 8 is not acknowledged

}  // namespace

int32_t stspi_ioctl(const void *, int32_t command, ...) {
    const bool accepted = command >= 1 && command <= last_command && (accepted_commands >> (command - 1) & 1) != 0;
    return accepted ? 0 : STS_E_NOT_SUPPORTED;
}
