// A close whose answer from the cluster does not come.
//
//     unanswered_close lost COMMAND...      COMMAND cuts this host off right before the image is to get its name
//     unanswered_close done COMMAND...      right after it has got it
//     unanswered_close settled              nothing is cut: only this one answer is lost
//     unanswered_close answered             nothing is lost
//     unanswered_close look                 tells whether the image is there
//
// STSIMAGE_ROOT says where. Exit status 0 when close told what it must: STSIMG_E_OUTCOME_UNKNOWN in the first two cases, and
// success in the third too, since the library can look. It must not take longer than two time-outs (STSIMAGE_RADOS_TIMEOUT).
//
// The call of librados that the library makes is this program's, which the dynamic linker finds first.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <rados/librados.hpp>
#include <string>
#include <string_view>

#include "stspi/stsimg.h"

namespace {

constexpr size_t image_size = 100'000;

enum class Trouble { none, lost, done, settled };

const char *words_of_trouble(Trouble trouble) {
    switch (trouble) {
        case Trouble::none:
            return "answered";
        case Trouble::lost:
            return "lost";
        case Trouble::done:
            return "done";
        case Trouble::settled:
            return "settled";
    }
    return "";
}

Trouble trouble = Trouble::none;
char **cutting_command = nullptr;

void cut_off() {
    const pid_t child = fork();
    if (child == 0) {
        execvp(cutting_command[0], cutting_command);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        std::fprintf(stderr, "unanswered_close: %s ended with %d\n", cutting_command[0], status);
        _exit(2);
    }
}

using Operate = int (*)(librados::IoCtx *, const std::string &, librados::ObjectWriteOperation *);

Operate real_operate() {
    static const auto found = reinterpret_cast<Operate>(
        dlsym(dlopen("librados.so.2", RTLD_NOW),
              "_ZN8librados7v14_2_05IoCtx7operateERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPNS0_"
              "20ObjectWriteOperationE"));
    return found;
}

}  // namespace

int librados::IoCtx::operate(const std::string &object, ObjectWriteOperation *operation) {
    const bool gives_name = object.compare(0, 6, "names/") == 0;
    const Trouble here = gives_name ? trouble : Trouble::none;
    if (here != Trouble::none)
        trouble = Trouble::none;
    if (here == Trouble::lost)
        cut_off();
    const int result = real_operate()(this, object, operation);
    if (here == Trouble::done)
        cut_off();
    return here == Trouble::done || here == Trouble::settled ? -ETIMEDOUT : result;
}

namespace {

constexpr char lsu[] = "shared/pool";

sts_image_definition_t unanswered() {
    sts_image_definition_t definition{};
    std::string_view("unanswered").copy(definition.name, sizeof definition.name - 1);
    return definition;
}

int trouble_of_test(const char *what) {
    std::printf("%s failed: %s\n", what, stsimg_last_error());
    return 2;
}

int look() {
    const sts_image_definition_t definition = unanswered();
    sts_image_handle_t image = nullptr;
    const int32_t status = stsimg_open_image(lsu, nullptr, "host", &definition, STSIMG_MODE_READ, &image);
    if (status == STS_E_NOT_FOUND) {
        std::printf("is not there\n");
        return 0;
    }
    std::string data(image_size + 1, '\0');
    uint64_t got = 0;
    if (status != 0 || stsimg_read_image(image, data.data(), data.size(), 0, &got) != 0)
        return trouble_of_test("looking");
    stsimg_close_image(image);
    data.resize(got);
    const bool is_right = data == std::string(image_size, 'u');
    std::printf(is_right ? "is there\n" : "is wrong\n");
    return is_right ? 0 : 1;
}

int write_and_close(Trouble wanted) {
    const sts_image_definition_t definition = unanswered();
    sts_image_handle_t image = nullptr;
    const std::string data(image_size, 'u');
    uint64_t written = 0;
    int32_t status;
    // What a process has left that is gone now is another's after a while.
    while ((status = stsimg_create_image(lsu, nullptr, "host", &definition, 0, &image)) == STSIMG_E_BUSY)
        sleep(1);
    if (status != 0 || stsimg_write_image(image, nullptr, data.data(), data.size(), 0, &written) != 0)
        return trouble_of_test("writing");
    trouble = wanted;
    const auto begin = std::chrono::steady_clock::now();
    status = stsimg_close_image(image);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    const bool is_timely = seconds.count() < 2.75 * std::atof(std::getenv("STSIMAGE_RADOS_TIMEOUT"));
    const bool is_cut = wanted == Trouble::lost || wanted == Trouble::done;
    std::printf("%s: close gave %d after %.1f s%s%s\n", words_of_trouble(wanted), status, seconds.count(),
                status == 0 ? "" : ": ", status == 0 ? "" : stsimg_last_error());
    std::fflush(stdout);
    // The ends of objects would wait for a cluster that is cut off.
    const bool is_right = trouble == Trouble::none && status == (is_cut ? STSIMG_E_OUTCOME_UNKNOWN : 0);
    _exit(is_right && is_timely ? 0 : 1);
}

}  // namespace

int main(int count, char **words) {
    const std::string_view how = count > 1 ? words[1] : "";
    cutting_command = words + 2;
    if (real_operate() == nullptr) {
        std::fprintf(stderr, "unanswered_close: %s\n", dlerror());
        return 2;
    }
    if (how == "look" && count == 2)
        return look();
    for (const Trouble wanted : {Trouble::none, Trouble::lost, Trouble::done, Trouble::settled})
        if (how == words_of_trouble(wanted) && (count > 2) == (wanted == Trouble::lost || wanted == Trouble::done))
            return write_and_close(wanted);
    std::fprintf(stderr, "unanswered_close: see the head of the source\n");
    return 2;
}
