// Random calls under random rules, twice: the journal and what the caller sees are the same but for times. And random
// calls through a filter without rules and without one: the caller sees the same.
//
// usage: random_runs rules|threads|bare|fork COUNT [SEED]
//
// Each run has a seed of its own: SEED, SEED + 1 and so on. Without SEED they begin at each seed that tests/seeds.txt has for
// random_runs, then at 1, or at what STSPI_SEED says.
//
//     rules     one thread; rules may kill the process
//     threads   eight threads, each rule for one of them
//     bare      without rules, beside the plug-in itself
//     fork      the same for a process that forks with the library loaded: both sides go on, in one journal
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/private_directory.h"
#include "journal/calls/journal_diff.h"
#include "redirect/config_redirect.h"
#include "simhost/journal/mask_file.h"
#include "tests/filter/random_history.h"
#include "tests/filter/random_rules.h"
#include "tests/support/seeds.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned most_threads = 8;
constexpr unsigned calls_of_a_thread = 60;

// Two runs of the same calls differ in these alone.
constexpr char masks[] =
    "drop on stspi_get_lsu_prop_byname results.info.used_bytes      # the file system's\n"
    "drop on stspi_get_lsu_prop_byname results.info.capacity_bytes  # the file system's, for a directory\n"
    "drop on stspi_get_image_prop*     results.*.creation_time      # the time of day\n";

// Another build where one is named, to see whether a test fails there.
const char *plugin_under_test() {
    const char *chosen = std::getenv("STSPI_UNDER_TEST");
    return chosen != nullptr ? chosen : PLUGIN;
}

std::string contents(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write_servers(const std::string &directory) {
    std::ofstream array(directory + "/Kelvarpool.sim");
    std::ofstream copan(directory + "/copan.sim");
    for (unsigned thread = 0; thread < most_threads; ++thread) {
        const std::string n = std::to_string(thread);
        for (const char *pool : {"pool", "other"})
            array << "ENCLOSURE = " << pool << n << ";\n DISKS = g1,g2;\n HOSTS = host" << n
                  << ";\n DISK_SIZE = 1G;\n STORAGE_DIR = " << directory << "/storage/" << pool << n << ";\n\n";
        copan << "STORAGE_SERVER = arr" << n << ";\n VOLUMES = vol" << n << "a,vol" << n
              << "b;\n STORAGE_DIR = " << directory << "/storage/arr" << n << ";\n\n";
    }
}

enum class Kind { rules, threads, bare, fork };

// The first line in which two texts differ, cut to what a terminal shows.
std::string first_difference(const std::string &one, const std::string &other) {
    std::istringstream of_one(one);
    std::istringstream of_other(other);
    std::string left;
    std::string right;
    do {
        left = right = "nothing";
        std::getline(of_one, left);
        std::getline(of_other, right);
    } while (left == right && of_one && of_other);
    constexpr size_t shown = 300;
    return left.substr(0, shown) + "\nand\n" + right.substr(0, shown) + "\n";
}

class Runs {
public:
    Runs(Kind kind, uint64_t seed) : m_kind(kind), m_threads(kind == Kind::threads ? most_threads : 1), m_seed(seed) {
        write_servers(m_directory.path());
    }

    // False, with what was found on standard error, when the two runs differ.
    bool same_under_rules(uint64_t number);
    bool same_without_rules(uint64_t number);

    uint64_t calls() const { return m_calls; }
    uint64_t faults() const { return m_faults; }

private:
    std::string one(const char *library, uint64_t number, const std::string &name);
    void call_as_child(const char *library, uint64_t number, const std::string &name) const;
    void call_and_fork(void *plugin, uint64_t number, const std::string &name) const;
    bool journal_tells_both_sides(uint64_t number) const;
    std::string path(const std::string &name) const { return m_directory.path() + "/" + name; }
    bool tell(uint64_t number, const std::string &what) const;

    PrivateDirectory m_directory{"stspi-random-runs", AtEnd::remove_all};
    Kind m_kind;
    unsigned m_threads;
    uint64_t m_seed;
    uint64_t m_calls = 0;
    uint64_t m_faults = 0;
};

// In a process that a rule may kill.
void Runs::call_as_child(const char *library, uint64_t number, const std::string &name) const {
    set_config_directory(m_directory.path());
    setenv("STSIMAGE_ROOT", path("images").c_str(), 1);
    setenv("STSPI_FILTER", path("filter.conf").c_str(), 1);
    std::FILE *out = std::freopen(path("printed").c_str(), "w", stdout);
    void *plugin = out == nullptr ? nullptr : dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        _exit(3);
    }
    if (m_kind == Kind::fork)
        call_and_fork(plugin, number, name);
    std::vector<std::unique_ptr<RandomHistory>> histories;
    histories.reserve(m_threads);
    for (unsigned thread = 0; thread < m_threads; ++thread) {
        histories.push_back(std::make_unique<RandomHistory>(plugin, m_seed + number, thread));
        if (m_threads > 1)
            histories.back()->ignore_messages();
    }
    std::vector<std::thread> threads;
    threads.reserve(m_threads);
    for (const auto &history : histories)
        threads.emplace_back([&history] { history->run(calls_of_a_thread); });
    for (std::thread &thread : threads)
        thread.join();
    std::ofstream stream(path(name));
    for (const auto &history : histories)
        stream << history->seen() << "---\n";
    stream.close();
    _exit(0);
}

