// simhost sweep: one call of a command fails, each in its turn.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

#include "base/escaped_text.h"
#include "base/private_directory.h"
#include "filter/rules/status.h"
#include "redirect/config_redirect.h"
#include "simhost/check/checked_file.h"
#include "simhost/check/configuration_source.h"
#include "simhost/commands/command_line.h"
#include "simhost/commands/image_copies.h"
#include "simhost/host/image_root.h"
#include "simhost/host/interrupt.h"
#include "simhost/report/text_table.h"

namespace fs = std::filesystem;

namespace {

struct SweepOptions {
    std::vector<std::string> statuses = {"STS_E_SYSTEM"};
    std::vector<std::string> command;
    unsigned timeout_seconds = 30;
};

// What one run of the command came to.
struct Run {  // NOLINT(bugprone-exception-escape): moving JSON throws nothing
    bool hung = false;
    int wait_status = 0;
    Json document = Json(Json::value_t::discarded);  // when it left none
    std::string told;
    std::set<std::string> left;  // entries that were not there before

    bool crashed() const { return !hung && WIFSIGNALED(wait_status); }
    int exit_status() const { return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1; }
};

std::string contents(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

// The value of an option in the command.
std::string option_value(const std::vector<std::string> &command, const std::string &name) {
    for (size_t i = 0; i < command.size(); ++i) {
        if (command[i] == name && i + 1 < command.size())
            return command[i + 1];
        if (command[i].compare(0, name.size() + 1, name + "=") == 0)
            return command[i].substr(name.size() + 1);
    }
    return "";
}

// The same, or else what the environment says in its place.
std::string option_or_environment(const std::vector<std::string> &command, const std::string &name,
                                  const char *variable) {
    const std::string given = option_value(command, name);
    const char *chosen = std::getenv(variable);
    return given.empty() && chosen != nullptr ? chosen : given;
}

std::string image_root_of(const std::vector<std::string> &command) {
    return option_or_environment(command, "--image-root", "STSIMAGE_ROOT");
}

void replace_option_value(std::vector<std::string> &command, const std::string &name, const std::string &value) {
    for (size_t i = 0; i < command.size(); ++i) {
        if (command[i] == name && i + 1 < command.size())
            command[i + 1] = value;
        else if (command[i].compare(0, name.size() + 1, name + "=") == 0)
            command[i] = fmt::format("{}={}", name, value);
    }
}

// Where the servers of a directory's files keep their data. None when the files cannot be read: the command will tell.
std::vector<std::string> storage_directories(const std::string &config_directory) {
    std::vector<std::string> found;
    try {
        for (const std::string &file : configuration_files(config_directory)) {
            Grammar grammar = Grammar::array;
            if (!grammar_of_file(file, grammar))
                continue;
            const Outline outline = check_file(file, read_configuration_source(file), grammar).outline;
            for (const PoolOutline &pool : outline.pools)
                found.push_back(pool.storage_dir);
            for (const ServerOutline &server : outline.servers)
                found.push_back(server.storage_dir.value_or(""));
        }
    } catch (const UsageError &) {
        return {};
    }
    return found;
}

std::vector<std::string> storage_directories_of(const std::vector<std::string> &command) {
    std::string config = option_value(command, "-c");
    if (config.empty())
        config = option_or_environment(command, "--config-dir", "SIMHOST_CONFIG_DIR");
    return storage_directories(config.empty() ? config_directory() : config);
}

// Adds what stands in a directory.
void add_entries(const std::string &root, bool with_directories, std::set<std::string> &found) {
    std::error_code failure;
    for (auto it = fs::recursive_directory_iterator(root, failure); it != fs::recursive_directory_iterator();
         it.increment(failure))
        if (with_directories || !it->is_directory(failure))
            found.insert(it->path().string());
}

class Sweep {
public:
    Sweep(const SweepOptions &options, Report &report)
        : m_options(options),
          m_report(report),
          m_directory("simhost-sweep", AtEnd::remove_all),
          m_images(image_root_of(options.command), m_directory.path()),
          m_storage(storage_directories_of(options.command)) {}

    void run();

private:
    Run one(const std::string &rules);
    void start(const std::string &rules_path) const;
    std::set<std::string> entries() const;
    std::string verdict(const Run &run, const std::string &entry_point, const std::string &place);

    const SweepOptions &m_options;
    Report &m_report;
    PrivateDirectory m_directory;
    ImageCopies m_images;
    std::vector<std::string> m_storage;  // of the servers
    Run m_clean;
    uint64_t m_bad = 0;
};

// What stands in the places that are for the command alone, its temporary directory and its copy of the images, and in
// the servers' storage, where a Copan array has its images.
std::set<std::string> Sweep::entries() const {
    std::set<std::string> found;
    add_entries(m_directory / "tmp", true, found);
    add_entries(m_images.root(), false, found);
    for (const std::string &directory : m_storage)
        add_entries(directory, false, found);
    return found;
}

[[noreturn]] void become(const std::vector<std::string> &words) {
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));  // exec takes them so, and leaves them alone
    arguments.push_back(nullptr);
    execv("/proc/self/exe", arguments.data());
    _exit(127);
}

