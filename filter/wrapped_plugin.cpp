#include "filter/wrapped_plugin.h"

#include <dlfcn.h>

#include <stdexcept>

#include "filter/rules/function_traits.h"

namespace filter {

WrappedPlugin::WrappedPlugin(const std::string &path) : m_library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (m_library == nullptr)
        throw std::runtime_error(dlerror());
    for (unsigned number = 0; number < function_count; ++number)
        m_functions[number] = symbol(function_names[number]);
    m_table = reinterpret_cast<const sts_entry_point_t *>(symbol("STSSanDiskEntryPoints"));
    m_table2 = reinterpret_cast<const sts_entry_point_t *>(symbol("STSSANDiskEntryPoints2"));
    const char *missing = nullptr;
    if (m_functions[fn_stspi_init] == nullptr)
        missing = "stspi_init";
    else if (m_functions[fn_stspi_init2] == nullptr)
        missing = "stspi_init2";
    else if (m_table == nullptr)
        missing = "STSSanDiskEntryPoints";
    else if (m_table2 == nullptr)
        missing = "STSSANDiskEntryPoints2";
    if (missing != nullptr) {
        dlclose(m_library);
        throw std::runtime_error(path + " is no plug-in: it exports no " + missing);
    }
    for (unsigned number = 0; number < function_count; ++number)
        if (m_functions[number] == nullptr)
            m_functions[number] = in_slot(number);
}

WrappedPlugin::~WrappedPlugin() { dlclose(m_library); }

AnyFunction WrappedPlugin::in_slot(unsigned number) const {
    const size_t place = journal_number(number);
    if (place < STS_ENTRY_POINT_COUNT)
        return m_table[place];
    if (place < STS_ENTRY_POINT_COUNT + STS_ENTRY_POINT_COUNT2)
        return m_table2[place - STS_ENTRY_POINT_COUNT];
    return nullptr;
}

AnyFunction WrappedPlugin::symbol(const char *name) const {
    return reinterpret_cast<AnyFunction>(dlsym(m_library, name));
}

namespace {

void show_table(sts_entry_point_t *own, const sts_entry_point_t *wrapped, size_t slots) {
    for (size_t slot = 0; slot < slots; ++slot)
        if (own[slot] == nullptr || wrapped[slot] == nullptr)
            own[slot] = wrapped[slot];
}

}  // namespace

void show_tables(const WrappedPlugin &plugin) {
    show_table(STSSanDiskEntryPoints, plugin.table(), STS_ENTRY_POINT_COUNT);
    show_table(STSSANDiskEntryPoints2, plugin.table2(), STS_ENTRY_POINT_COUNT2);
}

}  // namespace filter
