#include "conformance/calls/mount_messages.h"

#include "conformance/watch/expect.h"

namespace conformance {

void fail_a_mount(sts_server_handle_t handle) {
    const GuardedMemory result(STS_MOUNT_RESULT_SIZE);
    expect_status(
        plugin().mount_lsu(lsu(handle, "nosuchgroup:v"), "/tmp/never-made", 1, static_cast<char *>(result.data())),
        STS_E_SYSTEM);
}

LogLine unknown_group() { return unmasked("Unknown Diskgroup: nosuchgroup\n"); }

}  // namespace conformance
