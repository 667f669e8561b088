#include "journal/calls/status_name.h"

#include <fmt/format.h>

#include "stspi/sts_status.h"
#include "stspi/stsimg.h"

#define NAME_OF(name, number, meaning) \
    case number:                       \
        return #name;
#define MEANING_OF(name, number, meaning) \
    case number:                          \
        return meaning;

std::string status_name(int32_t status) {
    switch (status) {
        case 0:
            return "success";
            STS_STATUS_LIST(NAME_OF)
            STSIMG_STATUS_LIST(NAME_OF)
        default:
            return "unknown status";
    }
}

std::string status_meaning(int32_t status) {
    switch (status) {
        STS_STATUS_LIST(MEANING_OF)
        STSIMG_STATUS_LIST(MEANING_OF)
        default:
            return "";
    }
}

std::string describe_status(int32_t status) { return fmt::format("{} ({})", status_name(status), status); }
