#include "simhost/host/entry_points.h"

#include <fmt/format.h>

#include "simhost/report/failure.h"

namespace {

template <class Function>
void bind(Function &function, const sts_entry_point_t *table, int slot, const char *which, const char *name) {
    if (table == nullptr)
        throw BadAnswer(fmt::format("the plug-in hands over no {} table", which));
    if (table[slot] == nullptr)
        throw BadAnswer(fmt::format("slot {} of the {} table ({}) is null", slot, which, name));
    function = reinterpret_cast<Function>(table[slot]);
}

}  // namespace

EntryPoints bind_entry_points(const sts_entry_point_t *table, const sts_entry_point_t *table2) {
    EntryPoints entry;
#define BIND_FIRST(name, slot)  bind(entry.name, table, slot, "first", "stspi_" #name);
#define BIND_SECOND(name, slot) bind(entry.name, table2, slot, "second", "stspi_" #name);
    SIMHOST_ENTRY_POINTS(BIND_FIRST)
    SIMHOST_ENTRY_POINTS2(BIND_SECOND)
#undef BIND_FIRST
#undef BIND_SECOND
    return entry;
}
