#include "journal/replay/minimizing.h"

#include <algorithm>
#include <map>

namespace {

// Takes out what needs a handle that nobody opens any more. Handles are told apart by the calls that open them: a value may
// be used again.
class Openers {
public:
    explicit Openers(const RecordedSession &session) : needed_(session.steps.size()) {
        std::map<uint64_t, size_t> opener;
        for (size_t i = 0; i < session.steps.size(); ++i) {
            for (const uint64_t handle : session.steps[i].used_handles())
                if (const auto found = opener.find(handle); found != opener.end())
                    needed_[i].push_back(found->second);
            if (const uint64_t stored = session.steps[i].stored_handle(); stored != 0)
                opener[stored] = i;
        }
    }

    std::vector<bool> with_openers(std::vector<bool> wanted) const {
        for (size_t i = 0; i < wanted.size(); ++i)
            for (const size_t opener : needed_[i])
                if (!wanted[opener])
                    wanted[i] = false;
        return wanted;
    }

private:
    std::vector<std::vector<size_t>> needed_;
};

}  // namespace

std::vector<bool> minimized(const RecordedSession &session,
                            const std::function<bool(const std::vector<bool> &)> &still_does) {
    const Openers openers(session);
    std::vector<bool> best(session.steps.size(), true);
    for (size_t size = std::max<size_t>(best.size() / 2, 1);;) {
        bool changed = false;
        std::vector<size_t> left;
        for (size_t i = 0; i < best.size(); ++i)
            if (best[i])
                left.push_back(i);
        // From the end: what comes later needs what comes before.
        for (size_t end = left.size(); end > 0; end = end > size ? end - size : 0) {
            std::vector<bool> candidate = best;
            for (size_t i = end > size ? end - size : 0; i < end; ++i)
                candidate[left[i]] = false;
            candidate = openers.with_openers(std::move(candidate));
            if (candidate != best && still_does(candidate)) {
                best = std::move(candidate);
                changed = true;
            }
        }
        if (size == 1 && !changed)
            return best;
        if (!changed || size > 1)
            size = std::max<size_t>(size / 2, 1);
    }
}
