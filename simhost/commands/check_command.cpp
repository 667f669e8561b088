#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "base/escaped_text.h"
#include "simhost/check/check_scope.h"
#include "simhost/check/checked_file.h"
#include "simhost/check/configuration_source.h"
#include "simhost/check/findings.h"
#include "simhost/check/json_report.h"
#include "simhost/check/mend.h"
#include "simhost/check/rule_pages.h"
#include "simhost/check/text_report.h"
#include "simhost/commands/command_line.h"
#include "simhost/commands/mending.h"
#include "simhost/host/server_name.h"
#include "simhost/simhost_version.h"

namespace {

struct CheckOptions {
    std::vector<std::string> files;
    std::string config_dir = "/etc/quillmere";
    std::string grammar;
    std::vector<std::string> servers;
    std::vector<std::string> expectations;
    std::vector<std::string> selected;
    std::vector<std::string> ignored;
    std::string explained;
    bool here = false;
    bool fix = false;
    bool sarif = false;
};

// What becomes of all files together.
struct Outcome {
    std::vector<CheckedFile> files;
    std::vector<UncheckedFile> unchecked;
    size_t errors = 0;
    size_t warnings = 0;
};

Expectation expectation_of(const std::string &text) {
    const size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos)
        throw UsageError(fmt::format("{} is no expectation: write HOST=POOL,POOL", in_quotes(text)));
    Expectation expectation{text.substr(0, equals), {}};
    for (size_t begin = equals + 1; begin < text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        if (end > begin)
            expectation.pools.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return expectation;
}

Demands demands_of(const CheckOptions &options) {
    Demands demands;
    for (const std::string &server : options.servers)
        demand_server_name(server);
    demands.servers = options.servers;
    for (const std::string &expectation : options.expectations)
        demands.expectations.push_back(expectation_of(expectation));
    demands.on_this_machine = options.here;
    return demands;
}

bool is_directory(const std::string &path) {
    struct stat state {};
    return stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

// Directories stand for the files in them.
std::vector<std::string> files_to_check(const CheckOptions &options, Outcome &outcome) {
    const std::vector<std::string> named =
        options.files.empty() ? std::vector<std::string>{options.config_dir} : options.files;
    std::vector<std::string> files;
    for (const std::string &path : named) {
        if (!is_directory(path)) {
            files.push_back(path);
            continue;
        }
        try {
            const std::vector<std::string> inside = configuration_files(path);
            files.insert(files.end(), inside.begin(), inside.end());
        } catch (const UsageError &failure) {
            outcome.unchecked.push_back({path, failure.what()});
        }
    }
    return files;
}

// Mends a file and tells what was changed.
std::string fixed(const std::string &path, const std::string &bytes, Grammar grammar, Report &report) {
    if (path == "-")
        throw UsageError("standard input cannot be mended: name a file");
    const Mend mend = mended(path, bytes, grammar);
    if (mend.bytes == bytes)
        return bytes;
    const std::string kept = write_mended(path, mend);
    report.line("{}: mended; the file as it was is {}", printable(path), printable(kept));
    if (mend.is_other_form)
        report.line("(now UTF-8 with line feeds)");
    if (!mend.diff.empty())
        report.line("{}", mend.diff.substr(0, mend.diff.size() - 1));
    report.result()["mended"].push_back({{"file", path}, {"kept", kept}, {"diff", mend.diff}});
    return mend.bytes;
}

Outcome check_files(const CheckOptions &options, Report &report) {
    const Demands demands = demands_of(options);
    const CheckScope scope{rules_of(options.selected), rules_of(options.ignored)};
    Outcome outcome;
    bool has_array = false;
    for (const std::string &path : files_to_check(options, outcome)) {
        try {
            const Grammar grammar = choose_grammar(path, options.grammar);
            std::string bytes = read_configuration_source(path);
            if (options.fix)
                bytes = fixed(path, bytes, grammar, report);
            CheckedFile file = check_file(path == "-" ? "<stdin>" : path, std::move(bytes), grammar, demands);
            narrow(file, scope);
            has_array = has_array || grammar == Grammar::array;
            outcome.errors += count(file.findings, Severity::error);
            outcome.warnings += count(file.findings, Severity::warning);
            outcome.files.push_back(std::move(file));
        } catch (const UsageError &failure) {
            outcome.unchecked.push_back({path, failure.what()});
        }
    }
    if (!demands.expectations.empty() && !has_array && outcome.unchecked.empty())
        throw UsageError("--expect is about the pools of a disk array, and none was checked");
    return outcome;
}

ExitStatus status_of(const Outcome &outcome, bool strict) {
    if (!outcome.unchecked.empty())
        return ExitStatus::usage;
    if (outcome.errors > 0)
        return ExitStatus::bad;
    return strict && outcome.warnings > 0 ? ExitStatus::warnings : ExitStatus::good;
}

void tell(const Outcome &outcome, const CheckOptions &options, Report &report) {
    for (const UncheckedFile &file : outcome.unchecked)
        report.error(file.reason);
    if (options.sarif) {
        const SarifRun run{SIMHOST_VERSION, static_cast<int>(status_of(outcome, report.options().strict))};
        report.raw(
            sarif_log(outcome.files, outcome.unchecked, run).dump(2, ' ', false, Json::error_handler_t::replace) +
            "\n");
        return;
    }
    report.result()["files"] = Json::array();
    for (const CheckedFile &file : outcome.files) {
        report.result()["files"].push_back(file_json(file));
        const std::string findings = findings_text(file, report.colours());
        if (!findings.empty())
            report.line("{}", findings.substr(0, findings.size() - 1));
        report.line("{}", summary_text(file));
    }
    for (const UncheckedFile &file : outcome.unchecked)
        report.result()["files"].push_back(unchecked_json(file));
}

void check(const CheckOptions &options, Report &report) {
    const Outcome outcome = check_files(options, report);
    tell(outcome, options, report);
    if (outcome.warnings > 0)
        report.warnings_told();
    if (!outcome.unchecked.empty())
        throw UsageError(fmt::format("not checked: {}", counted(outcome.unchecked.size(), "file")));
    if (outcome.errors > 0)
        throw BadAnswer(
            fmt::format("{} in {}", counted(outcome.errors, "error"), counted(outcome.files.size(), "file")));
}

void explain(const CheckOptions &options, Report &report) {
    const std::string page = rule_page(demand_rule(options.explained));
    report.result()["explanation"] = page;
    report.line("{}", page.substr(0, page.size() - 1));
}

void add_ids_option(CLI::App &command, const char *name, std::vector<std::string> &ids, const char *description) {
    command.add_option(name, ids, description)->type_name("ID,...")->delimiter(',')->allow_extra_args(false);
}

}  // namespace

void add_check_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App *command = add_command(app, "check", "Find what is wrong with .sim files");
    CLI::Option *files = command->add_option("FILE", options->files,
                                             "Files to check, or directories, which stand for the files in them that "
                                             "the plug-in would read; - is standard input (default: the configuration "
                                             "directory)");
    command->add_option("-c,--config-dir", options->config_dir, "The configuration directory (default: /etc/quillmere)")
        ->type_name("DIR")
        ->envname("SIMHOST_CONFIG_DIR");
    add_grammar_option(*command, options->grammar);
    command
        ->add_option(
            "--server", options->servers,
            "Also require that every file serves these servers, PREFIX:HOST, separated by commas: a Copan array "
            "of that name, or a disk array with a pool that HOST sees (repeatable)")
        ->type_name("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    command
        ->add_option("--expect", options->expectations,
                     "Also require of every disk array that this host sees just these pools (repeatable)")
        ->type_name("HOST=POOL,...")
        ->allow_extra_args(false);
    command->add_flag("--here", options->here,
                      "Also look whether this machine and user can make the directories that the files ask for");
    add_ids_option(*command, "--select", options->selected, "Tell these findings only (repeatable)");
    add_ids_option(*command, "--ignore", options->ignored, "Do not tell these findings (repeatable)");
    CLI::Option *fix = command->add_flag("--fix", options->fix,
                                         "First mend what has one safe mend; the file as it was is kept beside it, and "
                                         "the lines changed are shown");
    CLI::Option *explained =
        command->add_option("--explain", options->explained, "Explain a finding instead")->type_name("ID");
    explained->excludes(files);
    CLI::Option *json = add_json_option(*command, line.output);
    command->add_flag("--sarif", options->sarif, "Answer with a SARIF 2.1.0 log on standard output")
        ->excludes(json)
        ->excludes(fix)
        ->excludes(explained);
    command->add_flag("--strict", line.output.strict, "End with status 3 when all is well but for warnings");
    command->footer(
        "The file name decides how a file is read, as it does for the plug-in:\n"
        "Kelvarpool.sim serves disk arrays, any other NAME.sim Copan arrays. A file\n"
        "checked with --as array is taken for the coming Kelvarpool.sim.\n"
        "\n"
        "An error: the file does not mean what it says, or something in it is lost.\n"
        "A warning: allowed, but likely not what was meant. The name that stands in\n"
        "brackets behind a finding is the ID for --explain, --select and --ignore.\n"
        "\n"
        "Exit status: 0 no errors, 1 errors, 2 a file cannot be read, 3 warnings (with\n"
        "--strict).");
    command->callback([options, &line] {
        line.command = "check";
        line.action = [options](Workbench &bench) {
            options->explained.empty() ? check(*options, bench.report) : explain(*options, bench.report);
        };
    });
}
