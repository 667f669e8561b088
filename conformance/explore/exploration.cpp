#include "conformance/explore/exploration.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "conformance/explore/history_maker.h"
#include "conformance/model/reached.h"
#include "conformance/run/surroundings.h"

namespace conformance {

namespace {

constexpr uint64_t nothing = ~uint64_t{0};
constexpr uint64_t memory_watched_once_in = 16;  // pairs: of small histories and drawn ones that come in turn as many

// Shared by all processes of an exploration.
struct Board {
    std::atomic<uint64_t> next;
    std::atomic<uint64_t> found;  // the lowest number with a finding
    std::atomic<uint64_t> histories;
    std::atomic<uint64_t> calls;
    std::atomic<uint32_t> stop;
    std::atomic<uint32_t> failed;  // workers that could not work
    unsigned reached[512];
    // What each job has found, with which it ends.
    struct Sight {
        uint64_t number;
        SharedFinding finding;
    } sights[MOST_JOBS];
};

void lower_to(std::atomic<uint64_t> &value, uint64_t number) {
    uint64_t before = value;
    while (number < before && !value.compare_exchange_weak(before, number)) {
    }
}

class SharedBoard {
public:
    SharedBoard() : memory_(mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (memory_ == MAP_FAILED)
            throw std::runtime_error("no memory to share with other processes");
        new (memory_) Board;  // all zeros, as it was mapped
    }
    ~SharedBoard() { munmap(memory_, sizeof(Board)); }
    SharedBoard(const SharedBoard &) = delete;
    SharedBoard &operator=(const SharedBoard &) = delete;
    Board &operator*() const { return *static_cast<Board *>(memory_); }
    Board *operator->() const { return static_cast<Board *>(memory_); }

private:
    void *memory_;
};

void work(PluginCaller &caller, PluginCaller *other, const ExplorationPlan &plan, const std::string &base, unsigned job,
          const std::string &array_name, Board &board) {
    const auto deadline = std::chrono::steady_clock::now() + plan.time;
    HistoryProcess process(caller, base, own_name(job), array_name, plan.time_limit, other);
    while (board.stop == 0 && std::chrono::steady_clock::now() < deadline) {
        const uint64_t number = board.next++;
        // One that was found already is the first only if all before it have been played.
        if (number > board.found || (plan.histories != 0 && number >= plan.first + plan.histories))
            break;
        const History history = make_history(plan.seed, number, plan.most_calls);
        const HistoryFinding finding = process.play(history, watches_memory(history, number));
        ++board.histories;
        board.calls += process.calls_made();
        if (finding.kind != HistoryFinding::none) {
            board.sights[job].number = number;
            put_finding(board.sights[job].finding, finding);
            lower_to(board.found, number);
            break;
        }
    }
}

}  // namespace

std::string own_name(unsigned job) { return fmt::format("{:06x}{:02x}", getpid() & 0xffffff, job & 0xff); }

bool watches_memory(const History &history, uint64_t number) {
    return number / 2 % memory_watched_once_in == 0 &&
           std::none_of(history.calls.begin(), history.calls.end(),
                        [](const model::Call &one) { return one.thread != 0; });
}

ExplorationResult explore(PluginCaller &caller, PluginCaller *other, const ExplorationPlan &plan,
                          const std::string &base, const std::string &array_name,
                          const std::function<bool()> &stopped) {
    const SharedBoard board;
    board->next = plan.first;
    board->found = nothing;
    model::count_reached_in(board->reached);
    const auto start = std::chrono::steady_clock::now();
    std::vector<pid_t> workers;
    std::fflush(nullptr);
    const pid_t parent = getpid();
    for (unsigned job = 0; job < plan.jobs; ++job) {
        const std::string directory = fmt::format("{}/j{:02x}", base, job);
        const pid_t worker = fork();
        if (worker < 0)
            throw std::runtime_error(fmt::format("cannot start a process: {}", std::strerror(errno)));
        if (worker == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent)
                _exit(1);
            prepare_test_process();
            try {
                work(caller, other, plan, directory, job, array_name, *board);
            } catch (const std::exception &error) {
                std::fprintf(stderr, "stspi-conformance: %s\n", error.what());
                ++board->failed;
            }
            _exit(0);
        }
        workers.push_back(worker);
    }
    for (const pid_t worker : workers)
        while (waitpid(worker, nullptr, WNOHANG) == 0) {
            if (stopped())
                board->stop = 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    model::count_reached_in(nullptr);
    if (board->failed != 0)
        throw std::runtime_error("cannot explore");
    ExplorationResult result;
    result.histories = board->histories;
    result.calls = board->calls;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.reached.assign(board->reached, board->reached + model::parts().size());
    if (board->found == nothing)
        return result;
    result.number = board->found;
    for (const Board::Sight &sight : board->sights)
        if (sight.finding.kind != HistoryFinding::none && sight.number == result.number)
            result.finding = finding_in(sight.finding);
    return result;
}

}  // namespace conformance
