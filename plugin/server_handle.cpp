#include "plugin/server_handle.h"

ServerHandle::~ServerHandle() {
    disk_array.reset();
    sts_object.reset();
    host_list.reset();
}

ServerHandle *new_server_handle(const sts_session_def_v7_t *session) {
    auto *handle = new ServerHandle();
    handle->session = session;
    handle->host_flag = 1;
    return handle;
}
