#include "journal/calls/journal_diff.h"

#include <algorithm>
#include <functional>
#include <set>

#include "journal/calls/sequence_diff.h"

using namespace journal;

namespace {

// Of each call of a thread only what it takes to see whether two are the same: journals can be long.
struct Outline {
    std::vector<uint64_t> calls;         // hash of the whole
    std::vector<uint64_t> entry_points;  // hash of its name
};

using Outlines = std::map<ThreadNumber, Outline>;
using CallsByIndex = std::map<std::pair<ThreadNumber, size_t>, RecordedCall>;

uint64_t hash(const std::string &text) { return std::hash<std::string>()(text); }

std::string text_of(const Json &json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Outlines outline(const std::string &path, std::vector<Mask> &masks) {
    Reader reader(path);
    Events events(reader);
    CallStream stream(events, masks);
    Outlines outlines;
    for (RecordedCall call; stream.next(call);) {
        Outline &thread = outlines[call.thread];
        thread.calls.push_back(hash(text_of(call.json)));
        thread.entry_points.push_back(hash(call.entry_point));
    }
    return outlines;
}

CallsByIndex fetch(const std::string &path, const std::vector<Mask> &masks,
                   const std::set<std::pair<ThreadNumber, size_t>> &wanted) {
    CallsByIndex calls;
    if (wanted.empty())
        return calls;
    std::vector<Mask> uncounted = masks;
    Reader reader(path);
    Events events(reader);
    CallStream stream(events, uncounted);
    std::map<ThreadNumber, size_t> next;
    for (RecordedCall call; stream.next(call);) {
        const auto key = std::make_pair(call.thread, next[call.thread]++);
        if (wanted.count(key) != 0)
            calls[key] = std::move(call);
    }
    return calls;
}

struct ThreadPair {
    ThreadNumber a;
    ThreadNumber b;
};

std::vector<ThreadPair> pair_threads(const Outlines &a, const Outlines &b) {
    std::vector<ThreadPair> pairs;
    std::set<ThreadNumber> taken_a;
    std::set<ThreadNumber> taken_b;
    const auto take = [&](const ThreadNumber &in_a, const ThreadNumber &in_b) {
        pairs.push_back({in_a, in_b});
        taken_a.insert(in_a);
        taken_b.insert(in_b);
    };
    for (const auto &[number_a, outline_a] : a)
        for (const auto &[number_b, outline_b] : b)
            if (taken_a.count(number_a) == 0 && taken_b.count(number_b) == 0 && outline_a.calls == outline_b.calls)
                take(number_a, number_b);
    auto next_b = b.begin();
    for (const auto &[number_a, outline_a] : a) {
        if (taken_a.count(number_a) != 0)
            continue;
        while (next_b != b.end() && taken_b.count(next_b->first) != 0)
            ++next_b;
        if (next_b != b.end())
            take(number_a, next_b->first);
        else
            take(number_a, {});
    }
    for (const auto &[number_b, outline_b] : b)
        if (taken_b.count(number_b) == 0)
            take({}, number_b);
    std::sort(pairs.begin(), pairs.end(), [](const ThreadPair &left, const ThreadPair &right) {
        const bool left_has = left.a.process != 0;
        const bool right_has = right.a.process != 0;
        return left_has != right_has ? left_has : (left_has ? left.a < right.a : left.b < right.b);
    });
    return pairs;
}

// Indices of calls that go together though they differ, or that stand alone: SIZE_MAX.
struct IndexPair {
    size_t a;
    size_t b;
};

// In a gap between calls that are the same, calls of one entry point go together in their order.
void pair_gap(const Outline &a, const Outline &b, size_t a_begin, size_t a_end, size_t b_begin, size_t b_end,
              std::vector<IndexPair> &pairs) {
    const std::vector<uint64_t> in_a(a.entry_points.begin() + static_cast<ptrdiff_t>(a_begin),
                                     a.entry_points.begin() + static_cast<ptrdiff_t>(a_end));
    const std::vector<uint64_t> in_b(b.entry_points.begin() + static_cast<ptrdiff_t>(b_begin),
                                     b.entry_points.begin() + static_cast<ptrdiff_t>(b_end));
    auto matches = matching_elements(in_a, in_b);
    matches.emplace_back(in_a.size(), in_b.size());
    size_t next_a = 0;
    size_t next_b = 0;
    for (const auto &[match_a, match_b] : matches) {
        for (; next_a < match_a; ++next_a)
            pairs.push_back({a_begin + next_a, SIZE_MAX});
        for (; next_b < match_b; ++next_b)
            pairs.push_back({SIZE_MAX, b_begin + next_b});
        if (match_a < in_a.size() && match_b < in_b.size())
            pairs.push_back({a_begin + next_a++, b_begin + next_b++});
    }
}

std::vector<IndexPair> differing_calls(const Outline &a, const Outline &b, uint64_t &same) {
    auto matches = matching_elements(a.calls, b.calls);
    same = matches.size();
    matches.emplace_back(a.calls.size(), b.calls.size());
    std::vector<IndexPair> pairs;
    size_t next_a = 0;
    size_t next_b = 0;
    for (const auto &[match_a, match_b] : matches) {
        pair_gap(a, b, next_a, match_a, next_b, match_b, pairs);
        next_a = match_a + 1;
        next_b = match_b + 1;
    }
    return pairs;
}

void compare_values(const Json &a, const Json &b, const std::string &path, std::vector<ValueDifference> &found) {
    if (a == b)
        return;
    const auto is_list_of_same_size = a.is_array() && b.is_array() && a.size() == b.size();
    if (is_list_of_same_size) {
        for (size_t i = 0; i < a.size(); ++i)
            compare_values(a[i], b[i], path + "." + std::to_string(i), found);
        return;
    }
    if (!a.is_object() || !b.is_object()) {
        found.push_back({path, a, b});
        return;
    }
    const std::string prefix = path.empty() ? "" : path + ".";
    for (const auto &[key, value] : a.items())
        compare_values(value, b.contains(key) ? b[key] : Json(), prefix + key, found);
    for (const auto &[key, value] : b.items())
        if (!a.contains(key))
            compare_values(Json(), value, prefix + key, found);
}

CallDifference describe(const RecordedCall *a, const RecordedCall *b) {
    CallDifference difference = {};
    // cppcheck-suppress nullPointerRedundantCheck  ; one of them is there
    difference.entry_point = a != nullptr ? a->entry_point : b->entry_point;
    difference.call_a = a != nullptr ? a->call : 0;
    difference.call_b = b != nullptr ? b->call : 0;
    if (a != nullptr && b != nullptr) {
        difference.kind = CallDifference::Kind::changed;
        compare_values(a->json, b->json, "", difference.values);
    } else {
        difference.kind = a != nullptr ? CallDifference::Kind::only_a : CallDifference::Kind::only_b;
        difference.call = a != nullptr ? a->json : b->json;
    }
    return difference;
}

}  // namespace

JournalDifference compare_journals(const std::string &a, const std::string &b, std::vector<Mask> &masks) {
    const Outlines outlines_a = outline(a, masks);
    const Outlines outlines_b = outline(b, masks);
    const Outline none;
    const auto outline_of = [&none](const Outlines &outlines, const ThreadNumber &number) -> const Outline & {
        const auto found = outlines.find(number);
        return found != outlines.end() ? found->second : none;
    };

    JournalDifference result;
    std::vector<std::vector<IndexPair>> pairs_of_thread;
    std::set<std::pair<ThreadNumber, size_t>> wanted_a;
    std::set<std::pair<ThreadNumber, size_t>> wanted_b;
    for (const ThreadPair &pair : pair_threads(outlines_a, outlines_b)) {
        ThreadDifference thread = {pair.a, pair.b, 0, {}};
        pairs_of_thread.push_back(
            differing_calls(outline_of(outlines_a, pair.a), outline_of(outlines_b, pair.b), thread.same));
        for (const IndexPair &calls : pairs_of_thread.back()) {
            if (calls.a != SIZE_MAX)
                wanted_a.emplace(pair.a, calls.a);
            if (calls.b != SIZE_MAX)
                wanted_b.emplace(pair.b, calls.b);
        }
        result.same += thread.same;
        result.differing += pairs_of_thread.back().size();
        result.threads.push_back(thread);
    }

    const CallsByIndex calls_a = fetch(a, masks, wanted_a);
    const CallsByIndex calls_b = fetch(b, masks, wanted_b);
    const auto call_of = [](const CallsByIndex &calls, const ThreadNumber &thread, size_t index) {
        const auto found = calls.find({thread, index});
        return found != calls.end() ? &found->second : nullptr;
    };
    for (size_t i = 0; i < result.threads.size(); ++i)
        for (const IndexPair &pair : pairs_of_thread[i]) {
            const RecordedCall *in_a = call_of(calls_a, result.threads[i].a, pair.a);
            const RecordedCall *in_b = call_of(calls_b, result.threads[i].b, pair.b);
            // A journal that is being written may have lost a call since it was first read.
            if (in_a != nullptr || in_b != nullptr)
                result.threads[i].differences.push_back(describe(in_a, in_b));
        }
    return result;
}
