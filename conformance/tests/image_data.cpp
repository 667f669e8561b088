// The pass-through image calls, stspi_copy_extent and stspi_include_in_image.
#include <algorithm>
#include <new>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/tests/part_of_id.h"
#include "conformance/watch/address_space.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

constexpr uint64_t target = 0x1001;
constexpr uint64_t source = 0x2002;
constexpr uint64_t target_offset = 0x0123456789abcdef;
constexpr uint64_t source_offset = 0xfedcba9876543210;

void passes_through(const std::string &entry_point) {
    const std::string library_function = "stsimg" + entry_point.substr(5);
    const std::array<uint64_t, 6> distinct = {0x1111111111111111, 0x2222222222222222, 0x3333333333333333,
                                              0x4444444444444444, 0x5555555555555555, 0x6666666666666666};
    for (const auto &registers :
         {distinct, std::array<uint64_t, 6>{}, std::array<uint64_t, 6>{~0ULL, 1, ~0ULL, 2, ~0ULL, 3}})
        for (const int32_t status : {0, -1, 77, static_cast<int32_t>(STS_E_NO_MORE_ENTRIES)}) {
            images().answer = [status](const ImageCall &) { return status; };
            expect_status(plugin().raw(entry_point, registers), status);
            const ImageCall call = take_image_call(library_function);
            for (size_t i = 0; i < registers.size(); ++i)
                expect_number(fmt::format("argument register {}", i + 1), call.arguments[i], registers[i]);
        }
}

const TestFamily pass_through([] {
    for (const std::string name : {"stspi_close_image", "stspi_close_image_list", "stspi_get_image_prop",
                                   "stspi_list_image", "stspi_read_image", "stspi_write_image"})
        register_test(
            {"pass-through." + part_of_id(name),
             name + " hands all six argument registers to the image library and returns its status, checking nothing.",
             [name] { passes_through(name); }, false});
});

// The two calls that copy, as one.
struct Copy {
    const char *id;
    bool has_count;

    int32_t operator()(uint64_t to, uint64_t from, uint64_t length, uint64_t *count) const {
        if (has_count)
            return plugin().copy_extent(token(to), target_offset, token(from), source_offset, length, token(0x111),
                                        count);
        return plugin().include_in_image(token(to), target_offset, token(from), source_offset, length);
    }
};

// A library that reads what there is and takes what it gets.
struct Extents {
    uint64_t to_read = 0;
    uint64_t to_write = 0;
    int32_t read_status = 0;
    int32_t write_status = 0;
    uint64_t filled = 0;
    std::string seen_by_write;

    int32_t answer(const ImageCall &call) {
        if (call.function == "stsimg_read_image") {
            auto *buffer = static_cast<char *>(token(call.arguments[1]));
            filled = std::min(to_read, call.arguments[2]);
            for (uint64_t i = 0; i < filled; ++i)
                buffer[i] = static_cast<char>('a' + i % 26);
            *static_cast<uint64_t *>(token(call.arguments[4])) = to_read;
            return read_status;
        }
        seen_by_write.assign(static_cast<const char *>(token(call.arguments[2])), std::min(call.arguments[3], filled));
        *static_cast<uint64_t *>(token(call.arguments[5])) = to_write;
        return write_status;
    }
    void install() {
        images().answer = [this](const ImageCall &call) { return answer(call); };
    }
};

void expect_read(const ImageCall &read, uint64_t from, uint64_t length) {
    expect_text("first call of the image library", read.function, "stsimg_read_image");
    expect_number("image read", read.arguments[0], from);
    expect_number("length read", read.arguments[2], length);
    expect_number("offset read", read.arguments[3], source_offset);
}

void copies(const Copy &copy, uint64_t length, uint64_t read, uint64_t written) {
    Extents extents;
    extents.to_read = read;
    extents.to_write = written;
    extents.install();
    Watched<uint64_t> count;
    expect_status(copy(target, source, length, count.get()), 0);
    if (copy.has_count)
        count.expect_changed("count", [&](uint64_t &expected) { expected = written; });
    else
        count.expect_untouched("count");
    const auto calls = take_image_calls();
    require_true(calls.size() == 2, "calls of the image library", "one read and one write",
                 std::to_string(calls.size()));
    expect_read(calls[0], source, length);
    const auto &write = calls[1].arguments;
    expect_text("second call of the image library", calls[1].function, "stsimg_write_image");
    expect_number("image written", write[0], target);
    expect_number("second argument of the write", write[1], 0);
    expect_number("buffer written", write[2], calls[0].arguments[1]);
    expect_number("length written", write[3], read);
    expect_number("offset written", write[4], target_offset);
    std::string data;
    for (uint64_t i = 0; i < read && i < length; ++i)
        data += static_cast<char>('a' + i % 26);
    expect_text("data written", extents.seen_by_write, data);
}

void whole(const Copy &copy) {
    for (const uint64_t length : {1ULL, 8ULL, 4096ULL, 1048577ULL})
        copies(copy, length, length, length);
}

