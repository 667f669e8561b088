#include "conformance/tests/long_host.h"

#include "conformance/watch/expect.h"
#include "stspi/sts_types.h"

namespace conformance {

bool is_refused_long_host(const std::string &host, int32_t status) {
    if (host.size() < sizeof(sts_server_info_t::server_name) || status == 0)
        return false;
    warn(fmt::format("status of a host part of {} bytes", host.size()), "0, with the host part cut at 511 bytes",
         status_text(status));
    return true;
}

}  // namespace conformance
