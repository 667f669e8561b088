// Hosts that share images: processes in network namespaces of their own.
//
//     cluster_hosts race ROUNDS NAMESPACE NAMESPACE
//         Both create, read, list and delete one name at the same moment. Of two creations and of two deletions one must succeed,
//         and both must then see the same.
//     cluster_hosts mixed SECONDS SEED NAMESPACE NAMESPACE
//         Both put, get, delete and list few names at random. What is read must be what somebody has written, as a whole.
//     cluster_hosts keep SECONDS SEED LEDGER NAMESPACE
//         Writes images one after the other, some in place of others, and notes in LEDGER what each close has said. Ends earlier
//         when there is a file LEDGER.end.
//     cluster_hosts verify LEDGER NAMESPACE
//         What was acknowledged last must be there, what was refused must not, what is unknown may be, and all that is must be
//         whole.
//
// With a time-out of ten seconds for each operation no call may take longer than 45, or, in a directory, than a minute.
// STSIMAGE_ROOT says where, or what follows a NAMESPACE: "host1:/mnt/images". Exit status 0 when nothing was wrong; the last line has the figures.
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "stspi/stsimg.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char lsu[] = "shared/pool";
constexpr size_t call_size = 700'001;

// In milliseconds.
int64_t longest_call() { return *std::getenv("STSIMAGE_ROOT") == '/' ? 60'000 : 45'000; }

// The network of a host, and its way to the images if that is not everybody's.
void enter(std::string host) {
    if (const size_t colon = host.find(':'); colon != host.npos) {
        setenv("STSIMAGE_ROOT", &host[colon + 1], 1);
        host.resize(colon);
    }
    const std::string path = "/run/netns/" + host;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || setns(file, CLONE_NEWNET) != 0) {
        std::perror(path.c_str());
        std::exit(2);
    }
    close(file);
}

sts_image_definition_t named(const std::string &name) {
    sts_image_definition_t definition{};
    name.copy(definition.name, sizeof definition.name - 1);
    return definition;
}

// Bytes that tell their seed, and with it all the others and how many there are.
std::string content_of(uint64_t seed) {
    std::mt19937_64 random(seed);
    const uint64_t longest = seed % 5 == 0 ? 9'000'000 : 60'000;
    std::string data(8 + random() % longest, '\0');
    std::memcpy(data.data(), &seed, sizeof seed);
    for (size_t place = 8; place + 8 <= data.size(); place += 8) {
        const uint64_t word = random();
        std::memcpy(&data[place], &word, sizeof word);
    }
    return data;
}

bool is_whole(const std::string &data) {
    uint64_t seed = 0;
    if (data.size() < sizeof seed)
        return false;
    std::memcpy(&seed, data.data(), sizeof seed);
    return data == content_of(seed);
}

class Figures {
public:
    // Makes a call, and notes what it gave and how long it took.
    template <class Call>
    int32_t of(Call call) {
        const Clock::time_point begin = Clock::now();
        const int32_t status = call();
        const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
        slowest = std::max<int64_t>(slowest, milliseconds);
        ++statuses[status];
        if (status != 0)
            texts[status] = stsimg_last_error();
        return status;
    }

    // Ends the process when a call took too long.
    void tell(const std::string &what) const {
        std::string line = what + ": slowest call " + std::to_string(slowest) + " ms; statuses";
        for (const auto &[status, count] : statuses)
            line.append(" ").append(std::to_string(status)).append(" x ").append(std::to_string(count));
        std::printf("%s\n", line.c_str());
        for (const auto &[status, text] : texts)
            std::printf("  %d: %s\n", status, text.c_str());
        if (slowest > longest_call())
            std::printf("a call took longer than %" PRId64 " ms\n", longest_call());
        std::fflush(stdout);
        if (slowest > longest_call())
            std::exit(1);
    }

private:
    std::map<int32_t, uint64_t> statuses;
    std::map<int32_t, std::string> texts;
    int64_t slowest = 0;
};

int32_t create(Figures &figures, const std::string &name, sts_image_handle_t &image) {
    const sts_image_definition_t definition = named(name);
    return figures.of([&] { return stsimg_create_image(lsu, nullptr, "host", &definition, 0, &image); });
}

// Writes and closes. The status of the first call that fails.
int32_t fill(Figures &figures, sts_image_handle_t image, const std::string &data) {
    int32_t status = 0;
    for (size_t place = 0; status == 0 && place < data.size(); place += call_size) {
        uint64_t written;
        status = figures.of([&] {
            return stsimg_write_image(image, nullptr, &data[place], std::min(call_size, data.size() - place), place,
                                      &written);
        });
    }
    const int32_t closing = figures.of([&] { return stsimg_close_image(image); });
    return status != 0 ? status : closing;
}

