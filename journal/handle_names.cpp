#include "journal/handle_names.h"

namespace journal {

std::string to_string(const HandleName &name) {
    return std::string(handle_kind_name(name.kind)) + (name.foreign ? "#?" : "#") + std::to_string(name.birth);
}

void HandleNames::store(unsigned process, HandleKind kind, uint64_t value) {
    OfKind &known = of(process, kind);
    known.names[value] = {kind, ++known.births, false};
}

HandleName HandleNames::name(unsigned process, HandleKind kind, uint64_t value) {
    OfKind &known = of(process, kind);
    const auto [place, is_new] = known.names.try_emplace(value);
    if (is_new)
        place->second = {kind, ++known.foreign_births, true};
    return place->second;
}

void HandleNames::fork(unsigned parent, unsigned child) {
    const auto found = processes_.find(parent);
    if (found != processes_.end())
        processes_[child] = OfProcess(found->second);
}

}  // namespace journal
