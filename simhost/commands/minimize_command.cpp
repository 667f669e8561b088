// simhost minimize: the fewest calls of a journal that still crash, hang, differ or answer a status.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "base/private_directory.h"
#include "filter/rules/status.h"
#include "journal/calls/journal_diff.h"
#include "journal/events.h"
#include "journal/replay/minimizing.h"
#include "simhost/commands/replayed_journal.h"

namespace {

struct MinimizeRequest {
    ReplayOptions replay;
    std::string condition;
    std::string output;
};

constexpr char status_prefix[] = "status=";

// Whether a replay that left this journal behind did what is looked for.
using Condition = std::function<bool(const ReplayOutcome &outcome, const std::string &journal)>;

bool answers_status(const std::string &path, int32_t status) {
    journal::Reader reader(path);
    for (journal::RecordView record; reader.next(record);)
        if (record.head.kind == journal::RecordKind::leave && record.head.status == status)
            return true;
    return false;
}

// Calls that were left out are only in the recorded journal: they do not count.
bool does_otherwise(const std::string &recorded, const std::string &now) {
    std::vector<Mask> masks;
    const JournalDifference difference = compare_journals(recorded, now, masks);
    return std::any_of(difference.threads.begin(), difference.threads.end(), [](const ThreadDifference &thread) {
        return std::any_of(thread.differences.begin(), thread.differences.end(),
                           [](const CallDifference &call) { return call.kind == CallDifference::Kind::changed; });
    });
}

Condition condition_of(const MinimizeRequest &options) {
    const std::string &text = options.condition;
    if (text == "crash")
        return [](const ReplayOutcome &outcome, const std::string &) {
            return outcome.end == ReplayOutcome::End::crashed;
        };
    if (text == "hang")
        return
            [](const ReplayOutcome &outcome, const std::string &) { return outcome.end == ReplayOutcome::End::hung; };
    if (text == "differs")
        return [recorded = options.replay.journal](const ReplayOutcome &, const std::string &now) {
            return does_otherwise(recorded, now);
        };
    if (text.rfind(status_prefix, 0) == 0) {
        const auto status = filter::parse_status(text.substr(sizeof status_prefix - 1));
        if (!status)
            throw UsageError(fmt::format("--while {}: there is no such status", text));
        return
            [status = *status](const ReplayOutcome &, const std::string &now) { return answers_status(now, status); };
    }
    throw UsageError(fmt::format("--while {}: crash, hang, differs or status=STATUS is meant", text));
}

void minimize(const MinimizeRequest &options, Report &report) {
    demand_another_file(options.replay, "--output", options.output);
    const Condition does_it = condition_of(options);
    const RecordedSession session = recorded_session(options.replay, report);
    ReplayPlace place(options.replay);
    const PrivateDirectory directory("simhost-minimize", AtEnd::remove_all);
    const std::string now = directory / "now.stspi";
    uint64_t replays = 0;
    const auto still_does = [&](const std::vector<bool> &wanted) {
        ++replays;
        return does_it(place.replayed(session, wanted, now), now);
    };
    if (!still_does(std::vector<bool>(session.steps.size(), true)))
        throw BadAnswer(
            fmt::format("the calls of {} do not do it: --while {}", options.replay.journal, options.condition));
    const std::vector<bool> wanted = minimized(session, still_does);
    still_does(wanted);
    std::filesystem::copy_file(now, options.output, std::filesystem::copy_options::overwrite_existing);
    const auto count = static_cast<uint64_t>(std::count(wanted.begin(), wanted.end(), true));
    report.result() = {
        {"calls", session.steps.size()}, {"left", count}, {"replays", replays}, {"output", options.output}};
    report.line("{} of {} calls are left, after {} replays: {}", count, session.steps.size(), replays, options.output);
    place.tell(report);
}

}  // namespace

void add_minimize_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<MinimizeRequest>();
    CLI::App *command = add_command(app, "minimize", "Find the fewest calls of a journal that still go wrong");
    add_replay_options(*command, options->replay);
    command
        ->add_option("--while", options->condition,
                     "What the calls must still do: crash, hang, differs (from what is recorded) or status=STATUS")
        ->type_name("WHAT")
        ->required();
    command->add_option("-o,--output", options->output, "Journal to write of the calls that are left")
        ->type_name("FILE")
        ->required();
    add_json_option(*command, line.output);
    command->footer(
        "A call that opens a handle stays as long as a call that uses it.\n"
        "\n"
        "Exit status: 0 the calls are found, 1 all calls together do not do it, 2 they\n"
        "cannot be made.");
    command->callback([options, &line] {
        line.command = "minimize";
        line.action = [options](Workbench &bench) { minimize(*options, bench.report); };
    });
}
