// The record that a call fills.
#pragma once

#include <vector>

#include "conformance/model/call.h"
#include "conformance/watch/record_fields.h"

namespace conformance {

// Its fields; none for the table of stspi_init2, whose slots have no names here; null for a call that fills no record.
const std::vector<RecordField> *fields_of_record(model::Operation operation);

}  // namespace conformance
