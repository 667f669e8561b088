#include "conformance/replay/test_difference.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/quoted_bytes.h"
#include "conformance/calls/call_journal.h"
#include "conformance/replay/recorded_test.h"
#include "journal/calls/journal_diff.h"

namespace conformance {

namespace {

constexpr size_t longest_shown = 400;

std::string shown(const Json &value) {
    if (value.is_null())
        return "nothing";
    std::string text =
        value.is_string() ? value.get<std::string>() : value.dump(-1, ' ', true, Json::error_handler_t::replace);
    return text.size() > longest_shown ? text.substr(0, longest_shown) + "..." : text;
}

std::string call_text(const CallDifference &call) {
    const uint64_t number = call.call_a != 0 ? call.call_a : call.call_b;
    return fmt::format("{} (call {})", call.entry_point, number);
}

void add_calls(const JournalDifference &journals, TestDifference &out) {
    for (const ThreadDifference &thread : journals.threads)
        for (const CallDifference &call : thread.differences) {
            if (call.kind == CallDifference::Kind::changed) {
                for (const ValueDifference &value : call.values)
                    out.differences.push_back({call_text(call), value.path, shown(value.a), shown(value.b)});
                continue;
            }
            const bool is_first = call.kind == CallDifference::Kind::only_a;
            out.differences.push_back({call_text(call), "the call", is_first ? shown(call.call) : "not made",
                                       is_first ? "not made" : shown(call.call)});
        }
}

std::string asked_text(const LibraryAnswer *answer) {
    if (answer == nullptr)
        return "no call";
    std::string text = answer->function + "(";
    for (size_t i = 0; i < answer->shown.size(); ++i)
        text += fmt::format("{}{}", i == 0 ? "" : ", ",
                            i + 2 < answer->shown.size() ? answer->shown[i] : quoted_bytes(answer->shown[i], 120));
    return text + ")";
}

void add_library_calls(const Surroundings &first, const Surroundings &second, TestDifference &out) {
    auto numbers = first.answers;
    numbers.insert(second.answers.begin(), second.answers.end());
    static const std::vector<LibraryAnswer> none;
    const auto of = [](const Surroundings &one, uint64_t number) -> const std::vector<LibraryAnswer> & {
        const auto found = one.answers.find(number);
        return found == one.answers.end() ? none : found->second;
    };
    for (const auto &[number, ignored] : numbers) {
        const auto &a = of(first, number);
        const auto &b = of(second, number);
        for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
            const std::string in_a = asked_text(i < a.size() ? &a[i] : nullptr);
            const std::string in_b = asked_text(i < b.size() ? &b[i] : nullptr);
            if (in_a != in_b)
                out.differences.push_back({fmt::format("call {} of the test", number),
                                           fmt::format("call {} of the image library", i + 1), in_a, in_b});
        }
    }
}

std::string tree_text(const std::optional<Tree> &tree) {
    if (!tree)
        return "unknown: the process ended before";
    std::string text;
    for (const TreeEntry &one : *tree)
        text += fmt::format("{}{} {:o} {}", text.empty() ? "" : ", ", quoted_bytes(one.path, 80), one.mode,
                            quoted_bytes(one.content, 80));
    return text.empty() ? "nothing" : text;
}

}  // namespace

TestDifference differences_between(const std::string &first, const std::string &second) {
    TestDifference out;
    std::vector<Mask> masks = {{MaskAction::drop, "stspi_get_lsu_prop_byname", "results.info.used_bytes", 0,
                                "others write to this disk, too", 0, 0},
                               {MaskAction::drop, "*", "*.saved", 0, "whether bytes are kept beside a journal", 0, 0}};
    const JournalDifference journals = compare_journals(first + "/" + calls_file, second + "/" + calls_file, masks);
    out.same = journals.same;
    add_calls(journals, out);
    const Surroundings a = read_surroundings(first);
    const Surroundings b = read_surroundings(second);
    add_library_calls(a, b, out);
    if (!(a.made == b.made))
        out.differences.push_back(
            {"", "what stands in the working directory in the end", tree_text(a.made), tree_text(b.made)});
    return out;
}

}  // namespace conformance
