#include "tests/filter/recording_plugin.h"

#include <cstdio>
#include <cstring>

#include "filter/rules/function_number.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

Recording the_recording = {};

template <class Type>
Type *at(uint64_t address) {
    return reinterpret_cast<Type *>(address);  // NOLINT(performance-no-int-to-ptr)
}

void store_handle(uint64_t place, unsigned function) {
    if (place != 0)
        *at<uint64_t>(place) = 0x510000 + function * 0x100;
}

int32_t give_entry(uint64_t place) {
    if (the_recording.given >= the_recording.entries)
        return STS_E_NO_MORE_ENTRIES;
    std::snprintf(at<char>(place), 32, "entry%d", ++the_recording.given);
    return 0;
}

void fill(uint64_t place, size_t size) {
    for (size_t i = 0; i < size; ++i)
        at<unsigned char>(place)[i] = static_cast<unsigned char>('A' + i % 23);
}

// Fills what the function fills, when it succeeds.
int32_t answer(const NotedCall &call) {
    const uint64_t *registers = call.registers;
    const int32_t status = the_recording.statuses[call.function];
    if (status != 0)
        return status;
    switch (call.function) {
        case filter::fn_stspi_init: {
            auto *record = at<sts_registration_t>(registers[2]);
            record->api_version = 9;
            record->entry_points = STSSanDiskEntryPoints;
            std::strcpy(record->label, "Recording");
            break;
        }
        case filter::fn_stspi_init2:
            *at<sts_registration2_t>(registers[1]) = {9, STSSANDiskEntryPoints2};
            break;
        case filter::fn_stspi_open_server:
        case filter::fn_stspi_open_target_server:
            store_handle(registers[4], call.function);
            break;
        case filter::fn_stspi_create_server:
            store_handle(call.stack[0], call.function);
            break;
        case filter::fn_stspi_open_lsu_list:
        case filter::fn_stspi_open_image_list:
            store_handle(registers[2], call.function);
            break;
        case filter::fn_stspi_open_dynamic_lsu_list:
            store_handle(registers[1], call.function);
            break;
        case filter::fn_stspi_create_image:
        case filter::fn_stspi_open_image:
            store_handle(registers[3], call.function);
            break;
        case filter::fn_stspi_list_lsu:
        case filter::fn_stspi_list_image:
            return give_entry(registers[1]);
        case filter::fn_stspi_get_lsu_prop_byname:
            fill(registers[1], sizeof(sts_lsu_info_v9_t));
            break;
        case filter::fn_stspi_get_server_prop:
            fill(registers[1], sizeof(sts_server_info_t));
            break;
        case filter::fn_stspi_get_server_prop_byname:
            fill(registers[2], sizeof(sts_server_info_t));
            break;
        case filter::fn_stspi_get_image_prop:
            fill(registers[1], sizeof(sts_image_info));
            break;
        case filter::fn_stspi_get_image_prop_byname:
            fill(registers[2], sizeof(sts_image_info));
            break;
        case filter::fn_stspi_mount_lsu:
            std::strcpy(at<char>(registers[4]), "mounted");
            break;
        case filter::fn_stspi_read_image:
            fill(registers[1], registers[2]);
            *at<uint64_t>(registers[4]) = registers[2];
            break;
        case filter::fn_stspi_write_image:
            *at<uint64_t>(registers[5]) = registers[3];
            break;
        case filter::fn_stspi_copy_extent:
            *at<uint64_t>(call.stack[0]) = registers[4];
            break;
        default:
            break;
    }
    return 0;
}

int32_t note(const NotedCall &call) {
    // Threads call at the same time; each notes its call in a place of its own.
    NotedCall &noted =
        the_recording.calls[__atomic_fetch_add(&the_recording.count, 1, __ATOMIC_RELAXED) % recorded_most];
    noted = call;
    if (call.function == filter::fn_stspi_write_image && call.registers[2] > 0xffff)
        std::memcpy(noted.written, at<char>(call.registers[2]),
                    call.registers[3] < sizeof noted.written ? call.registers[3] : sizeof noted.written);
    if (the_recording.on_call != nullptr)
        the_recording.on_call(noted);
    return answer(noted);
}

}  // namespace

Recording *recording() { return &the_recording; }

// Every register and eight words of the stack, whatever the function's real arguments are.
#define RECORDED(name)                                                                                                 \
    extern "C" int32_t recorded_##name(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f,         \
                                       double g, double h, double i, double j, double k, double l, double m, double n, \
                                       uint64_t o, uint64_t p, uint64_t q, uint64_t r, uint64_t s, uint64_t t,         \
                                       uint64_t u, uint64_t v) __asm__(#name);                                         \
    int32_t recorded_##name(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f, double g,          \
                            double h, double i, double j, double k, double l, double m, double n, uint64_t o,          \
                            uint64_t p, uint64_t q, uint64_t r, uint64_t s, uint64_t t, uint64_t u, uint64_t v) {      \
        return note({filter::fn_##name, {a, b, c, d, e, f}, {g, h, i, j, k, l, m, n}, {o, p, q, r, s, t, u, v}, ""});  \
    }
FILTER_EXPORTED_FUNCTIONS(RECORDED)