int32_t get(Figures &figures, const std::string &name, std::string &out_data) {
    const sts_image_definition_t definition = named(name);
    sts_image_handle_t image = nullptr;
    int32_t status = figures.of([&] { return stsimg_open_image(lsu, nullptr, "host", &definition, 1, &image); });
    if (status != 0)
        return status;
    sts_image_info_t info{};
    status = figures.of([&] { return stsimg_get_image_prop(image, &info); });
    out_data.assign(info.size_bytes, '?');
    for (size_t place = 0; status == 0 && place < out_data.size(); place += call_size) {
        uint64_t got = 0;
        status = figures.of([&] {
            return stsimg_read_image(image, &out_data[place], std::min(call_size, out_data.size() - place), place,
                                     &got);
        });
    }
    const int32_t closing = figures.of([&] { return stsimg_close_image(image); });
    return status != 0 ? status : closing;
}

int32_t remove(Figures &figures, const std::string &name) {
    const sts_image_definition_t definition = named(name);
    return figures.of([&] { return stsimg_delete_image(lsu, nullptr, "host", &definition, 0); });
}

int32_t list(Figures &figures, std::vector<std::string> &out_names) {
    out_names.clear();
    sts_image_list_handle_t handle = nullptr;
    int32_t status = figures.of([&] { return stsimg_open_image_list(lsu, nullptr, "host", 0, &handle); });
    if (status != 0)
        return status;
    sts_image_definition_t definition;
    while ((status = stsimg_list_image(handle, &definition)) == 0)
        out_names.emplace_back(definition.name);
    stsimg_close_image_list(handle);
    return status == STS_E_NO_MORE_ENTRIES ? 0 : status;
}

// What two processes share: where they wait for each other, and what each has seen.
struct Meeting {
    Meeting() {
        pthread_barrierattr_t shared;
        pthread_barrierattr_init(&shared);
        pthread_barrierattr_setpshared(&shared, PTHREAD_PROCESS_SHARED);
        pthread_barrier_init(&barrier, &shared, 2);
    }

    void wait_for_both() { pthread_barrier_wait(&barrier); }

    pthread_barrier_t barrier;
    std::atomic<int32_t> status[2];
};

