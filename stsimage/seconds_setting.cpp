#include "stsimage/seconds_setting.h"

#include <cstdlib>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr long longest_seconds = 86400;

}  // namespace

int32_t read_seconds(const char *variable, long least, uint32_t usual, uint32_t &out_seconds) {
    out_seconds = usual;
    const char *const setting = std::getenv(variable);
    if (setting == nullptr || *setting == '\0')
        return 0;
    char *end = nullptr;
    const long seconds = std::strtol(setting, &end, 10);
    if (*end != '\0' || seconds < least || seconds > longest_seconds)
        return fail(STSIMG_E_INVALID_LSU, "%s is %s, which is no number of seconds from %ld to %ld", variable,
                    QuotedText(setting).c_str(), least, longest_seconds);
    out_seconds = static_cast<uint32_t>(seconds);
    return 0;
}

}  // namespace stsimage
