// Calls of the image library, one for each line of standard input:
//
//     create NAME | open NAME | stat NAME | delete NAME | list | write BYTES | read BYTES | skip BYTES |
//     read_at_once THREADS | close | exit_amid THREADS
//
// read_at_once lets each thread read a byte, 8 MiB behind the one before it, and gives what the last of them was given.
// exit_amid lets the process end, with status 0, while threads read the image and look for others, and closes it after everything else.
// After each other one comes a line "STATUS MILLISECONDS TEXT". What is written goes behind what was written before, what is read is what lies
// behind what was read before and must be right. STSIMAGE_ROOT says where; the LSU is "pool1".
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "stspi/stsimg.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char lsu[] = "pool1";

std::string pattern(uint64_t place, uint64_t length) {
    std::string data(length, '\0');
    for (char &byte : data)
        byte = static_cast<char>((place++ * 2654435761u) >> 13);
    return data;
}

class Calls {
public:
    int32_t make(const std::string &call, const std::string &argument) {
        sts_image_definition_t definition{};
        argument.copy(definition.name, sizeof definition.name - 1);
        if (call == "create" || call == "open")
            place = 0;
        if (call == "create")
            return stsimg_create_image(lsu, nullptr, "host", &definition, 0, &image);
        if (call == "open")
            return stsimg_open_image(lsu, nullptr, "host", &definition, STSIMG_MODE_READ, &image);
        if (call == "stat") {
            sts_image_info_t info{};
            return stsimg_get_image_prop_byname(lsu, nullptr, "host", &definition, &info);
        }
        if (call == "delete")
            return stsimg_delete_image(lsu, nullptr, "host", &definition, 0);
        if (call == "list")
            return list();
        if (call == "write")
            return write(std::stoull(argument));
        if (call == "read")
            return read(std::stoull(argument));
        if (call == "skip") {
            place += std::stoull(argument);
            return 0;
        }
        if (call == "read_at_once")
            return read_at_once(std::stoull(argument));
        if (call == "close")
            return stsimg_close_image(image);
        if (call == "exit_amid")
            exit_amid(std::stoull(argument));
        return -1;
    }

private:
    static int32_t list() {
        sts_image_list_handle_t names = nullptr;
        int32_t status = stsimg_open_image_list(lsu, nullptr, "host", 0, &names);
        sts_image_definition_t definition;
        while (status == 0)
            status = stsimg_list_image(names, &definition);
        if (names != nullptr)
            stsimg_close_image_list(names);
        return status == STS_E_NO_MORE_ENTRIES ? 0 : status;
    }

    int32_t write(uint64_t length) {
        const std::string data = pattern(place, length);
        uint64_t written = 0;
        const int32_t status = stsimg_write_image(image, nullptr, data.data(), length, place, &written);
        place += written;
        return status;
    }

    // -2 when what is read is wrong.
    int32_t read(uint64_t length) {
        std::string data(length, '\0');
        uint64_t got = 0;
        const int32_t status = stsimg_read_image(image, data.data(), length, place, &got);
        data.resize(status == 0 ? got : 0);
        const bool is_right = data == pattern(place, data.size());
        place += data.size();
        return is_right ? status : -2;
    }

    int32_t read_at_once(uint64_t count) {
        std::atomic<int32_t> last{0};
        std::vector<std::thread> threads;
        for (uint64_t number = 0; number < count; ++number)
            threads.emplace_back([this, number, &last] {
                char byte = 0;
                uint64_t got = 0;
                last = stsimg_read_image(image, &byte, 1, number << 23, &got);
            });
        for (std::thread &thread : threads)
            thread.join();
        return last;
    }

    void exit_amid(uint64_t count) {
        for (uint64_t number = 0; number < count; ++number)
            std::thread([this, number] {
                std::string data(1 << 20, '\0');
                uint64_t got = 0;
                for (uint64_t turn = number;; ++turn) {
                    stsimg_read_image(image, data.data(), data.size(), turn % 8 << 20, &got);
                    make("stat", "none" + std::to_string(turn));
                }
            }).detach();
        std::this_thread::sleep_for(std::chrono::milliseconds(10 * count));
        std::exit(0);
    }

    sts_image_handle_t image = nullptr;
    uint64_t place = 0;
};

Calls &calls() {
    static auto *const all = new Calls;  // threads may use it to the very end
    return *all;
}

}  // namespace

int main() {
    std::atexit([] { calls().make("close", ""); });  // the first to be told is the last to be called
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string call;
        std::string argument;
        words >> call >> argument;
        const Clock::time_point begin = Clock::now();
        const int32_t status = calls().make(call, argument);
        const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
        std::printf("%d %lld %s\n", status, static_cast<long long>(milliseconds),
                    status == 0 ? "" : stsimg_last_error());
        std::fflush(stdout);
    }
}
