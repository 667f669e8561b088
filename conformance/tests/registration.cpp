// stspi_init, stspi_init2, stspi_terminate.
#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

sts_entry_point_t *table(const char *name) { return static_cast<sts_entry_point_t *>(plugin().library().symbol(name)); }

void expect_registration(unsigned char pattern, uint64_t version) {
    Watched<sts_registration_t> record(pattern);
    expect_status(plugin().init(version, token(0x111), record.get()), 0);
    record.expect_changed("registration record", [](sts_registration_t &expected) {
        expected.api_version = 9;
        expected.entry_points = table("STSSanDiskEntryPoints");
        put_text(expected.prefix, "Kelvarpool:");
        put_text(expected.label, "Simulation Plugin");
        expected.flag_1 = 1;
        expected.flag_2 = 1;
        expected.version_word_1 = 9;
        expected.version_word_2 = 9;
        expected.version_word_3 = 9;
        expected.byte_flag = 0;
    });
}

}  // namespace

CONFORMANCE_TEST(
    "registration.init.fills-record",
    "stspi_init from version 7 on writes exactly its fields of the registration record and no other byte.") {
    for (const uint64_t version : {7ULL, 8ULL, 9ULL, 10ULL, 0xffffffffffffffffULL})
        for (const int pattern : {0xa5, 0x5a, 0x00, 0xff})
            expect_registration(static_cast<unsigned char>(pattern), version);
}

CONFORMANCE_TEST("registration.init.too-old",
                 "stspi_init refuses every version below 7 and leaves the record and the image library alone.") {
    for (uint64_t version = 0; version <= 6; ++version) {
        for (const unsigned char fill : both_fills) {
            Watched<sts_registration_t> record(fill);
            expect_status(plugin().init(version, nullptr, record.get()), STS_E_VERSION);
            record.expect_untouched("registration record");
        }
    }
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

CONFORMANCE_TEST("registration.init.version-before-null",
                 "stspi_init looks at the version before it looks at the record.") {
    expect_status(plugin().init(6, nullptr, nullptr), STS_E_VERSION);
    expect_status(plugin().init(7, nullptr, nullptr), STS_E_INVALID_PARAMETER);
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

CONFORMANCE_TEST("registration.init.initialises-image-library",
                 "stspi_init initialises the image library once, with version 9 whatever the framework offers.") {
    for (const uint64_t version : {7ULL, 9ULL, 12ULL}) {
        Watched<sts_registration_t> record;
        expect_status(plugin().init(version, nullptr, record.get()), 0);
        expect_number("version given to stsimg_init", take_image_call("stsimg_init").arguments[0], 9);
    }
}

CONFORMANCE_TEST("registration.init.status-of-image-library",
                 "stspi_init returns what stsimg_init returned, with the record filled all the same.") {
    for (const int32_t status : {static_cast<int32_t>(STS_E_VERSION), 1, -1, 77}) {
        images().answer = [status](const ImageCall &) { return status; };
        Watched<sts_registration_t> record;
        expect_status(plugin().init(9, nullptr, record.get()), status);
        expect_number("api_version", record->api_version, 9);
        expect_text("prefix", record->prefix, "Kelvarpool:");
    }
}

CONFORMANCE_TEST("registration.init.record-filled-before-image-library",
                 "The record is complete when stspi_init calls the image library.") {
    Watched<sts_registration_t> record;
    images().answer = [&](const ImageCall &) {
        expect_number("api_version during stsimg_init", record->api_version, 9);
        expect_text("label during stsimg_init", record->label, "Simulation Plugin");
        expect_number("byte_flag during stsimg_init", record->byte_flag, 0);
        return 0;
    };
    expect_status(plugin().init(9, nullptr, record.get()), 0);
}

CONFORMANCE_TEST("registration.init.ten-times", "Registering ten times gives the same answer ten times.") {
    for (int round = 0; round < 10; ++round)
        expect_registration(0x5a, 9);
    expect_number("calls of the image library", take_image_calls().size(), 10);
}

CONFORMANCE_TEST("registration.init2.fills-record",
                 "stspi_init2 from version 9 on writes 9 and the address of the second table.") {
    for (const uint64_t version : {9ULL, 10ULL, 0xffffffffffffffffULL}) {
        Watched<sts_registration2_t> record;
        expect_status(plugin().init2(version, record.get()), 0);
        record.expect_changed("second registration record", [](sts_registration2_t &expected) {
            expected.api_version = 9;
            expected.entry_points = table("STSSANDiskEntryPoints2");
        });
    }
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

CONFORMANCE_TEST("registration.init2.too-old",
                 "stspi_init2 refuses every version below 9 and leaves the record alone.") {
    for (uint64_t version = 0; version <= 8; ++version) {
        for (const unsigned char fill : both_fills) {
            Watched<sts_registration2_t> record(fill);
            expect_status(plugin().init2(version, record.get()), STS_E_VERSION);
            record.expect_untouched("second registration record");
        }
    }
}

CONFORMANCE_TEST("registration.init2.version-before-null",
                 "stspi_init2 looks at the version before it looks at the record.") {
    expect_status(plugin().init2(8, nullptr), STS_E_VERSION);
    expect_status(plugin().init2(9, nullptr), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("registration.terminate.always-not-supported",
                 "stspi_terminate calls stsimg_terminate once and says STS_E_NOT_SUPPORTED whatever came of it.") {
    for (const int32_t status : {0, 5, static_cast<int32_t>(STS_E_SYSTEM)}) {
        images().answer = [status](const ImageCall &) { return status; };
        expect_status(plugin().terminate(), STS_E_NOT_SUPPORTED);
        take_image_call("stsimg_terminate");
    }
}

CONFORMANCE_TEST("registration.terminate.repeatable",
                 "stspi_terminate may be called ten times, also without stspi_init.") {
    for (int round = 0; round < 10; ++round)
        expect_status(plugin().terminate(), STS_E_NOT_SUPPORTED);
    expect_number("calls of the image library", take_image_calls().size(), 10);
}

CONFORMANCE_TEST("registration.load.silent", "Loading a plug-in calls nothing and prints nothing.") {
    expect_number("calls of the image library", take_image_calls().size(), 0);
    expect_text("standard output", take_output(), "");
}

}  // namespace conformance
