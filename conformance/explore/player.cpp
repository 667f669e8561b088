#include "conformance/explore/player.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <thread>

#include "conformance/calls/image_calls.h"
#include "conformance/explore/comparison.h"
#include "conformance/watch/allocations.h"
#include "conformance/watch/sanitizers.h"
#include "conformance/watch/standard_output.h"
#include "stspi/sts_types.h"

namespace conformance {

using model::Call;
using model::Expected;
using model::Model;
using model::Operation;

namespace {

// What a Copan array's LSU may take, which is never given back.
constexpr size_t most_bytes_of_an_lsu = 512;

// Others use the file system too: between the two plug-ins' looks as much may change.
void keep_used_bytes(Expected &expected, const Observed &observed) {
    constexpr uint64_t changes = uint64_t{1} << 30;
    constexpr size_t place = offsetof(sts_lsu_info_v9_t, used_bytes);
    if (expected.sizes_of.empty() || expected.record.size() != observed.record.size() ||
        expected.record.size() < place + sizeof(uint64_t))
        return;
    expected.sizes_of.clear();
    uint64_t before = 0;
    uint64_t now = 0;
    std::memcpy(&before, &expected.record[place], sizeof before);
    std::memcpy(&now, &observed.record[place], sizeof now);
    if ((now > before ? now - before : before - now) < changes)
        std::memcpy(&expected.record[place], &now, sizeof now);
}

// Descriptors that a plug-in leaves open take the lowest numbers that are free.
int lowest_free_descriptor() {
    const int number = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (number >= 0)
        close(number);
    return number;
}

}  // namespace

Player::Player(PluginCaller &caller, Mirror &mirror, const ProcessState &before, SharedFinding &finding)
    : caller_(&caller), mirror_(mirror), files_(mirror.configuration_directory()), before_(before), finding_(finding) {}

bool Player::found(int index, const std::string &what, const std::string &expected, const std::string &got) {
    const Places &places = mirror_.places();
    put_finding(finding_,
                {HistoryFinding::differs, index, what, collapsed(expected, places), collapsed(got, places), {}});
    return false;
}

bool Player::compare(const Call &call, const Expected &by_model, const Observed &observed, int index) {
    if (judge_ == Judge::nobody) {
        deeds_.calls.push_back(as_expected(call, observed, by_model, tables_, other_tables_));
        return true;
    }
    Expected by_first;
    if (judge_ == Judge::first_plugin) {
        by_first = std::move(deeds_.calls.front());
        deeds_.calls.pop_front();
        keep_used_bytes(by_first, observed);
    }
    const auto differs = difference(call, judge_ == Judge::model ? by_model : by_first, observed);
    return !differs || found(index, fmt::format("{}: {}", model::entry_point_name(call), differs->aspect),
                             differs->expected, differs->got);
}

Observed Player::made(const Call &call, size_t thread, int index) {
    put_begin(finding_, static_cast<size_t>(index));
    Observed observed = caller_->make(call, thread);
    put_status(finding_, static_cast<size_t>(index), observed.status);
    ++finding_.calls;
    return observed;
}

bool Player::play_at_the_same_time(const std::vector<Call> &calls, size_t begin, size_t end, Model &model, int first) {
    struct Step {
        size_t index;
        Expected expected;
        Observed observed;
    };
    std::vector<Step> steps;
    std::string expected_output;
    for (size_t i = begin; i < end; ++i)
        if (model.allows(calls[i])) {
            steps.push_back({i, model.answer(calls[i]), {}});
            expected_output += steps.back().expected.output;
            // Whose output it is cannot be told.
            steps.back().expected.output.clear();
        }
    finding_.call = first + static_cast<int>(begin);
    std::vector<std::thread> threads;
    threads.reserve(PluginCaller::THREADS);
    for (size_t number = 1; number < PluginCaller::THREADS; ++number)
        if (std::any_of(steps.begin(), steps.end(),
                        [&](const Step &one) { return calls[one.index].thread == static_cast<int>(number); }))
            threads.emplace_back([&, number] {
                for (Step &one : steps)
                    if (calls[one.index].thread == static_cast<int>(number))
                        one.observed = made(calls[one.index], number, first + static_cast<int>(one.index));
            });
    for (std::thread &one : threads)
        one.join();
    for (const Step &one : steps)
        if (!compare(calls[one.index], one.expected, one.observed, first + static_cast<int>(one.index)))
            return false;
    std::string got = take_output();
    std::sort(got.begin(), got.end());
    if (judge_ == Judge::nobody) {
        deeds_.outputs.push_back(got);
        return true;
    }
    if (judge_ == Judge::first_plugin) {
        expected_output = deeds_.outputs.front();
        deeds_.outputs.pop_front();
    }
    std::sort(expected_output.begin(), expected_output.end());
    return got == expected_output ||
           found(first + static_cast<int>(begin), "threads: standard output", "what the calls print alone", "another");
}

bool Player::play_calls(const std::vector<Call> &calls, Model &model, int first) {
    for (size_t i = 0; i < calls.size(); ++i) {
        const Call &call = calls[i];
        const int index = first + static_cast<int>(i);
        if (call.thread != 0) {
            size_t end = i + 1;
            while (end < calls.size() && calls[end].thread != 0)
                ++end;
            if (!play_at_the_same_time(calls, i, end, model, first))
                return false;
            i = end - 1;
            continue;
        }
        if (!model.allows(call))
            continue;
        finding_.call = index;
        const Expected expected = model.answer(call);
        if (call.operation == Operation::set_config) {
            files_.write(*call.name, call.text);
            continue;
        }
        Observed observed = made(call, 0, index);
        observed.output = take_output();
        if (!compare(call, expected, observed, index))
            return false;
    }
    return true;
}

bool Player::play_once(const History &history) {
    images().calls.clear();
    files_.begin(history);
    for (int session = 0; session < model::SESSIONS; ++session) {
        Call mask;
        mask.operation = Operation::set_mask;
        mask.session = session;
        mask.numbers[0] = 0xff;
        caller_->make(mask, 0);
    }
    Model model(mirror_, configuration_of(history), simulators_);
    const int end = static_cast<int>(history.calls.size());
    if (!play_calls(history.calls, model, 0) || !play_calls(model.closing_calls(), model, end))
        return false;
    copan_lsus_made_ += model.copan_lsus_made();
    simulators_ = model.simulators();
    return true;
}

bool Player::nothing_is_left(int index) {
    finding_.call = index;
    if (!caller_->sessions_are_unwritten())
        return found(index, "session records", "as the framework left them", "written into");
    if (const std::string text = mirror_.difference(); !text.empty())
        return found(index, "what was made", "the same as the model", text);
    siginfo_t child;
    if (waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0)
        return found(index, "child processes", "none", "one is left");
    return true;
}

// The first times may take what is kept for good.
bool Player::memory_is_released(const History &history, int index) {
    const AllocationWatch watch;
    size_t kept[4];
    for (size_t &bytes : kept) {
        copan_lsus_made_ = 0;
        if (!play_once(history))
            return false;
        images().calls.clear();
        bytes = AllocationWatch::bytes_kept();
    }
    const size_t allowed = copan_lsus_made_ * most_bytes_of_an_lsu;
    if (kept[3] <= kept[2] + allowed || kept[2] <= kept[1] + allowed)
        return true;
    std::string text = fmt::format("{} bytes more each time", kept[3] - kept[2]);
    for (const KeptMemory &one : AllocationWatch::kept())
        text += fmt::format("\n    {} blocks, {} bytes: {}", one.blocks, one.bytes, one.call);
    return found(index, "memory", "released when all is closed", text);
}

void Player::play(const History &history, bool watch_memory) {
    const int index = static_cast<int>(history.calls.size());
    const int descriptor = lowest_free_descriptor();
    if (!play_once(history))
        return;
    if (const auto changes = before_.changes(); !changes.empty()) {
        found(index, changes[0].what, changes[0].before, changes[0].now);
        return;
    }
    if (lowest_free_descriptor() != descriptor) {
        found(index, "open descriptors", "as before", "one more");
        return;
    }
    if (!nothing_is_left(index))
        return;
    if (watch_memory) {
        if (!memory_is_released(history, index))
            return;
        if (leaks_memory()) {
            found(index, "memory", "released when all is closed", "the leak sanitizer tells what is lost");
            return;
        }
    }
    finding_.call = index;
    finding_.finished = 1;
}

void Player::play_against(const History &history, PluginCaller &other) {
    tables_ = {caller_->first_table(), caller_->second_table()};
    other_tables_ = {other.first_table(), other.second_table()};
    finding_.phase = first_plays;
    judge_ = Judge::nobody;
    play_once(history);
    deeds_.made = mirror_.made();

    mirror_.clear();
    simulators_ = {};
    finding_.phase = second_plays;
    judge_ = Judge::first_plugin;
    caller_ = &other;
    if (!play_once(history))
        return;
    const int index = static_cast<int>(history.calls.size());
    if (const std::string made = mirror_.made(); made != deeds_.made) {
        found(index, "what was made", deeds_.made, made);
        return;
    }
    finding_.call = index;
    finding_.finished = 1;
}

}  // namespace conformance
