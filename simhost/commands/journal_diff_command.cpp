// simhost journal diff: what differs between two journals.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "journal/about.h"
#include "journal/calls/journal_diff.h"
#include "simhost/commands/journal_file.h"
#include "simhost/journal/event_json.h"
#include "simhost/journal/mask_file.h"

namespace {

struct DiffOptions {
    std::string a;
    std::string b;
    std::string masks;
    size_t most = 100;
};

const char *kind_word(CallDifference::Kind kind) {
    switch (kind) {
        case CallDifference::Kind::changed:
            return "changed";
        case CallDifference::Kind::only_a:
            return "only_a";
        case CallDifference::Kind::only_b:
            break;
    }
    return "only_b";
}

Json number_json(uint64_t number) { return number != 0 ? Json(number) : Json(); }

Json thread_json(const ThreadNumber &number) {
    return number.process != 0 ? Json{{"process", number.process}, {"thread", number.thread}} : Json();
}

Json difference_json(const ThreadDifference &thread, const CallDifference &difference) {
    Json json = {{"kind", kind_word(difference.kind)},       {"entry_point", difference.entry_point},
                 {"thread_a", thread_json(thread.a)},        {"thread_b", thread_json(thread.b)},
                 {"call_a", number_json(difference.call_a)}, {"call_b", number_json(difference.call_b)}};
    if (difference.kind == CallDifference::Kind::changed) {
        Json values = Json::array();
        for (const ValueDifference &value : difference.values)
            values.push_back({{"path", value.path}, {"a", value.a}, {"b", value.b}});
        json["values"] = values;
    } else {
        json["call"] = difference.call;
    }
    return json;
}

Json diff_json(const JournalDifference &difference) {
    Json list = Json::array();
    for (const ThreadDifference &thread : difference.threads)
        for (const CallDifference &call : thread.differences)
            list.push_back(difference_json(thread, call));
    return {{"same", difference.same}, {"differing", difference.differing}, {"differences", list}};
}

std::string value_text(const Json &value) { return value.is_null() ? "nothing" : printable(json_line(value)); }

std::vector<std::string> difference_lines(const CallDifference &difference) {
    if (difference.kind != CallDifference::Kind::changed)
        return {fmt::format("  {} only: call {}, {}", difference.kind == CallDifference::Kind::only_a ? "A" : "B",
                            difference.call_a + difference.call_b, printable(json_line(difference.call)))};
    std::vector<std::string> lines = {
        fmt::format("  call {}{}: {}", difference.call_a,
                    difference.call_a == difference.call_b ? "" : fmt::format(" (B: {})", difference.call_b),
                    difference.entry_point)};
    for (const ValueDifference &value : difference.values) {
        lines.push_back(fmt::format("    {}", value.path));
        lines.push_back(fmt::format("      A {}", value_text(value.a)));
        lines.push_back(fmt::format("      B {}", value_text(value.b)));
    }
    return lines;
}

std::string thread_name(const ThreadNumber &number) {
    return number.process == 0 ? "nothing" : fmt::format("process {}, thread {}", number.process, number.thread);
}

void tell_threads(const JournalDifference &difference, size_t most, Report &report) {
    size_t told = 0;
    for (const ThreadDifference &thread : difference.threads) {
        if (thread.differences.empty() || told == most)
            continue;
        report.line("A: {}; B: {}; {} calls are the same", thread_name(thread.a), thread_name(thread.b), thread.same);
        for (const CallDifference &call : thread.differences) {
            if (told == most)
                break;
            ++told;
            report.lines(difference_lines(call));
        }
    }
    if (told < difference.differing)
        report.line("... and {} more", difference.differing - told);
}

void tell_other_writers(const std::string &a, const std::string &b, Report &report) {
    const journal::AboutFacts in_a = journal::read_about(open_journal(a).facts().about);
    const journal::AboutFacts in_b = journal::read_about(open_journal(b).facts().about);
    if (in_a.plugin_hash != in_b.plugin_hash)
        report.line("The plug-in is another one: A {} ({}), B {} ({})", printable(in_a.plugin),
                    printable(in_a.plugin_hash), printable(in_b.plugin), printable(in_b.plugin_hash));
    if (in_a.rules != in_b.rules)
        report.line("The rules are others.");
    if (in_a.seed != in_b.seed)
        report.line("The seed is another one: A {}, B {}", in_a.seed, in_b.seed);
}

void compare(const DiffOptions &options, Report &report) {
    std::vector<Mask> masks;
    if (!options.masks.empty())
        masks = read_masks(options.masks);
    tell_other_writers(options.a, options.b, report);
    const JournalDifference difference = compare_journals(options.a, options.b, masks);
    report.result() = diff_json(difference);
    tell_threads(difference, options.most, report);
    for (const Mask &mask : masks)
        if (mask.matched == 0)
            report.warn(fmt::format("{}:{}: this mask met nothing", options.masks, mask.line));
    if (difference.differing != 0)
        throw BadAnswer(fmt::format("{} {}, {} are the same", difference.differing,
                                    difference.differing == 1 ? "call differs" : "calls differ", difference.same));
    report.line("All {} calls are the same.", difference.same);
}

}  // namespace

void add_journal_diff_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<DiffOptions>();
    CLI::App *command = add_command(app, "diff", "Tell what differs between two journals");
    command->add_option("A", options->a, "Journal to compare")->required();
    command->add_option("B", options->b, "Journal to compare it with")->required();
    command->add_option("--masks", options->masks, "File that says what is not compared, with a reason each")
        ->type_name("FILE");
    command->add_option("--most", options->most, "Differing calls that are told at most (100)")->type_name("N");
    add_json_option(*command, line.output);
    command->footer(
        "Threads that made the same calls belong together, the others in their order;\n"
        "calls are aligned within their thread. Times, ids and addresses are not\n"
        "compared, handles by the order in which their thread meets them.\n"
        "\n"
        "Exit status: 0 all calls are the same, 1 some differ, 2 a file is no journal,\n"
        "holds no masks or cannot be read.");
    command->callback([options, &line] {
        line.command = "journal diff";
        line.action = [options](Workbench &bench) { compare(*options, bench.report); };
    });
}