void Sweep::start(const std::string &rules_path) const {
    const int out = open((m_directory / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int error = open((m_directory / "error").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int none = open("/dev/null", O_RDONLY);
    dup2(none, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    setenv("TMPDIR", (m_directory / "tmp").c_str(), 1);
    std::vector<std::string> words = {"simhost"};
    words.insert(words.end(), m_options.command.begin(), m_options.command.end());
    if (!m_images.root().empty()) {
        replace_option_value(words, "--image-root", m_images.root());
        setenv("STSIMAGE_ROOT", m_images.root().c_str(), 1);
    }
    words.insert(words.end(), {"--json", "--faults", rules_path});
    become(words);
}

Run Sweep::one(const std::string &rules) {
    stop_if_interrupted();
    const std::string rules_path = m_directory / "rules";
    fs::remove_all(m_directory / "tmp");
    fs::create_directory(m_directory / "tmp");
    m_images.renew();
    std::ofstream(rules_path) << rules << '\n';
    const std::set<std::string> before = entries();
    const pid_t child = fork();
    if (child == 0)
        start(rules_path);
    if (child < 0)
        throw std::runtime_error("cannot make a process");
    Run run;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(m_options.timeout_seconds);
    while (waitpid(child, &run.wait_status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            run.hung = true;
            kill(child, SIGKILL);
            waitpid(child, &run.wait_status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    run.document = Json::parse(contents(m_directory / "out"), nullptr, false);
    run.told = contents(m_directory / "error");
    if (run.document.is_object()) {
        for (const char *key : {"errors", "warnings"})
            for (const Json &text : run.document[key])
                run.told += text.get<std::string>() + "\n";
    }
    for (const std::string &entry : entries())
        if (before.count(entry) == 0)
            run.left.insert(m_images.original_path(entry));
    return run;
}

// The answer without what differs from run to run.
Json lasting(Json value) {
    if (value.is_object()) {
        for (const char *volatile_key :
             {"seconds", "faults", "image", "mount_point", "mounted", "name", "creation_time"})
            value.erase(volatile_key);
        for (auto &member : value.items())
            member.value() = lasting(member.value());
    } else if (value.is_array()) {
        for (Json &element : value)
            element = lasting(element);
    }
    return value;
}

std::string Sweep::verdict(const Run &run, const std::string &entry_point, const std::string &place) {
    if (run.hung || run.crashed() || !run.document.is_object()) {
        ++m_bad;
        return run.hung        ? "HANG"
               : run.crashed() ? fmt::format("CRASH: {}", strsignal(WTERMSIG(run.wait_status)))
                               : "NO ANSWER";
    }
    const bool is_told = run.told.find(entry_point) != std::string::npos;
    if (run.exit_status() == 0 && lasting(run.document["result"]) != lasting(m_clean.document["result"])) {
        ++m_bad;
        return "WRONG DATA";
    }
    if (!is_told) {
        ++m_bad;
        return run.exit_status() == 0 ? "NOT TOLD" : "TOLD BADLY: the call is not named";
    }
    // What was to be released or deleted and was not, because the plug-in refused, is still there.
    const bool was_refused = place == "before" && (entry_point.find("close") != std::string::npos ||
                                                   entry_point.find("delete") != std::string::npos);
    if (!run.left.empty() && !was_refused) {
        ++m_bad;
        return fmt::format("LEFT BEHIND: {}", printable(*run.left.begin()));
    }
    return run.exit_status() == 0 ? "told well, as a warning" : "told well";
}

// The entry point of each call of a run, in order.
std::vector<std::string> calls_of(const Json &document) {
    std::vector<std::string> names;
    if (!document.is_object())
        return names;
    for (const Json &call : document.value("calls", Json::array()))
        for (uint64_t i = 0; i < call.value("times", uint64_t{1}); ++i)
            names.push_back(call["entry_point"]);
    return names;
}

// The entry point of a call that failed: the clean run's, unless this run tells of another in its place, because what an
// earlier run left behind has moved its calls. A crashed run tells of none, and where simhost itself gives up a call, the
// next one stands in its place.
std::string name_of(uint64_t call, const Run &run, const std::vector<std::string> &clean_names) {
    const std::vector<std::string> own_names = calls_of(run.document);
    if (call <= own_names.size() && run.told.find(own_names[call - 1]) != std::string::npos)
        return own_names[call - 1];
    return call <= clean_names.size() ? clean_names[call - 1] : "?";
}

void Sweep::run() {
    // A rule that never fires counts the calls.
    m_clean = one("on * 0% answer 0");
    if (m_clean.exit_status() != 0 || !m_clean.document.is_object())
        throw UsageError(fmt::format("the command fails without faults: {}", printable(m_clean.told)));
    const std::vector<std::string> names = calls_of(m_clean.document);
    const uint64_t calls = m_clean.document["result"]["faults"]["rules"][0]["matched"];
    TextTable table({">call", "entry point", "place", "answer", "what came of it"});
    Json rows = Json::array();
    for (uint64_t call = 1; call <= calls; ++call)
        for (const char *place : {"before", "after"})
            for (const std::string &status : m_options.statuses) {
                const Run run = one(fmt::format("on * call {} {} answer {}", call, place, status));
                const std::string name = name_of(call, run, names);
                const std::string outcome = verdict(run, name, place);
                table.add({std::to_string(call), name, place, status, outcome});
                rows.push_back({{"call", call},
                                {"entry_point", name},
                                {"place", place},
                                {"answer", status},
                                {"outcome", outcome},
                                {"exit_status", run.exit_status()},
                                {"told", run.told}});
            }
    m_report.lines(table.lines());
    m_report.line("");
    m_report.line("verdict        {} runs, {} of them bad", rows.size(), m_bad);
    m_report.result() = {{"calls", calls}, {"bad", m_bad}, {"runs", std::move(rows)}};
    if (m_bad > 0)
        throw BadAnswer(fmt::format("{} of {} runs came to a bad end", m_bad, m_report.result()["runs"].size()));
}

void demand_sensible(const SweepOptions &options) {
    for (const std::string &status : options.statuses)
        if (!filter::parse_status(status))
            throw UsageError(fmt::format("{} is no status", in_quotes(status)));
    for (const char *own : {"--faults", "--json", "--record"})
        if (std::find(options.command.begin(), options.command.end(), own) != options.command.end())
            throw UsageError(fmt::format("{} is the sweep's own", own));
    const std::string images = image_root_of(options.command);
    if (is_shared_store(images))
        throw UsageError(
            fmt::format("each run needs a copy of the images, and those in {} are not copied: name a "
                        "directory with --image-root",
                        in_quotes(images)));
}

}  // namespace

void add_sweep_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<SweepOptions>();
    CLI::App *command = add_command(app, "sweep", "Let each call of a command fail in its turn");
    command->add_option("COMMAND", options->command, "Behind \"--\": a command of simhost with its options")
        ->required();
    command
        ->add_option("--faults-only", options->statuses,
                     "Statuses to answer with, separated by commas (default: STS_E_SYSTEM)")
        ->type_name("STATUS,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    command->add_option("--timeout", options->timeout_seconds, "Seconds after which a run hangs (default: 30)")
        ->type_name("SECONDS");
    add_json_option(*command, line.output);
    command->footer(
        "For each call of the command, the first to the last, the command is run again,\n"
        "and that call fails: once instead of its effect, once after it. The table tells\n"
        "what the command made of it.\n"
        "\n"
        "Exit status: 0 everything was told well, 1 wrong data, a crash, a hang, a\n"
        "failure that was not told, or something left behind; 2 the command fails alone.");
    command->callback([options, &line] {
        line.command = "sweep";
        line.action = [options](Workbench &bench) {
            demand_sensible(*options);
            Sweep(*options, bench.report).run();
        };
    });
}
