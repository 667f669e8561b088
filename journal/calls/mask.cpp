#include "journal/calls/mask.h"

#include <fnmatch.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>

namespace {

bool fits(const std::string &pattern, const std::string &text) {
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

using Visit = std::function<bool(const std::string &path, Json &value)>;

// Every value below, children behind their parents; those for which the function returns true are erased.
void walk(Json &value, const std::string &path, const Visit &visit) {
    if (!value.is_structured())
        return;
    for (auto member = value.begin(); member != value.end();) {
        const size_t index = static_cast<size_t>(std::distance(value.begin(), member));
        const std::string key = value.is_array() ? std::to_string(index) : member.key();
        std::string member_path = path;
        if (!path.empty())
            member_path += ".";
        member_path += key;
        if (visit(member_path, *member)) {
            // An erased element of a list keeps its place, so that the paths of others stay as they are.
            if (value.is_array()) {
                *member = nullptr;
                ++member;
            } else {
                member = value.erase(member);
            }
            continue;
        }
        walk(*member, member_path, visit);
        ++member;
    }
}

void round_to(Json &value, uint64_t unit) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<uint64_t>();
        const uint64_t rest = number % unit;
        value = number - rest + (rest >= unit - rest && number - rest <= UINT64_MAX - unit ? unit : 0);
    }
}

}  // namespace

void apply_masks(std::vector<Mask> &masks, const std::string &entry_point, Json &call) {
    for (Mask &mask : masks) {
        if (!fits(mask.entry_point, entry_point))
            continue;
        walk(call, "", [&mask](const std::string &path, Json &value) {
            if (!fits(mask.path, path))
                return false;
            ++mask.matched;
            if (mask.action == MaskAction::sort && value.is_array())
                std::sort(value.begin(), value.end());
            if (mask.action == MaskAction::round)
                round_to(value, mask.unit);
            return mask.action == MaskAction::drop;
        });
    }
}

bool sorts_across_calls(const std::vector<Mask> &masks, const std::string &entry_point) {
    return std::any_of(masks.begin(), masks.end(), [&entry_point](const Mask &mask) {
        return mask.action == MaskAction::sort && fits(mask.entry_point, entry_point);
    });
}

void sort_across_calls(std::vector<Mask> &masks, const std::string &entry_point, const std::vector<Json *> &calls) {
    for (const Mask &mask : masks) {
        if (mask.action != MaskAction::sort || !fits(mask.entry_point, entry_point))
            continue;
        std::map<std::string, std::vector<Json *>> values;
        for (Json *call : calls) {
            // What is below a value moves with it.
            std::string taken = "?";
            walk(*call, "", [&](const std::string &path, Json &value) {
                if (path.rfind(taken + ".", 0) != 0 && fits(mask.path, path) && !value.is_array()) {
                    values[path].push_back(&value);
                    taken = path;
                }
                return false;
            });
        }
        for (auto &[path, places] : values) {
            std::vector<Json> sorted;
            for (const Json *place : places)
                sorted.push_back(*place);
            std::sort(sorted.begin(), sorted.end());
            for (size_t i = 0; i < places.size(); ++i)
                *places[i] = sorted[i];
        }
    }
}
