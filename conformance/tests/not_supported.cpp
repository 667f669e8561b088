// The entry points that do nothing, and the control call.
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

constexpr std::array<uint64_t, 6> garbage = {0x111, 0xdeadbeefdeadbeef, 0xffffffffffffffff, 0x8000000000000000, 1,
                                             0x222};

void expect_nothing_done(const std::string &entry_point, int32_t status) {
    for (const auto &registers : {garbage, std::array<uint64_t, 6>{}})
        for (int round = 0; round < 10; ++round)
            expect_status(plugin().raw(entry_point, registers), status);
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

std::string id_of(const std::string &entry_point) {
    std::string id = entry_point.substr(std::string("stspi_").size());
    for (char &character : id)
        if (character == '_')
            character = '-';
    return id;
}

const TestFamily family([] {
    for (const std::string &name : not_supported_entry_points())
        register_test({"not-supported." + id_of(name),
                       name + " looks at none of its arguments, does nothing and says STS_E_NOT_SUPPORTED.",
                       [name] { expect_nothing_done(name, STS_E_NOT_SUPPORTED); }, false});
});

}  // namespace

CONFORMANCE_TEST("not-supported.unmount-lsu",
                 "stspi_unmount_lsu returns 0 for any arguments, also nulls, and does nothing.") {
    expect_nothing_done("stspi_unmount_lsu", 0);
    expect_status(plugin().unmount_lsu(), 0);
}

CONFORMANCE_TEST("ioctl.accepted", "Commands 1 to 7 and 9 to 12 are acknowledged with 0.") {
    for (const int32_t command : {1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12})
        for (int round = 0; round < 10; ++round)
            expect_status(plugin().ioctl(nullptr, command), 0);
}

CONFORMANCE_TEST("ioctl.refused", "Every other command gives STS_E_NOT_SUPPORTED.") {
    for (const int32_t command : {0,  8,  13,  14,        31,        32,    33,     40,      64,        65,        1000,
                                  -1, -7, -32, INT32_MAX, INT32_MIN, 0x101, 0x8001, 0x10001, 0x1000001, 0x0c00000c})
        expect_status(plugin().ioctl(nullptr, command), STS_E_NOT_SUPPORTED);
}

CONFORMANCE_TEST("ioctl.arguments-unread", "The handle and everything behind the command is not looked at.") {
    for (const uint64_t command : {1ULL, 12ULL})
        expect_status(plugin().raw("stspi_ioctl", {0x111, command, 0x111, 0x222, 0x333, 0x444}), 0);
    expect_status(plugin().raw("stspi_ioctl", {0x111, 8, 0x111, 0x222, 0x333, 0x444}), STS_E_NOT_SUPPORTED);
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

CONFORMANCE_TEST("ioctl.command-is-32-bit", "Only the low 32 bits of the command's register count.") {
    expect_status(plugin().raw("stspi_ioctl", {0, 0xffffffff00000001, 0, 0, 0, 0}), 0);
    expect_status(plugin().raw("stspi_ioctl", {0, 0x0000000100000008, 0, 0, 0, 0}), STS_E_NOT_SUPPORTED);
}

}  // namespace conformance
