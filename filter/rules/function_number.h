// Numbers of the exported functions: fn_stspi_claim and so on, from 0 without a gap.
#pragma once

#include <cstddef>

#include "filter/rules/exported_functions.h"

namespace filter {

#define FILTER_FUNCTION_NUMBER(name) fn_##name,
enum FunctionNumber : unsigned { FILTER_EXPORTED_FUNCTIONS(FILTER_FUNCTION_NUMBER) function_count };
#undef FILTER_FUNCTION_NUMBER

inline constexpr const char *function_names[function_count] = {
#define FILTER_FUNCTION_NAME(name) #name,
    FILTER_EXPORTED_FUNCTIONS(FILTER_FUNCTION_NAME)
#undef FILTER_FUNCTION_NAME
};

}  // namespace filter
