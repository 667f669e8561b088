// The plug-in behind the filter, as a loaded shared library.
#pragma once

#include <string>

#include "filter/rules/function_number.h"
#include "stspi/stspi.h"

namespace filter {

using AnyFunction = void (*)();

class WrappedPlugin {
public:
    // Loads it. Throws std::runtime_error with the loader's words, or naming what the library lacks.
    explicit WrappedPlugin(const std::string &path);
    ~WrappedPlugin();
    WrappedPlugin(const WrappedPlugin &) = delete;
    WrappedPlugin &operator=(const WrappedPlugin &) = delete;

    // Null for a function that the plug-in has neither under its name nor in a slot.
    AnyFunction function(unsigned number) const { return m_functions[number]; }

    // Its tables, of STS_ENTRY_POINT_COUNT and STS_ENTRY_POINT_COUNT2 slots.
    const sts_entry_point_t *table() const { return m_table; }
    const sts_entry_point_t *table2() const { return m_table2; }

private:
    AnyFunction symbol(const char *name) const;
    // As the plug-in's table has it when it is loaded; null for a function that is in no table.
    AnyFunction in_slot(unsigned number) const;

    void *m_library;
    AnyFunction m_functions[function_count] = {};
    const sts_entry_point_t *m_table = nullptr;
    const sts_entry_point_t *m_table2 = nullptr;
};

// A plug-in's table as the filter shows it: its own function in every slot that leads to a known one, and what the
// plug-in itself put there, null too, in every other.
void show_tables(const WrappedPlugin &plugin);

}  // namespace filter