// Some calls, then others on either side of a fork, with names of their own.
void Runs::call_and_fork(void *plugin, uint64_t number, const std::string &name) const {
    RandomHistory before(plugin, m_seed + number, 0);
    before.run(calls_of_a_thread);
    const pid_t child = fork();
    RandomHistory after(plugin, m_seed + number + 1, child == 0 ? 1 : 0);
    after.run(calls_of_a_thread);
    int status = 0;
    if (child > 0)
        waitpid(child, &status, 0);
    std::ofstream stream(path(name), child == 0 ? std::ios::trunc : std::ios::app);
    stream << "---\n" << (child == 0 ? "" : before.seen() + "---\n") << after.seen();
    stream.close();
    _exit(status == 0 && stream ? 0 : 4);
}

// What the caller saw, and how the process ended.
std::string Runs::one(const char *library, uint64_t number, const std::string &name) {
    for (const char *left : {"storage", "images", "filter.conf.ledger", "journal"})
        fs::remove_all(path(left));
    fs::create_directories(path("storage"));
    fs::remove(path(name));
    const pid_t child = fork();
    if (child == 0)
        call_as_child(library, number, name);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        std::perror("fork");
        std::exit(2);
    }
    if (fs::exists(path("journal")))
        fs::rename(path("journal"), path("journal-" + name));
    // A sanitizer's finding, or a library that could not be loaded.
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
        throw std::runtime_error("run " + std::to_string(m_seed + number) + " ends with status " +
                                 std::to_string(WEXITSTATUS(status)));
    if (WIFSIGNALED(status))
        return "killed by signal " + std::to_string(WTERMSIG(status));
    return contents(path(name));
}

bool Runs::tell(uint64_t number, const std::string &what) const {
    std::fprintf(stderr, "run %llu differs: %s\n%s", static_cast<unsigned long long>(m_seed) + number, what.c_str(),
                 contents(path("filter.conf")).c_str());
    return false;
}

bool Runs::same_under_rules(uint64_t number) {
    std::mt19937_64 engine(m_seed + number);
    std::string rules = "plugin " + std::string(plugin_under_test()) + "\n";
    rules += "journal " + path("journal") + " 8M growing\nseed " + std::to_string(m_seed + number) + "\n";
    for (unsigned thread = 0; thread < m_threads; ++thread) {
        const std::string server = "server *" + std::to_string(thread);
        rules += random_rules(engine, m_threads > 1 ? server : "", m_threads == 1);
    }
    std::ofstream(path("filter.conf")) << rules;
    const std::string first = one(FILTER, number, "first");
    const std::string second = one(FILTER, number, "second");
    if (first != second)
        return tell(number, "the caller sees\n" + first_difference(first, second));
    if (m_threads > 1 && first.compare(0, 6, "killed") == 0)
        return tell(number, first);
    std::vector<Mask> known = parse_masks(masks, "masks");
    const JournalDifference difference = compare_journals(path("journal-first"), path("journal-second"), known);
    for (const ThreadDifference &thread : difference.threads)
        for (const CallDifference &call : thread.differences) {
            std::string what = "journal, " + call.entry_point + ", call " + std::to_string(call.call_a) + "\n";
            for (const ValueDifference &value : call.values)
                what += "  " + value.path + ": " + value.a.dump() + " and " + value.b.dump() + "\n";
            return tell(number, what);
        }
    m_calls += difference.same;
    journal::Reader reader(path("journal-first"));
    journal::Events events(reader);
    for (journal::Event event; events.next(event);)
        m_faults += event.kind() == journal::RecordKind::fault ? 1U : 0U;
    return difference.differing == 0;
}