#define REQUIRE(condition)                                                                               \
    do {                                                                                                 \
        if (!(condition)) {                                                                              \
            std::printf("%s:%d: not so: %s; %s\n", __FILE__, __LINE__, #condition, stsimg_last_error()); \
            std::fflush(stdout);                                                                         \
            kill(0, SIGTERM);                                                                            \
            std::exit(1);                                                                                \
        }                                                                                                \
    } while (false)

void race(unsigned host, uint64_t rounds, Meeting &meeting) {
    Figures figures;
    uint64_t won = 0;
    for (uint64_t round = 0; round < rounds; ++round) {
        sts_image_handle_t image = nullptr;
        meeting.wait_for_both();
        meeting.status[host] = create(figures, "raced", image);
        meeting.wait_for_both();
        const int32_t mine = meeting.status[host], theirs = meeting.status[1 - host];
        if ((mine == 0) == (theirs == 0))
            std::printf("round %" PRIu64 ": creation gave %d here and %d there\n", round, mine, theirs);
        REQUIRE((mine == 0 && theirs == STSIMG_E_BUSY) || (mine == STSIMG_E_BUSY && theirs == 0));
        const uint64_t seed = round * 2 + (mine == 0 ? host : 1 - host);
        if (mine == 0) {
            REQUIRE(fill(figures, image, content_of(seed)) == 0);
            ++won;
        }
        meeting.wait_for_both();
        std::string data;
        REQUIRE(get(figures, "raced", data) == 0);
        REQUIRE(data == content_of(seed));
        std::vector<std::string> names;
        REQUIRE(list(figures, names) == 0);
        REQUIRE(std::count(names.begin(), names.end(), "raced") == 1);
        meeting.wait_for_both();
        if (round % 3 == 0) {
            meeting.status[host] = remove(figures, "raced");
            meeting.wait_for_both();
            const int32_t removed = meeting.status[host], by_them = meeting.status[1 - host];
            REQUIRE((removed == 0 && by_them == STS_E_NOT_FOUND) || (removed == STS_E_NOT_FOUND && by_them == 0));
        }
    }
    figures.tell("host " + std::to_string(host) + " won " + std::to_string(won) + " of " + std::to_string(rounds));
}

void mixed(unsigned host, uint64_t seconds, uint64_t seed) {
    Figures figures;
    std::mt19937_64 random(seed * 2 + host);
    const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
    uint64_t calls = 0, whole = 0;
    while (Clock::now() < end) {
        const std::string name = "mixed " + std::to_string(random() % 5);
        const uint64_t what = random() % 10;
        int32_t status = 0;
        if (what < 4) {
            sts_image_handle_t image = nullptr;
            status = create(figures, name, image);
            if (status == 0)
                status = fill(figures, image, content_of(random()));
        } else if (what < 8) {
            std::string data;
            status = get(figures, name, data);
            if (status == 0) {
                REQUIRE(is_whole(data));
                ++whole;
            }
        } else if (what < 9) {
            status = remove(figures, name);
        } else {
            std::vector<std::string> names;
            status = list(figures, names);
            std::sort(names.begin(), names.end());
            REQUIRE(std::adjacent_find(names.begin(), names.end()) == names.end());
        }
        REQUIRE(status == 0 || status == STSIMG_E_BUSY || status == STS_E_NOT_FOUND);
        ++calls;
    }
    REQUIRE(whole > 0);
    figures.tell("host " + std::to_string(host) + " did " + std::to_string(calls) + " things, read " +
                 std::to_string(whole) + " images, all right");
}

const char *outcome_of(int32_t status) {
    if (status == 0)
        return "there";
    return status == STSIMG_E_OUTCOME_UNKNOWN ? "unknown" : "not there";
}

// Every third image is written in place of an earlier one.
int keep(uint64_t seconds, uint64_t seed, const std::string &ledger_path) {
    Figures figures;
    std::ofstream ledger(ledger_path, std::ios::app);
    const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
    std::mt19937_64 random(seed);
    uint64_t acknowledged = 0, replaced = 0;
    for (uint64_t number = 0; Clock::now() < end && access((ledger_path + ".end").c_str(), F_OK) != 0; ++number) {
        const bool is_replaced = number % 3 == 2;
        const uint64_t first = seed * 1'000'000, content = first + number;
        const uint64_t earlier = is_replaced ? random() % number : number;
        const std::string name = "kept " + std::to_string(first + earlier - (!is_replaced || earlier % 3 < 2 ? 0 : 1));
        ledger << name << '\t' << content << '\t' << "begun" << std::endl;
        sts_image_handle_t image = nullptr;
        int32_t status = create(figures, name, image);
        if (status == 0)
            status = fill(figures, image, content_of(content));
        acknowledged += status == 0 ? 1 : 0;
        replaced += status == 0 && is_replaced ? 1 : 0;
        ledger << name << '\t' << content << '\t' << outcome_of(status) << std::endl;
    }
    figures.tell("acknowledged " + std::to_string(acknowledged) + ", " + std::to_string(replaced) +
                 " of them written to names that were used before");
    return 0;
}

// What may be under a name, by what was said of each image that was written to it.
struct Possible {
    std::set<uint64_t> contents;
    bool nothing = true;

    void heed(uint64_t content, const std::string &said) {
        if (said == "there")
            *this = {{content}, false};
        else if (said == "not there")
            contents.erase(content);
        else
            contents.insert(content);
    }
};

int verify(const std::string &ledger_path) {
    Figures figures;
    std::map<std::string, Possible> all;
    std::map<std::string, uint64_t> counts;
    std::ifstream ledger(ledger_path);
    std::string name, content, said;
    while (std::getline(ledger, name, '\t') && std::getline(ledger, content, '\t') && std::getline(ledger, said)) {
        all[name].heed(std::strtoull(content.c_str(), nullptr, 10), said);
        ++counts["said to be " + said];
    }
    int wrong = 0;
    for (const auto &[image, possible] : all) {
        std::string data;
        const int32_t status = get(figures, image, data);
        uint64_t seed = 0;
        std::memcpy(&seed, data.data(), std::min(data.size(), sizeof seed));
        const bool there = status == 0;
        const bool right = there ? is_whole(data) && possible.contents.count(seed) != 0
                                 : status == STS_E_NOT_FOUND && possible.nothing;
        const bool certain = possible.contents.size() + (possible.nothing ? 1 : 0) == 1;
        ++counts[std::string(certain ? "certain" : "uncertain") + (there ? ", is there" : ", is not")];
        if (right)
            continue;
        ++wrong;
        std::printf("%s is wrong: %d %s, content %" PRIu64 "\n", image.c_str(), status,
                    there ? "" : stsimg_last_error(), seed);
    }
    for (const auto &[what, count] : counts)
        std::printf("%s: %" PRIu64 "\n", what.c_str(), count);
    figures.tell("verified " + std::to_string(all.size()));
    return wrong == 0 && !all.empty() ? 0 : 1;
}

// Runs a part in two processes, each in its network.
template <class Part>
int on_both(char **networks, Part part) {
    void *const shared = mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return 2;
    auto *const meeting = new (shared) Meeting;
    setpgid(0, 0);  // for an end of both
    for (unsigned host = 0; host < 2; ++host)
        if (fork() == 0) {
            enter(networks[host]);
            part(host, *meeting);
            std::exit(0);
        }
    int result = 0, status = 0;
    while (wait(&status) > 0)
        result |= status;
    return result == 0 ? 0 : 1;
}

int run(int count, char **words) {
    const std::string_view what = count > 1 ? words[1] : "";
    const auto number = [&](int word) { return std::strtoull(words[word], nullptr, 10); };
    if (what == "race" && count == 5)
        return on_both(words + 3, [&](unsigned host, Meeting &meeting) { race(host, number(2), meeting); });
    if (what == "mixed" && count == 6)
        return on_both(words + 4, [&](unsigned host, Meeting &) { mixed(host, number(2), number(3)); });
    if (what == "keep" && count == 6) {
        enter(words[5]);
        return keep(number(2), number(3), words[4]);
    }
    if (what == "verify" && count == 4) {
        enter(words[3]);
        return verify(words[2]);
    }
    std::fprintf(stderr, "cluster_hosts: race, mixed, keep or verify, see the head of the source\n");
    return 2;
}

}  // namespace

int main(int count, char **words) { return run(count, words); }
