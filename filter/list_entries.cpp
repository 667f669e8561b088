#include "filter/list_entries.h"

#include "base/text_field.h"
#include "filter/caller_memory.h"
#include "filter/rules/function_traits.h"

namespace filter {

namespace {

constexpr size_t longest_list = 1000000;

ListState *state_of(CallView &call) {
    const HandleNames *names = call.handle_names();
    return names == nullptr ? nullptr : names->list.get();
}

}  // namespace

char *ListEntries::field() const { return pointer<char>(m_call.argument(1)); }

std::string_view ListEntries::entry() const { return text_at(m_call.argument(1), result_of(m_call.function()).size); }

void ListEntries::store(const std::string &entry) const {
    if (char *place = field())
        copy_text(place, result_of(m_call.function()).size, entry.c_str());
}

int32_t ListEntries::give() {
    if (ListState *state = state_of(m_call)) {
        const std::lock_guard guard(state->lock);
        if (!state->waiting.empty()) {
            store(state->waiting.back());
            state->waiting.pop_back();
            return 0;
        }
        if (state->ends_after_waiting)
            return STS_E_NO_MORE_ENTRIES;
    }
    return m_next();
}

bool ListEntries::repeat() {
    ListState *state = state_of(m_call);
    if (state == nullptr || field() == nullptr)
        return false;
    const std::lock_guard guard(state->lock);
    state->waiting.emplace_back(entry());
    return true;
}

bool ListEntries::reverse(int32_t &status) {
    ListState *state = state_of(m_call);
    if (state == nullptr || field() == nullptr)
        return false;
    const std::lock_guard guard(state->lock);
    std::vector<std::string> all;
    do
        all.emplace_back(entry());
    while (!state->ends_after_waiting && all.size() < longest_list && (status = m_next()) == 0);
    // Entries that were kept back come last of all, in their order.
    all.insert(all.begin(), state->waiting.begin(), state->waiting.end());
    state->ends_after_waiting = true;
    store(all.back());
    all.pop_back();
    state->waiting = std::move(all);
    status = 0;
    return true;
}

}  // namespace filter
