#include "conformance/explore/operation_record.h"

#include "stspi/sts_types.h"

namespace conformance {

const std::vector<RecordField> *fields_of_record(model::Operation operation) {
    using model::Operation;
    switch (operation) {
        case Operation::get_server_prop:
        case Operation::get_server_prop_byname:
            return &fields_of(static_cast<const sts_server_info_t *>(nullptr));
        case Operation::get_lsu_prop_byname:
            return &fields_of(static_cast<const sts_lsu_info_v9_t *>(nullptr));
        case Operation::init:
            return &fields_of(static_cast<const sts_registration_t *>(nullptr));
        case Operation::init2:
            return &fields_of(static_cast<const void *>(nullptr));
        default:
            return nullptr;
    }
}

}  // namespace conformance
