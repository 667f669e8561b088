// simhost replay: the calls of a journal made again, and what they do otherwise.
#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "base/private_directory.h"
#include "journal/calls/journal_diff.h"
#include "simhost/commands/replayed_journal.h"
#include "simhost/journal/event_json.h"
#include "simhost/journal/mask_file.h"

namespace {

struct ReplayRequest {
    ReplayOptions replay;
    std::string masks;
    std::string output;
};

constexpr char masks_of_made_up_data[] =
    "drop on stspi_write_image arguments.buffer.xxh128 # the journal did not keep the data\n"
    "drop on stspi_read_image results.buffer.xxh128 # the journal did not keep the data\n";

std::string shown_value(const Json &value) { return value.is_null() ? "nothing" : printable(json_line(value)); }

const CallDifference *first_of(const JournalDifference &difference) {
    for (const ThreadDifference &thread : difference.threads)
        if (!thread.differences.empty())
            return &thread.differences.front();
    return nullptr;
}

void tell_first(const CallDifference &difference, Report &report) {
    if (difference.kind != CallDifference::Kind::changed) {
        report.line("first difference: {} {} only {}", difference.entry_point,
                    difference.call_a != 0 ? difference.call_a : difference.call_b,
                    difference.kind == CallDifference::Kind::only_a ? "as recorded" : "now");
        report.line("  {}", printable(json_line(difference.call)));
        return;
    }
    report.line("first difference: call {}, {}", difference.call_a, difference.entry_point);
    for (const ValueDifference &value : difference.values) {
        report.line("  {}", value.path);
        report.line("    recorded {}", shown_value(value.a));
        report.line("    now      {}", shown_value(value.b));
    }
}

std::string how_it_ended(const ReplayOutcome &outcome) {
    if (outcome.end == ReplayOutcome::End::hung)
        return "a call did not end in time";
    return outcome.signal != 0 ? fmt::format("the plug-in was ended by signal {}", outcome.signal)
                               : fmt::format("the plug-in ended the process: {}", outcome.reason);
}

void replay(const ReplayRequest &options, Report &report) {
    demand_another_file(options.replay, "--output", options.output);
    std::vector<Mask> masks;
    if (!options.masks.empty())
        masks = read_masks(options.masks);
    const RecordedSession session = recorded_session(options.replay, report);
    const size_t given_masks = masks.size();
    if (session.lacks_data())
        for (const Mask &mask : parse_masks(masks_of_made_up_data, "made-up data"))
            masks.push_back(mask);
    const PrivateDirectory directory("simhost-replay", AtEnd::remove_all);
    const std::string again = options.output.empty() ? directory / "again.stspi" : options.output;
    ReplayPlace place(options.replay);
    const ReplayOutcome outcome = place.replayed(session, std::vector<bool>(session.steps.size(), true), again);
    const JournalDifference difference = compare_journals(options.replay.journal, again, masks);
    for (size_t i = 0; i < given_masks; ++i)
        if (masks[i].matched == 0)
            report.warn(fmt::format("{}:{}: this mask met nothing", options.masks, masks[i].line));
    report.result() = {{"calls", session.steps.size()},
                       {"same", difference.same},
                       {"differing", difference.differing},
                       {"ended", outcome.end == ReplayOutcome::End::all_made}};
    if (const CallDifference *first = first_of(difference); first != nullptr) {
        report.result()["first"] = {{"entry_point", first->entry_point},
                                    {"call", std::max(first->call_a, first->call_b)}};
        tell_first(*first, report);
    }
    place.tell(report);
    if (outcome.end != ReplayOutcome::End::all_made)
        throw BadAnswer(fmt::format("{}; {} calls were the same before", how_it_ended(outcome), difference.same));
    if (difference.differing != 0)
        throw BadAnswer(fmt::format("{} {}, {} are the same", difference.differing,
                                    difference.differing == 1 ? "call differs" : "calls differ", difference.same));
    report.line("All {} calls are the same.", difference.same);
}

}  // namespace

void add_replay_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<ReplayRequest>();
    CLI::App *command = add_command(app, "replay", "Make the calls of a journal again and compare");
    add_replay_options(*command, options->replay);
    command->add_option("--pace", options->replay.pace, "As fast as possible (max), or at the recorded times (real)")
        ->type_name("PACE")
        ->check(CLI::IsMember({"max", "real"}));
    command->add_option("--masks", options->masks, "File that says what is not compared, with a reason each")
        ->type_name("FILE");
    command->add_option("--output", options->output, "Journal to write of the calls as they are now")
        ->type_name("FILE");
    add_json_option(*command, line.output);
    command->footer(
        "Each call is made on a thread of its own as it was recorded, and begins when\n"
        "those have ended that had ended before it. Handles are those of now. Data that\n"
        "the journal did not keep is made up, of the same size.\n"
        "\n"
        "Exit status: 0 all calls did the same, 1 some did not, 2 the calls cannot be\n"
        "made.");
    command->callback([options, &line] {
        line.command = "replay";
        line.action = [options](Workbench &bench) { replay(*options, bench.report); };
    });
}