void short_read(const Copy &copy) { copies(copy, 1000, 10, 10); }
void short_write(const Copy &copy) { copies(copy, 1000, 1000, 7); }

void nothing_read(const Copy &copy) {
    copies(copy, 1000, 0, 0);
    copies(copy, 0, 0, 0);
    copies(copy, 0, 5, 5);
}

void read_fails(const Copy &copy) {
    for (const int32_t status : {1, -1, static_cast<int32_t>(STS_E_NOT_FOUND)}) {
        Extents extents;
        extents.to_read = 4;
        extents.read_status = status;
        extents.install();
        Watched<uint64_t> count;
        expect_status(copy(target, source, 8, count.get()), status);
        count.expect_untouched("count");
        expect_read(take_image_call("stsimg_read_image"), source, 8);
    }
}

void write_fails(const Copy &copy) {
    for (const int32_t status : {1, -1, static_cast<int32_t>(STS_E_NOT_FOUND)}) {
        Extents extents;
        extents.to_read = 8;
        extents.to_write = 3;
        extents.write_status = status;
        extents.install();
        uint64_t count = 99;
        expect_status(copy(target, source, 8, &count), status);
        expect_number("count", count, copy.has_count ? 3 : 99);
        expect_number("calls of the image library", take_image_calls().size(), 2);
    }
}

void null_target(const Copy &copy) {
    Watched<uint64_t> count;
    expect_status(copy(0, source, 8, count.get()), STS_E_INVALID_PARAMETER);
    count.expect_untouched("count");
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

void null_source(const Copy &copy) {
    Extents extents;
    extents.read_status = STS_E_INVALID_PARAMETER;
    extents.install();
    uint64_t count = 99;
    expect_status(copy(target, 0, 8, &count), STS_E_INVALID_PARAMETER);
    expect_read(take_image_call("stsimg_read_image"), 0, 8);
}

void length_beyond_32_bits(const Copy &copy) {
    constexpr uint64_t length = 0x100000010;
    need_address_space(length + (1 << 20));
    copies(copy, length, 16, 16);
}

void negative_length(const Copy &copy) {
    for (const uint64_t length :
         {0x80000000ULL, 0xffffffffULL, 0xffffffffffffffffULL, 0x1ffffffffULL, 0x180000000ULL}) {
        Watched<uint64_t> count;
        try {
            expect_status(copy(target, source, length, count.get()), STS_E_INVALID_PARAMETER);
        } catch (const std::bad_alloc &) {
            warn("a buffer of a negative size", status_text(STS_E_INVALID_PARAMETER), "std::bad_alloc");
        }
        count.expect_untouched("count");
    }
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

void ten_times(const Copy &copy) {
    for (int round = 0; round < 10; ++round)
        copies(copy, 100, 100, 100);
}

constexpr Copy both[] = {{"copy-extent", true}, {"include-in-image", false}};

const TestFamily copying([] {
    for (const Copy &copy : both) {
        const std::string call = copy.has_count ? "stspi_copy_extent" : "stspi_include_in_image";
        const auto add = [&](const char *id, const std::string &demand, void (*body)(const Copy &)) {
            register_test({fmt::format("{}.{}", copy.id, id), demand, [body, &copy] { body(copy); }, false});
        };
        add("one-read-one-write", call + " moves the whole extent with one read and one write.", whole);
        add("short-read", call + " writes what a short read gave, and only that.", short_read);
        add("short-write", call + " tells what was written, without a second try.", short_write);
        add("nothing-read",
            call + " writes nothing read as nothing, and hands a length of 0 on; the write gets the count of the read.",
            nothing_read);
        add("read-fails", call + " returns the status of a failed read, writes nothing and sets no count.", read_fails);
        add("write-fails", call + " returns the status of a failed write; the count is set all the same.", write_fails);
        add("null-target", call + " refuses a null target with STS_E_INVALID_PARAMETER.", null_target);
        add("null-source", call + " hands a null source on to the read.", null_source);
        add("length-beyond-32-bits", call + " hands the length on as it is; only its low 32 bits must not be negative.",
            length_beyond_32_bits);
        add("negative-length",
            call + " refuses a length whose low 32 bits are negative, by status or std::bad_alloc, without a read.",
            negative_length);
        add("ten-times", call + " does the same ten times.", ten_times);
    }
});

}  // namespace

CONFORMANCE_TEST("copy-extent.null-count", "stspi_copy_extent refuses a null count with STS_E_INVALID_PARAMETER.") {
    expect_status(plugin().copy_extent(token(target), 0, token(source), 0, 8, nullptr, nullptr),
                  STS_E_INVALID_PARAMETER);
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

CONFORMANCE_TEST("copy-extent.large", "An extent of 64 MiB moves in one piece.") {
    copies(both[0], 64ULL << 20, 26, 26);
}

}  // namespace conformance
