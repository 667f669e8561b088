#include "simhost/host/null_call.h"

int32_t call_with_nulls(sts_entry_point_t entry_point) {
    using Word = uint64_t;
    // Too many arguments do no harm: the caller clears them away.
    using AnyEntryPoint =
        int32_t (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
    return reinterpret_cast<AnyEntryPoint>(entry_point)(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}
