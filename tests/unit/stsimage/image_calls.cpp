// Calls of the image library, one for each line of standard input:
//
//     create NAME | open NAME | stat NAME | delete NAME | list | write BYTES | read BYTES | close
//
// After each comes a line "STATUS MILLISECONDS TEXT". What is written goes behind what was written before, what is read is what lies
// behind what was read before and must be right. STSIMAGE_ROOT says where; the LSU is "pool1".
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

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
        if (call == "close")
            return stsimg_close_image(image);
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

    sts_image_handle_t image = nullptr;
    uint64_t place = 0;
};

}  // namespace

int main() {
    Calls calls;
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string call;
        std::string argument;
        words >> call >> argument;
        const Clock::time_point begin = Clock::now();
        const int32_t status = calls.make(call, argument);
        const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
        std::printf("%d %lld %s\n", status, static_cast<long long>(milliseconds),
                    status == 0 ? "" : stsimg_last_error());
        std::fflush(stdout);
    }
}
