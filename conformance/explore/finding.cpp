#include "conformance/explore/finding.h"

#include <algorithm>
#include <iterator>

namespace conformance {

namespace {

template <size_t Size>
void put_text(char (&field)[Size], const std::string &text) {
    field[text.copy(field, Size - 1)] = '\0';
}

}  // namespace

void put_begin(SharedFinding &shared, size_t call) {
    if (call < std::size(shared.progress))
        shared.progress[call] = {true, false, 0};
}

void put_status(SharedFinding &shared, size_t call, int32_t status) {
    if (call < std::size(shared.progress))
        shared.progress[call] = {true, true, status};
}

void put_finding(SharedFinding &shared, const HistoryFinding &finding) {
    shared.call = finding.call;
    put_text(shared.what, finding.what);
    put_text(shared.expected, finding.expected);
    put_text(shared.got, finding.got);
    for (size_t i = 0; i < finding.statuses.size(); ++i)
        if (finding.statuses[i])
            put_status(shared, i, *finding.statuses[i]);
    shared.kind = finding.kind;
}

HistoryFinding finding_in(const SharedFinding &shared) {
    HistoryFinding finding;
    finding.kind = shared.kind;
    finding.call = shared.call;
    finding.what = shared.what;
    finding.expected = shared.expected;
    finding.got = shared.got;
    const bool ended_early = finding.kind == HistoryFinding::none && shared.finished == 0;
    for (size_t i = std::size(shared.progress); i-- > 0;) {
        const SharedFinding::Progress &one = shared.progress[i];
        if (one.has_returned) {
            finding.statuses.resize(std::max(finding.statuses.size(), i + 1));
            finding.statuses[i] = one.status;
        } else if (one.has_begun && ended_early) {
            finding.call = static_cast<int>(i);
        }
    }
    return finding;
}

}  // namespace conformance
