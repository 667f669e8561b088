#include "conformance/model/call.h"

namespace conformance::model {

std::string entry_point_name(const Call &call) {
    static const char *const names[OPERATIONS] = {"stspi_init",
                                                  "stspi_init2",
                                                  "stspi_claim",
                                                  "stspi_terminate",
                                                  "stspi_ioctl",
                                                  "stspi_open_server",
                                                  "stspi_create_server",
                                                  "stspi_open_target_server",
                                                  "stspi_close_server",
                                                  "stspi_get_server_prop",
                                                  "stspi_get_server_prop_byname",
                                                  "stspi_open_lsu_list",
                                                  "stspi_open_dynamic_lsu_list",
                                                  "stspi_list_lsu",
                                                  "stspi_close_lsu_list",
                                                  "stspi_get_lsu_prop_byname",
                                                  "stspi_mount_lsu",
                                                  "stspi_unmount_lsu",
                                                  "stspi_create_image",
                                                  "stspi_open_image",
                                                  "stspi_delete_image",
                                                  "stspi_open_image_list",
                                                  "stspi_get_image_prop_byname",
                                                  "stspi_close_image",
                                                  "stspi_close_image_list",
                                                  "stspi_get_image_prop",
                                                  "stspi_list_image",
                                                  "stspi_read_image",
                                                  "stspi_write_image",
                                                  "stspi_copy_extent",
                                                  "stspi_include_in_image",
                                                  "",
                                                  "load_process",
                                                  "set the mask",
                                                  "write the file"};
    if (call.operation == Operation::not_supported)
        return call.text.value_or("");
    return names[static_cast<size_t>(call.operation)];
}

}  // namespace conformance::model
