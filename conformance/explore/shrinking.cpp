#include "conformance/explore/shrinking.h"

#include <algorithm>

namespace conformance {

using model::Call;
using model::Operation;

namespace {

class Shrinker {
public:
    Shrinker(History history, const std::function<bool(const History &)> &is_same, size_t most_tries)
        : best_(std::move(history)), is_same_(is_same), tries_left_(most_tries) {}

    History run() {
        bool changed = true;
        while (changed && tries_left_ > 0) {
            changed = leave_out_calls();
            changed = leave_out_files() || changed;
            changed = leave_out_lines() || changed;
            changed = simplify_lines() || changed;
            changed = simplify_calls() || changed;
        }
        return std::move(best_);
    }

private:
    bool keep_if_same(const History &candidate) {
        if (tries_left_ == 0)
            return false;
        --tries_left_;
        if (!is_same_(candidate))
            return false;
        best_ = candidate;
        return true;
    }

    // Halves first, then quarters, down to single elements.
    template <typename Elements>
    bool leave_out(const std::function<Elements &(History &)> &elements_of) {
        bool changed = false;
        for (size_t size = std::max<size_t>(elements_of(best_).size() / 2, 1);; size /= 2) {
            // From the end: what comes later needs what comes before.
            for (size_t end = elements_of(best_).size(); end > 0;) {
                const size_t begin = end > size ? end - size : 0;
                History candidate = best_;
                Elements &elements = elements_of(candidate);
                elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(begin),
                               elements.begin() + static_cast<std::ptrdiff_t>(end));
                changed = keep_if_same(candidate) || changed;
                end = begin;
            }
            if (size == 1)
                return changed;
        }
    }

    bool leave_out_calls() {
        return leave_out<std::vector<Call>>([](History &history) -> std::vector<Call> & { return history.calls; });
    }

    bool leave_out_files() {
        bool changed = false;
        for (const auto &[name, lines] : std::map(best_.files)) {
            History candidate = best_;
            candidate.files.erase(name);
            changed = keep_if_same(candidate) || changed;
        }
        return changed;
    }

    bool leave_out_lines() {
        bool changed = false;
        for (const auto &[name, lines] : std::map(best_.files))
            changed =
                leave_out<Lines>([key = name](History &history) -> Lines & { return history.files[key]; }) || changed;
        return changed;
    }

    // Names out of lists.
    bool simplify_lines() {
        bool changed = false;
        for (const auto &[name, lines] : std::map(best_.files))
            for (size_t i = 0; i < lines.size(); ++i)
                for (size_t comma = best_.files[name][i].rfind(','); comma != std::string::npos && comma > 0;
                     comma = best_.files[name][i].rfind(',', comma - 1)) {
                    History candidate = best_;
                    std::string &line = candidate.files[name][i];
                    const size_t end = line.find_first_of(",;\n", comma + 1);
                    line.erase(comma, end == std::string::npos ? end : end - comma);
                    changed = keep_if_same(candidate) || changed;
                }
        return changed;
    }

    void try_change(size_t index, const std::function<void(Call &)> &change, bool &changed) {
        History candidate = best_;
        Call before = candidate.calls[index];
        change(candidate.calls[index]);
        if (differs(before, candidate.calls[index]))
            changed = keep_if_same(candidate) || changed;
    }

    static bool differs(const Call &one, const Call &other) {
        return one.by_slot != other.by_slot || one.thread != other.thread || one.session != other.session ||
               one.null_record != other.null_record || one.null_out != other.null_out || one.name != other.name ||
               one.text != other.text || one.hosts != other.hosts || one.numbers != other.numbers ||
               one.fill != other.fill || one.ignored != other.ignored || one.library_status != other.library_status ||
               one.library_status_2 != other.library_status_2;
    }

    bool simplify_calls() {
        bool changed = false;
        for (size_t i = 0; i < best_.calls.size(); ++i) {
            try_change(
                i, [](Call &call) { call.thread = 0; }, changed);
            try_change(
                i, [](Call &call) { call.by_slot = false; }, changed);
            try_change(
                i, [](Call &call) { call.fill = 0xa5; }, changed);
            try_change(
                i, [](Call &call) { call.ignored = model::UNREADABLE; }, changed);
            try_change(
                i, [](Call &call) { call.session = call.session > 0 ? 0 : call.session; }, changed);
            try_change(
                i, [](Call &call) { call.library_status = call.library_status_2 = 0; }, changed);
            simplify_numbers(i, changed);
            simplify_name(i, changed);
            while (best_.calls[i].hosts.size() > 1) {
                const size_t before = best_.calls[i].hosts.size();
                for (size_t host = before; host-- > 0 && best_.calls[i].hosts.size() == before;)
                    try_change(
                        i,
                        [&](Call &call) {
                            call.hosts.erase(call.hosts.begin() + static_cast<std::ptrdiff_t>(host));
                            call.numbers[0] = call.hosts.size();
                        },
                        changed);
                if (best_.calls[i].hosts.size() == before)
                    break;
            }
        }
        return changed;
    }

    void simplify_numbers(size_t i, bool &changed) {
        // Those of a server are the number of its hosts.
        if (best_.calls[i].operation == Operation::create_server)
            return;
        for (size_t number = 0; number < best_.calls[i].numbers.size(); ++number)
            for (const uint64_t simple : {uint64_t{0}, uint64_t{1}, best_.calls[i].numbers[number] & 0xffffffff}) {
                if (simple >= best_.calls[i].numbers[number])
                    continue;
                try_change(
                    i, [&](Call &call) { call.numbers[number] = simple; }, changed);
            }
    }

    // Only plain names: a path stays where it leads to.
    void simplify_name(size_t i, bool &changed) {
        const std::string name = best_.calls[i].name.value_or("");
        if (name.size() < 2 || name.find('/') != std::string::npos || name.find('{') != std::string::npos)
            return;
        for (size_t length = name.size() / 2; length > 0; length /= 2) {
            const std::string now = *best_.calls[i].name;
            if (now.size() > length)
                try_change(
                    i, [&](Call &call) { call.name = now.substr(0, now.size() - length); }, changed);
        }
    }

    History best_;
    const std::function<bool(const History &)> &is_same_;
    size_t tries_left_;
};

}  // namespace

History shrunk(History history, const std::function<bool(const History &)> &is_same, size_t most_tries) {
    return Shrinker(std::move(history), is_same, most_tries).run();
}

}  // namespace conformance
