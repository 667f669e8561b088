// The names of the slots of the two tables.
#pragma once

#include <array>

#include "stspi/stspi.h"

// Null for a slot that has no entry point.
const std::array<const char *, STS_ENTRY_POINT_COUNT> &first_table_names();
const std::array<const char *, STS_ENTRY_POINT_COUNT2> &second_table_names();
