#include "conformance/watch/environment_snapshot.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstring>
#include <map>

#include "base/quoted_bytes.h"

namespace conformance {

namespace {

constexpr size_t most_variables = 6;
constexpr size_t longest_value = 80;

using Variables = std::map<std::string, std::string>;

// As getenv sees it: the first of several entries counts.
void add_entry(Variables &variables, const std::string &entry) {
    const size_t equals = entry.find('=');
    variables.emplace(entry.substr(0, equals), equals == std::string::npos ? "" : entry.substr(equals + 1));
}

std::string shown(const Variables &variables, const std::string &name) {
    const auto variable = variables.find(name);
    return variable == variables.end() ? name + " not set" : name + "=" + quoted_bytes(variable->second, longest_value);
}

}  // namespace

void EnvironmentSnapshot::take() {
    if (is_current())
        return;
    entries_.clear();
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        entries_.append(*entry, std::strlen(*entry) + 1);
}

bool EnvironmentSnapshot::is_current() const {
    const char *then = entries_.data();
    const char *const end = then + entries_.size();
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        if (then == end || std::strcmp(then, *entry) != 0)
            return false;
        then += std::strlen(then) + 1;
    }
    return then == end;
}

EnvironmentSnapshot::Difference EnvironmentSnapshot::difference() const {
    Variables then;
    for (size_t begin = 0; begin < entries_.size(); begin += std::strlen(entries_.data() + begin) + 1)
        add_entry(then, entries_.data() + begin);
    Variables now;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        add_entry(now, *entry);

    Variables all = then;
    all.insert(now.begin(), now.end());
    Difference difference;
    size_t count = 0;
    for (const auto &[name, value] : all) {
        const auto before = then.find(name);
        const auto after = now.find(name);
        const bool is_same = before != then.end() && after != now.end() && before->second == after->second;
        if (is_same || ++count > most_variables)
            continue;
        difference.then += (count == 1 ? "" : ", ") + shown(then, name);
        difference.now += (count == 1 ? "" : ", ") + shown(now, name);
    }
    if (count == 0)
        return {"as before the call", "the same variables, in another order or several times"};
    if (count > most_variables) {
        const std::string rest = fmt::format(", and {} more", count - most_variables);
        difference.then += rest;
        difference.now += rest;
    }
    return difference;
}

}  // namespace conformance
