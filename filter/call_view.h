// A call by its meaning: the names and numbers in its arguments.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "filter/call_frame.h"
#include "filter/handle_names.h"
#include "filter/rules/function_number.h"
#include "filter/rules/function_traits.h"
#include "filter/rules/rule.h"

namespace filter {

// Valid while the call runs.
class CallView {
public:
    CallView(CallFrame &frame, HandleMap &handles) : m_frame(frame), m_handles(handles) {}

    unsigned function() const { return static_cast<unsigned>(m_frame.function); }
    uint64_t argument(unsigned number) const {
        return number < 6 ? m_frame.arguments[number] : m_frame.stack[number - 6];
    }
    void set_argument(unsigned number, uint64_t value) { m_frame.arguments[number] = value; }

    // Known before the call; of a function without one: empty, null or 0.
    std::string_view name(NameKind kind) {
        if (!m_is_named)
            find_names();
        return m_names[kind];
    }
    bool host_matches(const std::string &pattern);
    const sts_session_def_v7_t *session();
    uint64_t offset() const;
    uint64_t length() const;
    // The number of the argument that is the length; -1: none.
    int length_argument() const;
    // Where the call tells the number of bytes moved; null: nowhere.
    uint64_t *count() const;
    const HandleNames *handle_names();

    // Takes what the call opened into the map, and what it closes out of it.
    void note_before();
    void note_after(int32_t status);

    // A number for the call's names.
    uint64_t identity();

private:
    void find_names();
    void find_name(const NamedArgument &named);
    void find_server(uint64_t name);
    void find_hosts(uint64_t hosts, int32_t count);
    void find_lsu(uint64_t record);
    void find_handle(journal::HandleKind kind, uint64_t handle);
    void add_opened(const void *handle, journal::HandleKind kind);

    CallFrame &m_frame;
    HandleMap &m_handles;
    HandleMap::Names m_owner;  // keeps the texts below alive
    bool m_is_named = false;
    std::string_view m_names[name_kinds];
    const std::vector<std::string> *m_hosts = nullptr;
    std::vector<std::string> m_own_hosts;
    const sts_session_def_v7_t *m_session = nullptr;
    const void *m_out_before = nullptr;
};

// The part of a server's name behind its first ':'; the whole name without one.
std::string_view host_part(std::string_view server_name);

}  // namespace filter
