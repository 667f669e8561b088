// Names for handles: "server#1" is the first server handle that was stored in a process. A name is also told when the
// handle is closed already; a value that is stored again gets a new one. A process that is born of a fork begins with its
// parent's names.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

#include "journal/entry_points.h"

namespace journal {

struct HandleName {
    HandleKind kind = HandleKind::none;
    uint32_t birth = 0;    // from 1
    bool foreign = false;  // never stored in this journal: made up, or older than what is left of a ring

    bool operator==(const HandleName &other) const {
        return kind == other.kind && birth == other.birth && foreign == other.foreign;
    }
};

// "server#1"; "server#?1" for a foreign one.
std::string to_string(const HandleName &name);

class HandleNames {
public:
    // A value that a call stored, not null.
    void store(unsigned process, HandleKind kind, uint64_t value);
    // The name of a value, not null. The first sight of a foreign one gives it its name.
    HandleName name(unsigned process, HandleKind kind, uint64_t value);
    void fork(unsigned parent, unsigned child);

private:
    struct OfKind {
        std::unordered_map<uint64_t, HandleName> names;
        uint32_t births = 0;
        uint32_t foreign_births = 0;
    };
    using OfProcess = std::array<OfKind, 5>;

    OfKind &of(unsigned process, HandleKind kind) { return processes_[process][static_cast<size_t>(kind)]; }

    std::map<unsigned, OfProcess> processes_;
};

}  // namespace journal