bool Runs::same_without_rules(uint64_t number) {
    std::ofstream(path("filter.conf")) << "plugin " << plugin_under_test() << "\n"
                                       << (m_kind == Kind::fork ? "journal " + path("journal") + " 8M growing\n" : "");
    const std::string bare = one(plugin_under_test(), number, "first");
    const std::string filtered = one(FILTER, number, "second");
    m_calls += static_cast<uint64_t>(std::count(bare.begin(), bare.end(), '\n'));
    if (bare != filtered)
        return tell(number, "the caller sees, without the filter and through it,\n" + first_difference(bare, filtered));
    return m_kind != Kind::fork || journal_tells_both_sides(number);
}

// Each call that was seen is there, whole.
bool Runs::journal_tells_both_sides(uint64_t number) const {
    uint64_t seen = 0;
    std::ifstream stream(path("second"));
    for (std::string line; std::getline(stream, line);)
        seen += !line.empty() && line != "---" && line.compare(0, 2, "  ") != 0 ? 1U : 0U;  // but messages
    journal::Reader reader(path("journal-second"));
    journal::Events events(reader);
    uint64_t left = 0;
    unsigned processes = 0;
    for (journal::Event event; events.next(event);) {
        left += event.kind() == journal::RecordKind::leave ? 1U : 0U;
        processes = std::max(processes, event.process);
    }
    if (seen == left && processes == 2 && !reader.damage().any() && events.running().empty())
        return true;
    return tell(number, "the journal tells " + std::to_string(left) + " calls of " + std::to_string(processes) +
                            " processes, " + std::to_string(seen) + " were made\n");
}

int usage() {
    std::fputs("usage: random_runs rules|threads|bare|fork COUNT [SEED]\n", stderr);
    return 2;
}

// False, with what was found on standard error, when two runs differ.
bool all_the_same(const char *name, Kind kind, uint64_t count, uint64_t seed) {
    std::printf("%s: %llu runs, seed %llu\n", name, static_cast<unsigned long long>(count),
                static_cast<unsigned long long>(seed));
    std::fflush(stdout);
    const bool has_rules = kind == Kind::rules || kind == Kind::threads;
    Runs runs(kind, seed);
    for (uint64_t number = 0; number < count; ++number)
        if (!(has_rules ? runs.same_under_rules(number) : runs.same_without_rules(number)))
            return false;
    std::printf("%llu calls, %llu of them with a fault: all the same\n", static_cast<unsigned long long>(runs.calls()),
                static_cast<unsigned long long>(runs.faults()));
    // Runs in which nothing happened would show nothing.
    return runs.calls() > 0 && (!has_rules || count < 20 || runs.faults() > 0);
}

}  // namespace

int main(int argc, char **argv) {
    static const std::map<std::string, Kind> kinds = {
        {"rules", Kind::rules}, {"threads", Kind::threads}, {"bare", Kind::bare}, {"fork", Kind::fork}};
    const auto chosen = kinds.find(argc > 1 ? argv[1] : "");
    if ((argc != 3 && argc != 4) || chosen == kinds.end())
        return usage();
    const uint64_t count = std::strtoull(argv[2], nullptr, 10);
    try {
        if (argc == 4)
            return all_the_same(argv[1], chosen->second, count, std::strtoull(argv[3], nullptr, 10)) ? 0 : 1;
        for (const uint32_t seed : seeds_of("random_runs", 1))
            if (!all_the_same(argv[1], chosen->second, count, seed))
                return 1;
    } catch (const std::runtime_error &failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    return 0;
}
