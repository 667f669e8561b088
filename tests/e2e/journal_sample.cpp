// Writes journals for the tests of "simhost journal": journal_sample FILE [VARIANT...].
//
//   (none)      a session with every kind of argument and record
//   other       the same with another status, a call more, a call less
//   shuffled    the same with a list in another order
//   threads     calls on four threads, which begin in an order drawn anew each time, or from the seed STSPI_SEED
//   bytes       data is kept in side files
//   running     ends in the middle of a call
//   many        20,000 calls
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "journal/writer.h"
#include "stspi/stsimg.h"

namespace {

using journal::CallNumber;
using journal::EntryPointNumber;
using journal::Writer;

uint64_t word_of(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

template <typename Handle>
Handle made_up(uint64_t value) {
    // Differs from run to run, as addresses do.
    return reinterpret_cast<Handle>(value + static_cast<uint64_t>(getpid()) * 65536);
}

// One call; what happens inside it is told by the function.
template <typename Inside>
void call(Writer &writer, const char *name, const std::vector<uint64_t> &words, int32_t status, Inside inside) {
    const EntryPointNumber number = journal::find_entry_point(name);
    const CallNumber running = writer.enter(number, words.data());
    inside(running, number);
    writer.leave(running, number, words.data(), status);
}

void call(Writer &writer, const char *name, const std::vector<uint64_t> &words, int32_t status = 0) {
    call(writer, name, words, status, [](CallNumber, EntryPointNumber) {});
}

void list_images(Writer &writer, sts_image_list_handle_t list, const std::vector<std::string> &names) {
    sts_image_definition definition = {};
    for (const std::string &name : names)
        call(writer, "stspi_list_image", {word_of(list), word_of(&definition)}, 0,
             [&](CallNumber, EntryPointNumber) { std::strcpy(definition.name, name.c_str()); });
    call(writer, "stspi_list_image", {word_of(list), word_of(&definition)}, STS_E_NO_MORE_ENTRIES);
}

void properties(Writer &writer, const stsp_lsu_v7_t &lsu, uint64_t used) {
    sts_lsu_info_v9_t info = {};
    call(writer, "stspi_get_lsu_prop_byname", {word_of(&lsu), word_of(&info)}, 0, [&](CallNumber, EntryPointNumber) {
        std::strcpy(info.lsu_name, "pool1");
        info.capacity_bytes = uint64_t{1} << 63;
        info.used_bytes = used;
    });
}

void session(Writer &writer, const std::set<std::string> &variants) {
    const bool is_other = variants.count("other") != 0;
    sts_registration_t registration = {};
    registration.entry_points = made_up<sts_entry_point_t *>(0x700);
    std::strcpy(registration.prefix, "Kelvarpool:");
    call(writer, "stspi_init", {9, 0, word_of(&registration)});
    call(writer, "stspi_async_flush", {});
    call(writer, "stspi_ioctl", {word_of(made_up<void *>(0x100)), 0xffffffffffffffff}, STS_E_NOT_SUPPORTED);
    call(writer, "stspi_claim", {word_of("odd \xff <b>name</b> & \"quotes\"")}, STS_E_NOT_CLAIMED);

    sts_session_def_v7_t log_session = {};
    log_session.log_mask = 9;
    auto server = made_up<sts_server_handle_t>(0);
    std::vector<sts_host_t> hosts(2);
    std::strcpy(hosts[0].name, "mediaA");
    std::strcpy(hosts[1].name, "mediaB");
    call(writer, "stspi_create_server",
         {word_of(&log_session), word_of("Kelvarpool:mediaA"), 0, 0, word_of(hosts.data()), 2, word_of(&server)}, 0,
         [&](CallNumber running, EntryPointNumber) {
             writer.log(running, 3, "++++ Entering stspi_create_server\n");
             writer.output(running, "Invalid line: x\n");
             server = made_up<sts_server_handle_t>(0x1000);
             writer.log(running, 3, "---- Leaving stspi_create_server\n");
         });
    stsp_lsu_v7_t lsu = {};
    lsu.server = server;
    std::strcpy(lsu.lsu_name, "pool1");
    properties(writer, lsu, is_other ? 2000100 : 2000000);

    sts_image_definition definition = {};
    std::strcpy(definition.name, "nightly");
    sts_image_handle_t image = nullptr;
    call(writer, "stspi_create_image", {word_of(&lsu), word_of(&definition), 0, word_of(&image)}, 0,
         [&](CallNumber, EntryPointNumber) { image = made_up<sts_image_handle_t>(0x2000); });
    const std::string data(1000, 'd');
    uint64_t count = 0;
    for (uint64_t block = 0; block < 3; ++block)
        call(writer, "stspi_write_image",
             {word_of(image), 0, word_of(data.data()), data.size(), block * data.size(), word_of(&count)},
             is_other && block == 1 ? static_cast<int32_t>(STSIMG_E_NO_SPACE) : 0,
             [&](CallNumber running, EntryPointNumber number) {
                 count = data.size();
                 if (is_other && block == 1)
                     writer.fault(running, number, 7, "answer STSIMG_E_NO_SPACE");
             });
    if (is_other)
        call(writer, "stspi_unmount_lsu", {});
    call(writer, "stspi_get_image_prop", {word_of(image), 0x111}, STS_E_INVALID_PARAMETER);
    call(writer, "stspi_close_image", {word_of(image)});

    auto list = made_up<sts_image_list_handle_t>(0);
    call(writer, "stspi_open_image_list", {word_of(&lsu), 0, word_of(&list)}, 0,
         [&](CallNumber, EntryPointNumber) { list = made_up<sts_image_list_handle_t>(0x3000); });
    std::vector<std::string> names = {"monday", "tuesday", "wednesday"};
    if (variants.count("shuffled") != 0)
        std::reverse(names.begin(), names.end());
    list_images(writer, list, names);
    if (!is_other)
        call(writer, "stspi_close_image_list", {word_of(list)});
    call(writer, "stspi_claim", {word_of(std::string(20000, 'l').c_str())}, STS_E_NOT_CLAIMED);
    call(writer, "stspi_close_server", {word_of(server)});
    call(writer, "stspi_close_server", {word_of(made_up<void *>(0x4000))}, STS_E_INVALID_PARAMETER);
    writer.rules("seed 2\n");
}

void calls_of_thread(Writer &writer, uint64_t number) {
    const std::string name = "thread" + std::to_string(number);
    auto server = made_up<sts_server_handle_t>(0);
    for (uint64_t i = 0; i < 50; ++i) {
        call(writer, "stspi_open_server", {0, word_of(name.c_str()), 0, 0, word_of(&server)}, 0,
             [&](CallNumber, EntryPointNumber) { server = made_up<sts_server_handle_t>(number * 1000 + i + 1); });
        call(writer, "stspi_close_server", {word_of(server)});
    }
}

void many_calls(Writer &writer) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        call(writer, "stspi_ioctl", {0, static_cast<uint64_t>(i % 13)}, i % 13 == 8 ? STS_E_NOT_SUPPORTED : 0);
        if (random() % 100 == 0)
            usleep(50);
    }
}

