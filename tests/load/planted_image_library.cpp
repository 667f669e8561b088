// An image library with a defect: it stands in front of the substitute library, hands every call on, and does one thing
// wrong, which PLANTED_DEFECT in the environment names. STSIMAGE_BEHIND is the path of the library behind it.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "stspi/stsimg.h"

namespace {

void *behind(const char *name) {
    static void *library = dlopen(std::getenv("STSIMAGE_BEHIND"), RTLD_NOW | RTLD_LOCAL);
    void *function = library == nullptr ? nullptr : dlsym(library, name);
    if (function == nullptr) {
        std::fprintf(stderr, "planted image library: %s\n", dlerror());
        std::abort();
    }
    return function;
}

// The library's own function behind the one that calls this.
#define BEHIND(name)                                                                   \
    ([] {                                                                              \
        static const auto function = reinterpret_cast<decltype(&name)>(behind(#name)); \
        return function;                                                               \
    }())

const std::string &defect() {
    static const std::string name = std::getenv("PLANTED_DEFECT") == nullptr ? "" : std::getenv("PLANTED_DEFECT");
    return name;
}

bool is(const char *name) { return defect() == name; }

// True for every n-th call of those that ask.
bool every(uint64_t n) {
    static std::atomic<uint64_t> calls{0};
    return calls.fetch_add(1) % n == n - 1;
}

struct Open {
    std::string lsu;
    sts_image_definition_t definition = {};
    bool writes = false;
    std::vector<std::pair<uint64_t, std::vector<char>>> written;  // of "mixed-generations"
};
std::mutex open_mutex;
std::map<sts_image_handle_t, Open> open_images;

Open *open_image(sts_image_handle_t image) {
    const std::lock_guard<std::mutex> alone(open_mutex);
    const auto found = open_images.find(image);
    return found == open_images.end() ? nullptr : &found->second;
}

void note(sts_image_handle_t image, const char *lsu, const sts_image_definition_t *definition, bool writes) {
    const std::lock_guard<std::mutex> alone(open_mutex);
    open_images[image] = {lsu, *definition, writes, {}};
}

Open forget(sts_image_handle_t image) {
    const std::lock_guard<std::mutex> alone(open_mutex);
    Open open = open_images[image];
    open_images.erase(image);
    return open;
}

void leak_thread() {
    std::thread([] {
        for (;;)
            pause();
    }).detach();
}

// Two locks, taken in either order.
std::mutex first_lock;
std::mutex second_lock;
void lock_both(bool other_way) {
    const std::lock_guard<std::mutex> one(other_way ? second_lock : first_lock);
    usleep(1000);
    const std::lock_guard<std::mutex> two(other_way ? first_lock : second_lock);
}

// A copy of an image under another name.
void copy_image(const std::string &lsu, const sts_image_definition_t &from, const sts_image_definition_t &to) {
    sts_image_handle_t source = nullptr;
    sts_image_handle_t target = nullptr;
    if (BEHIND(stsimg_open_image)(lsu.c_str(), nullptr, "", &from, STSIMG_MODE_READ, &source) != 0)
        return;
    if (BEHIND(stsimg_create_image)(lsu.c_str(), nullptr, "", &to, 0, &target) == 0) {
        std::vector<char> bytes(1 << 20);
        uint64_t got = 0;
        uint64_t written = 0;
        for (uint64_t offset = 0;
             BEHIND(stsimg_read_image)(source, bytes.data(), bytes.size(), offset, &got) == 0 && got > 0; offset += got)
            BEHIND(stsimg_write_image)(target, nullptr, bytes.data(), got, offset, &written);
        BEHIND(stsimg_close_image)(target);
    }
    BEHIND(stsimg_close_image)(source);
}

sts_image_definition_t saved_name(const sts_image_definition_t &definition) {
    sts_image_definition_t saved = definition;
    std::snprintf(saved.name, sizeof saved.name, "saved-%.1000s", definition.name);
    return saved;
}

std::string latest_name;

}  // namespace

extern "C" {

int32_t stsimg_init(uint64_t version) { return BEHIND(stsimg_init)(version); }
int32_t stsimg_terminate(void) { return BEHIND(stsimg_terminate)(); }
const char *stsimg_last_error(void) { return BEHIND(stsimg_last_error)(); }

int32_t stsimg_create_image(const char *lsu, const void *reserved, const char *server,
                            const sts_image_definition_t *definition, uint32_t flags, sts_image_handle_t *out) {
    if (is("hang") && every(20))
        for (;;)
            pause();
    if (is("crash") && every(20))
        std::abort();
    if (is("deadlock"))
        lock_both(every(2));
    sts_image_definition_t wrong = *definition;
    if (is("wrong-image")) {
        // Under the name of the one before.
        const std::lock_guard<std::mutex> alone(open_mutex);
        if (!latest_name.empty() && every(5))
            std::snprintf(wrong.name, sizeof wrong.name, "%s", latest_name.c_str());
        latest_name = definition->name;
    }
    const int32_t status = BEHIND(stsimg_create_image)(lsu, reserved, server, &wrong, flags, out);
    if (status == 0)
        note(*out, lsu, definition, true);
    if (status == 0 && is("visible-early")) {
        // A file of that name appears with the creation.
        sts_image_info_t info = {};
        sts_image_handle_t other = nullptr;
        if (BEHIND(stsimg_get_image_prop_byname)(lsu, nullptr, server, definition, &info) != 0) {
            BEHIND(stsimg_close_image)(*out);
            if (BEHIND(stsimg_create_image)(lsu, reserved, server, definition, flags, &other) == 0)
                *out = other;
            note(*out, lsu, definition, true);
        }
    }
    return status;
}

int32_t stsimg_open_image(const char *lsu, const void *reserved, const char *server,
                          const sts_image_definition_t *definition, uint32_t mode, sts_image_handle_t *out) {
    sts_image_definition_t name = *definition;
    if (is("stale-read") && every(5)) {
        // What was there before it was replaced.
        const sts_image_definition_t saved = saved_name(*definition);
        if (BEHIND(stsimg_open_image)(lsu, reserved, server, &saved, mode, out) == 0) {
            note(*out, lsu, definition, false);
            return 0;
        }
    }
    const int32_t status = BEHIND(stsimg_open_image)(lsu, reserved, server, &name, mode, out);
    if (status == 0)
        note(*out, lsu, definition, mode != STSIMG_MODE_READ);
    return status;
}

int32_t stsimg_delete_image(const char *lsu, const void *reserved, const char *server,
                            const sts_image_definition_t *definition, uint32_t flags) {
    if (is("delete-lies") && every(5))
        return 0;
    if (is("comes-back") && every(3)) {
        const sts_image_definition_t saved = saved_name(*definition);
        copy_image(lsu, *definition, saved);
        const int32_t status = BEHIND(stsimg_delete_image)(lsu, reserved, server, definition, flags);
        // Some time later somebody puts an old directory entry back.
        std::thread([lsu = std::string(lsu), saved, name = *definition] {
            usleep(20000);
            copy_image(lsu, saved, name);
        }).detach();
        return status;
    }
    return BEHIND(stsimg_delete_image)(lsu, reserved, server, definition, flags);
}

int32_t stsimg_get_image_prop_byname(const char *lsu, const void *reserved, const char *server,
                                     const sts_image_definition_t *definition, sts_image_info_t *out) {
    const int32_t status = BEHIND(stsimg_get_image_prop_byname)(lsu, reserved, server, definition, out);
    if (status == 0 && is("wrong-size") && every(5))
        out->size_bytes -= 1;
    return status;
}

int32_t stsimg_get_image_prop(sts_image_handle_t image, sts_image_info_t *out) {
    return BEHIND(stsimg_get_image_prop)(image, out);
}

int32_t stsimg_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                          uint64_t *out_read) {
    int32_t status = 0;
    if (is("misplaced-read") && offset >= 4096 && length >= 4096 && every(5))
        return BEHIND(stsimg_read_image)(image, buffer, length, offset - 4096, out_read);
    if (is("short-read-told-full") && length > 4096 && every(5)) {
        status = BEHIND(stsimg_read_image)(image, buffer, length - 2048, offset, out_read);
        if (status == 0 && *out_read == length - 2048)
            *out_read = length;
        return status;
    }
    status = BEHIND(stsimg_read_image)(image, buffer, length, offset, out_read);
    auto *bytes = static_cast<char *>(buffer);
    if (status == 0 && is("flipped-bit") && *out_read > 0 && every(20))
        bytes[*out_read / 2] = static_cast<char>(bytes[*out_read / 2] ^ 4);
    if (status == 0 && is("short-read") && *out_read > 1 && every(5))
        *out_read /= 2;
    return status;
}

int32_t stsimg_write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                           uint64_t offset, uint64_t *out_written) {
    if (is("lost-write") && every(10)) {
        *out_written = length;
        return 0;
    }
    if (is("torn-write") && length >= 4096 && every(5)) {
        const int32_t status = BEHIND(stsimg_write_image)(image, reserved, buffer, length, offset, out_written);
        const char zeros[1024] = {};
        uint64_t written = 0;
        if (status == 0)
            BEHIND(stsimg_write_image)(image, reserved, zeros, sizeof zeros, offset + 1024, &written);
        return status;
    }
    if (is("short-write") && length >= 8192 && every(10)) {
        // Whole blocks: half of one would be a torn write.
        const uint64_t half = length / 8192 * 4096;
        const int32_t status = BEHIND(stsimg_write_image)(image, reserved, buffer, half, offset, out_written);
        *out_written = length;
        return status;
    }
    if (is("mixed-generations") && offset > 0)
        if (Open *open = open_image(image); open != nullptr && every(2)) {
            // A part of what was there before stays.
            sts_image_handle_t old = nullptr;
            if (BEHIND(stsimg_open_image)(open->lsu.c_str(), nullptr, "", &open->definition, STSIMG_MODE_READ, &old) ==
                0) {
                std::vector<char> bytes(length);
                uint64_t got = 0;
                const int32_t read = BEHIND(stsimg_read_image)(old, bytes.data(), length, offset, &got);
                BEHIND(stsimg_close_image)(old);
                if (read == 0 && got == length)
                    return BEHIND(stsimg_write_image)(image, reserved, bytes.data(), length, offset, out_written);
            }
        }
    return BEHIND(stsimg_write_image)(image, reserved, buffer, length, offset, out_written);
}

int32_t stsimg_close_image(sts_image_handle_t image) {
    const Open open = forget(image);
    if (is("leak-descriptor") && every(5) && dup(STDERR_FILENO) < 0)
        return STS_E_SYSTEM;
    if (is("leak-memory") && every(2)) {
        auto *lost = static_cast<char *>(std::malloc(20000));
        if (lost != nullptr)
            std::memset(lost, 1, 20000);
    }
    if (is("leak-thread") && every(50))
        leak_thread();
    if (open.writes && is("close-lies") && every(5)) {
        // The image is given up when the library is shut down.
        return 0;
    }
    if (open.writes && is("close-fails-and-loses") && every(5)) {
        BEHIND(stsimg_close_image)(image);
        BEHIND(stsimg_delete_image)(open.lsu.c_str(), nullptr, "", &open.definition, 0);
        return STS_E_SYSTEM;
    }
    if (open.writes && is("stale-read"))
        copy_image(open.lsu, open.definition, saved_name(open.definition));
    return BEHIND(stsimg_close_image)(image);
}

int32_t stsimg_open_image_list(const char *lsu, const void *reserved, const char *server, uint32_t flags,
                               sts_image_list_handle_t *out) {
    return BEHIND(stsimg_open_image_list)(lsu, reserved, server, flags, out);
}

int32_t stsimg_list_image(sts_image_list_handle_t list, sts_image_definition_t *out) {
    static thread_local sts_image_definition_t before = {};
    if (is("list-repeats") && before.name[0] != '\0' && every(8)) {
        *out = before;
        return 0;
    }
    int32_t status = BEHIND(stsimg_list_image)(list, out);
    if (status == 0 && is("list-skips") && every(8))
        status = BEHIND(stsimg_list_image)(list, out);
    before = *out;
    if (status != 0)
        before.name[0] = '\0';
    return status;
}

int32_t stsimg_close_image_list(sts_image_list_handle_t list) { return BEHIND(stsimg_close_image_list)(list); }
}
