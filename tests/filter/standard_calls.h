// One sensible call of every function, out of one caller's memory.
#pragma once

#include "tests/filter/filtered.h"

struct StandardCall {
    uint64_t words[8];  // registers, then the stack
};

inline uint64_t word(const void *address) { return reinterpret_cast<uint64_t>(address); }

// Texts and records as a caller leaves them; server: an open handle.
inline void prepare(CallerMemory &memory, void *server) {
    std::memset(static_cast<void *>(&memory), 0x5a, sizeof memory);
    memory.session = {};
    std::strcpy(memory.server_name, "some:host1");
    for (int i = 0; i < 2; ++i)
        std::snprintf(memory.hosts[i].name, sizeof memory.hosts[i].name, "host%d", i + 1);
    memory.lsu.server = static_cast<sts_server_handle_t>(server);
    std::strcpy(memory.lsu.lsu_name, "pool1:volume1");
    std::strcpy(memory.definition.name, "nightly-1");
    std::strcpy(memory.mount_point, "/mnt/point");
    for (size_t i = 0; i < sizeof memory.data; ++i)
        memory.data[i] = static_cast<char>(i);
    memory.out = nullptr;
    memory.count = 77;
    std::strcpy(memory.name, "before");
}

struct OpenHandles {
    void *server = nullptr;
    void *lsu_list = nullptr;
    void *image = nullptr;
    void *image_list = nullptr;
};

inline StandardCall standard_call(unsigned function, CallerMemory &memory, const OpenHandles &open) {
    using namespace filter;
    constexpr uint64_t length = 200;
    constexpr uint64_t offset = 1000;
    switch (function) {
        case fn_stspi_init:
            return {{9, 0x111, word(&memory.registration)}};
        case fn_stspi_init2:
            return {{9, word(&memory.registration2)}};
        case fn_load_process:
            return {{word("/bin/true"), word("")}};
        case fn_stspi_claim:
            return {{word(memory.server_name)}};
        case fn_stspi_open_server:
            return {{word(&memory.session), word(memory.server_name), 1, 2, word(&memory.out)}};
        case fn_stspi_create_server:
            return {{word(&memory.session), word(memory.server_name), 1, 2, word(memory.hosts), 2, word(&memory.out)}};
        case fn_stspi_open_target_server:
            return {{word(open.server), word(memory.server_name), 1, 2, word(&memory.out)}};
        case fn_stspi_get_server_prop:
            return {{word(open.server), word(&memory.server_info)}};
        case fn_stspi_get_server_prop_byname:
            return {{word(&memory.session), word(memory.server_name), word(&memory.server_info)}};
        case fn_stspi_close_server:
            return {{word(open.server)}};
        case fn_stspi_open_lsu_list:
            return {{word(open.server), 1, word(&memory.out)}};
        case fn_stspi_open_dynamic_lsu_list:
            return {{word(&memory.lsu), word(&memory.out)}};
        case fn_stspi_list_lsu:
            return {{word(open.lsu_list), word(memory.name)}};
        case fn_stspi_close_lsu_list:
            return {{word(open.lsu_list)}};
        case fn_stspi_get_lsu_prop_byname:
            return {{word(&memory.lsu), word(&memory.lsu_info)}};
        case fn_stspi_mount_lsu:
            return {{word(&memory.lsu), word(memory.mount_point), 1, 0, word(memory.name)}};
        case fn_stspi_create_image:
        case fn_stspi_open_image:
            return {{word(&memory.lsu), word(&memory.definition), 1, word(&memory.out)}};
        case fn_stspi_delete_image:
            return {{word(&memory.lsu), word(&memory.definition), 1}};
        case fn_stspi_open_image_list:
            return {{word(&memory.lsu), 1, word(&memory.out)}};
        case fn_stspi_get_image_prop_byname:
            return {{word(&memory.lsu), word(&memory.definition), word(&memory.image_info)}};
        case fn_stspi_read_image:
            return {{word(open.image), word(memory.data), length, offset, word(&memory.count)}};
        case fn_stspi_write_image:
            return {{word(open.image), 0, word(memory.data), length, offset, word(&memory.count)}};
        case fn_stspi_get_image_prop:
            return {{word(open.image), word(&memory.image_info)}};
        case fn_stspi_close_image:
            return {{word(open.image)}};
        case fn_stspi_list_image:
            return {{word(open.image_list), word(memory.name)}};
        case fn_stspi_close_image_list:
            return {{word(open.image_list)}};
        case fn_stspi_copy_extent:
            return {{word(open.image), offset, 0x3333, 5, length, 0, word(&memory.count)}};
        case fn_stspi_include_in_image:
            return {{word(open.image), offset, 0x3333, 5, length}};
        default:
            return {{1, 2, 3, 4, 5, 6, 7, 8}};
    }
}

// Makes it, with doubles in the vector registers.
inline int32_t make(const Filtered &filtered, unsigned function, const StandardCall &call) {
    using AnyCall = int32_t(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, double, double, double, double,
                            double, double, double, double, uint64_t, uint64_t);
    const uint64_t *words = call.words;
    return filtered.entry<AnyCall>(filter::function_names[function])(words[0], words[1], words[2], words[3], words[4],
                                                                     words[5], 0.5, 1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5,
                                                                     words[6], words[7]);
}

// Opens one handle of each kind.
inline OpenHandles open_all(const Filtered &filtered, CallerMemory &memory) {
    using namespace filter;
    OpenHandles open;
    prepare(memory, nullptr);
    make(filtered, fn_stspi_open_server, standard_call(fn_stspi_open_server, memory, open));
    open.server = memory.out;
    memory.lsu.server = static_cast<sts_server_handle_t>(open.server);
    make(filtered, fn_stspi_open_lsu_list, standard_call(fn_stspi_open_lsu_list, memory, open));
    open.lsu_list = memory.out;
    make(filtered, fn_stspi_create_image, standard_call(fn_stspi_create_image, memory, open));
    open.image = memory.out;
    make(filtered, fn_stspi_open_image_list, standard_call(fn_stspi_open_image_list, memory, open));
    open.image_list = memory.out;
    prepare(memory, open.server);
    return open;
}