void threads(Writer &writer) {
    const char *chosen = std::getenv("STSPI_SEED");
    const uint32_t seed =
        chosen == nullptr ? std::random_device()() : static_cast<uint32_t>(std::strtoul(chosen, nullptr, 10));
    std::printf("seed %u\n", seed);
    std::vector<uint64_t> order = {0, 1, 2, 3};
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    std::vector<std::thread> running;
    for (const uint64_t number : order)
        running.emplace_back([&writer, number] { calls_of_thread(writer, number); });
    for (std::thread &thread : running)
        thread.join();
}

}  // namespace

int main(int argc, char **argv) {
    const std::set<std::string> variants(argv + 2, argv + argc);
    journal::WriterOptions options;
    options.path = argv[1];
    options.mode = journal::Mode::growing;
    options.fresh = true;
    options.data = variants.count("bytes") != 0 ? journal::DataMode::bytes : journal::DataMode::hash;
    journal::Origin origin;
    origin.writer = "journal_sample 1";
    origin.plugin = argv[0];
    origin.rules = "seed 42\n";
    origin.seed = 42;
    std::string error;
    int number = 0;
    const std::unique_ptr<Writer> writer = Writer::open(options, origin, error, number);
    if (!writer) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    if (variants.count("many") != 0)
        many_calls(*writer);
    else if (variants.count("threads") != 0)
        threads(*writer);
    else
        session(*writer, variants);
    if (variants.count("running") != 0) {
        const std::vector<uint64_t> words = {word_of("Kelvarpool:hangs")};
        writer->enter(journal::find_entry_point("stspi_claim"), words.data());
    }
    return 0;
}
