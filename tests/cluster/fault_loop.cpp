// One operation of the cluster after the other fails, in a whole cycle of the library's life.
//
//     fault_loop [EVERY [PROCESSES]]      STSIMAGE_ROOT says where; only every so-manieth operation (1), by so many loops (4)
//
// What was acknowledged must be there and right, what was refused must not be, what is unknown may be; and afterwards looking
// through the store finds nothing that cannot be removed.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "stspi/stsimg.h"
#include "stspi/stsimg_check.h"
#include "tests/cluster/failing_operations.h"

namespace {

using failing_operations::How;
using failing_operations::Scope;

constexpr std::array<How, 3> ways{How::refused, How::lost, How::unanswered};
constexpr std::array<const char *, 3> names_of_ways{"refused", "lost", "unanswered"};

int mistakes = 0;

void expect(bool is_right, const std::string &lsu, const char *what) {
    if (is_right)
        return;
    ++mistakes;
    std::printf("%s: %s; the latest failure: %s\n", lsu.c_str(), what, stsimg_last_error());
}

sts_image_definition_t image_named(std::string_view name) {
    sts_image_definition_t definition{};
    name.copy(definition.name, sizeof definition.name - 1);
    return definition;
}

// Two parts of an image, with a hole before the second.
std::string data_of(char letter) {
    std::string data(5'000'000, '\0');
    data.replace(0, 10'000, 10'000, letter);
    data.replace(4'900'000, 100'000, 100'000, letter);
    return data;
}

int32_t write_parts(sts_image_handle_t image, char letter) {
    const std::string data = data_of(letter);
    uint64_t written = 0;
    if (const int32_t status = stsimg_write_image(image, nullptr, &data[4'900'000], 100'000, 4'900'000, &written);
        status != 0)
        return status;
    return stsimg_write_image(image, nullptr, data.data(), 10'000, 0, &written);
}

int32_t store(const std::string &lsu, std::string_view name, char letter) {
    const sts_image_definition_t definition = image_named(name);
    sts_image_handle_t image = nullptr;
    if (const int32_t status = stsimg_create_image(lsu.c_str(), nullptr, "", &definition, 0, &image); status != 0)
        return status;
    const int32_t written = write_parts(image, letter);
    const int32_t closed = stsimg_close_image(image);
    return written != 0 ? written : closed;
}

int32_t change(const std::string &lsu, std::string_view name, char letter) {
    const sts_image_definition_t definition = image_named(name);
    sts_image_handle_t image = nullptr;
    if (const int32_t status = stsimg_open_image(lsu.c_str(), nullptr, "", &definition, STSIMG_MODE_WRITE, &image);
        status != 0)
        return status;
    const int32_t written = write_parts(image, letter);
    const int32_t closed = stsimg_close_image(image);
    return written != 0 ? written : closed;
}

int32_t fetch(const std::string &lsu, std::string_view name, std::string &out_data) {
    const sts_image_definition_t definition = image_named(name);
    sts_image_handle_t image = nullptr;
    if (const int32_t status = stsimg_open_image(lsu.c_str(), nullptr, "", &definition, STSIMG_MODE_READ, &image);
        status != 0)
        return status;
    out_data.assign(6'000'000, '?');
    uint64_t got = 0;
    const int32_t status = stsimg_read_image(image, out_data.data(), out_data.size(), 0, &got);
    out_data.resize(got);
    stsimg_close_image(image);
    return status;
}

int32_t list(const std::string &lsu, std::set<std::string> &out_names) {
    sts_image_list_handle_t open_list = nullptr;
    if (const int32_t status = stsimg_open_image_list(lsu.c_str(), nullptr, "", 0, &open_list); status != 0)
        return status;
    sts_image_definition_t definition;
    int32_t status;
    while ((status = stsimg_list_image(open_list, &definition)) == 0)
        out_names.insert(definition.name);
    stsimg_close_image_list(open_list);
    return status == STS_E_NO_MORE_ENTRIES ? 0 : status;
}

int32_t remove(const std::string &lsu, std::string_view name) {
    const sts_image_definition_t definition = image_named(name);
    return stsimg_delete_image(lsu.c_str(), nullptr, "", &definition, 0);
}

// Counts what is left and could not be removed.
int32_t count_left(const sts_image_finding_t *finding, void *context) {
    if ((finding->kind == STSIMG_FOUND_LSU && finding->status != 0) ||
        (finding->kind != STSIMG_FOUND_LSU && finding->removed == 0))
        ++*static_cast<int *>(context);
    return 0;
}

// What an image may be after a call that gave this status: as the call makes it, as it was, or either.
void expect_image(const std::string &lsu, const char *name, int32_t status, int32_t status_if_done, char done,
                  int32_t status_if_not, char before) {
    std::string data;
    const int32_t fetched = fetch(lsu, name, data);
    const bool is_done = fetched == status_if_done && (fetched != 0 || data == data_of(done));
    const bool is_as_before = fetched == status_if_not && (fetched != 0 || data == data_of(before));
    const bool may_be_done = status == 0 || status == STSIMG_E_OUTCOME_UNKNOWN;
    expect((may_be_done && is_done) || (status != 0 && is_as_before), lsu, name);
}

// A whole cycle, in which one operation fails. Gives the number of operations.
int run_cycle(const std::string &lsu, int n, How how, bool from_then_on) {
    for (const char *name : {"kept", "replaced", "changed", "deleted"})
        expect(store(lsu, name, 'a') == 0, lsu, "preparing an image");
    int32_t stored, replaced, changed, deleted, listed, fetched;
    std::set<std::string> names;
    std::string data;
    int operations;
    {
        const Scope scope(n, how, from_then_on);
        stored = store(lsu + "/below", "fresh", 'b');
        replaced = store(lsu, "replaced", 'b');
        changed = change(lsu, "changed", 'b');
        fetched = fetch(lsu, "kept", data);
        deleted = remove(lsu, "deleted");
        listed = list(lsu, names);
        int ignored = 0;
        stsimg_check(lsu.c_str(), STSIMG_CHECK_REMOVE, count_left, &ignored);
        operations = Scope::counted();
    }
    expect(fetched != 0 || data == data_of('a'), lsu, "reading gave wrong data");
    expect(listed != 0 || (names.count("kept") == 1 && names.count("replaced") == 1), lsu, "the list is not whole");
    expect_image(lsu, "kept", 0, 0, 'a', 0, 'a');
    expect_image(lsu, "replaced", replaced, 0, 'b', 0, 'a');
    expect_image(lsu, "changed", changed, 0, 'b', 0, 'a');
    expect_image(lsu, "deleted", deleted, STS_E_NOT_FOUND, 'b', 0, 'a');
    expect_image(lsu + "/below", "fresh", stored, 0, 'b', STS_E_NOT_FOUND, 'a');
    for (const std::string &place : {lsu, lsu + "/below"}) {
        int left = 0;
        stsimg_check(place.c_str(), STSIMG_CHECK_REMOVE, count_left, &left);
        left = 0;
        stsimg_check(place.c_str(), STSIMG_CHECK_REMOVE, count_left, &left);
        expect(left == 0 || (stored != 0 && place != lsu), place, "something is left that cannot be removed");
    }
    return operations;
}

// A process' share of the operations, each in every way.
int loop(int process, int processes, int every) {
    const std::string place = "faults " + std::to_string(process) + "/";
    const int operations = run_cycle(place + "none", 0, How::refused, false);
    int rounds = 0;
    for (int n = 1 + process * every; n <= operations; n += processes * every)
        for (size_t way = 0; way < ways.size(); ++way)
            for (const bool from_then_on : {false, true}) {
                if (from_then_on && ways[way] == How::unanswered)
                    continue;  // a cluster that does all and answers nothing
                run_cycle(place + names_of_ways[way] + (from_then_on ? " from " : " ") + std::to_string(n), n,
                          ways[way], from_then_on);
                ++rounds;
            }
    std::printf("%d operations in a cycle, %d cycles, %d mistakes\n", operations, rounds, mistakes);
    std::fflush(stdout);
    return mistakes == 0 && rounds > 0 ? 0 : 1;
}

}  // namespace

int main(int count, char **words) {
    const int every = count > 1 ? std::atoi(words[1]) : 1;
    const int processes = count > 2 ? std::atoi(words[2]) : 4;
    if (every < 1 || processes < 1) {
        std::fprintf(stderr, "fault_loop: numbers from 1 on are expected\n");
        return 2;
    }
    std::vector<pid_t> children;
    children.reserve(static_cast<size_t>(processes));
    for (int process = 0; process < processes; ++process) {
        children.push_back(fork());
        if (children.back() == 0)
            _exit(loop(process, processes, every));
    }
    bool is_right = !children.empty();
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        is_right = status == 0 && is_right;
    }
    int orphans = 0;
    const int32_t checked = stsimg_check(nullptr, 0, count_left, &orphans);
    std::printf("looking through all of it gave %d, and %d that are left\n", checked, orphans);
    return is_right && checked == 0 && orphans == 0 ? 0 : 1;
}
