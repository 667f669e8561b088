#include <gmock/gmock.h>

#include <cstring>
#include <set>

#include "stspi/stspi.h"
#include "tests/support/image_library_double.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Registration : public testing::Test {
protected:
    Registration() {
        std::memset(&m_first, 0x5a, sizeof m_first);
        std::memset(&m_second, 0x5a, sizeof m_second);
    }
    ImageLibraryDouble m_library;
    sts_registration_t m_first;
    sts_registration2_t m_second;
};

TEST_F(Registration, OldVersionIsRefusedWithTheRecordUntouched) {
    const sts_registration_t before = m_first;
    for (const uint64_t version : {0U, 1U, 6U})
        EXPECT_EQ(stspi_init(version, nullptr, &m_first), STS_E_VERSION) << version;
    EXPECT_EQ(std::memcmp(&m_first, &before, sizeof before), 0);
    EXPECT_THAT(m_library.calls(), IsEmpty());
}

TEST_F(Registration, RecordIsFilledAndTheRestStays) {
    sts_registration_t expected = m_first;
    EXPECT_EQ(stspi_init(7, nullptr, &m_first), 0);
    expected.api_version = 9;
    expected.entry_points = STSSanDiskEntryPoints;
    std::strcpy(expected.prefix, "Kelvarpool:");
    std::strcpy(expected.label, "Simulation Plugin");
    expected.flag_1 = 1;
    expected.flag_2 = 1;
    expected.version_word_1 = 9;
    expected.version_word_2 = 9;
    expected.version_word_3 = 9;
    expected.byte_flag = 0;
    EXPECT_EQ(std::memcmp(&m_first, &expected, sizeof expected), 0);
}

TEST_F(Registration, StatusIsTheImageLibrarys) {
    m_library.answer_with(4711);
    EXPECT_EQ(stspi_init(9, nullptr, &m_first), 4711);
    EXPECT_EQ(m_first.api_version, 9U);
    ASSERT_EQ(m_library.calls().size(), 1U);
    EXPECT_EQ(m_library.calls()[0].function, "stsimg_init");
    EXPECT_EQ(m_library.calls()[0].arguments[0], 9U);
}

TEST_F(Registration, ImageLibraryIsInitialisedOnEveryRegistration) {
    EXPECT_EQ(stspi_init(7, nullptr, &m_first), 0);
    EXPECT_EQ(stspi_init(~uint64_t{0}, &m_first, &m_first), 0);
    EXPECT_EQ(m_library.calls().size(), 2U);
}

TEST_F(Registration, NullRecordIsInvalid) {
    EXPECT_EQ(stspi_init(7, nullptr, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_init(6, nullptr, nullptr), STS_E_VERSION);
    EXPECT_EQ(stspi_init2(9, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_init2(8, nullptr), STS_E_VERSION);
    EXPECT_THAT(m_library.calls(), IsEmpty());
}

TEST_F(Registration, SecondTableNeedsVersionNine) {
    const sts_registration2_t before = m_second;
    for (const uint64_t version : {0U, 7U, 8U})
        EXPECT_EQ(stspi_init2(version, &m_second), STS_E_VERSION) << version;
    EXPECT_EQ(std::memcmp(&m_second, &before, sizeof before), 0);
    EXPECT_EQ(stspi_init2(9, &m_second), 0);
    EXPECT_EQ(m_second.api_version, 9U);
    EXPECT_EQ(m_second.entry_points, STSSANDiskEntryPoints2);
    EXPECT_THAT(m_library.calls(), IsEmpty());
}

TEST_F(Registration, TextsFitTheirFields) {
    EXPECT_EQ(stspi_init(7, nullptr, &m_first), 0);
    EXPECT_EQ(std::strlen(m_first.prefix), 11U);
    EXPECT_EQ(std::strlen(m_first.label), 17U);
    EXPECT_LT(std::strlen(m_first.label), sizeof m_first.label);
}

TEST_F(Registration, TerminationReportsNotSupportedWhateverTheLibrarySays) {
    for (const int32_t status : {0, 4711}) {
        m_library.answer_with(status);
        EXPECT_EQ(stspi_terminate(), STS_E_NOT_SUPPORTED);
    }
    ASSERT_EQ(m_library.calls().size(), 2U);
    EXPECT_EQ(m_library.calls()[0].function, "stsimg_terminate");
}

// ---- tables ------------------------------------------------------------------------------------------------------

TEST(EntryPointTables, FirstTableHasItsFiveNullSlots) {
    const std::set<int> null_slots{15, 37, 38, 39, 40};
    for (int slot = 0; slot < STS_ENTRY_POINT_COUNT; ++slot)
        EXPECT_EQ(STSSanDiskEntryPoints[slot] == nullptr, null_slots.count(slot) != 0) << slot;
}

TEST(EntryPointTables, SecondTableHasNone) {
    for (int slot = 0; slot < STS_ENTRY_POINT_COUNT2; ++slot)
        EXPECT_NE(STSSANDiskEntryPoints2[slot], nullptr) << slot;
}

TEST(EntryPointTables, NoEntryPointStandsTwice) {
    std::set<sts_entry_point_t> seen;
    for (const sts_entry_point_t slot : STSSanDiskEntryPoints)
        EXPECT_TRUE(slot == nullptr || seen.insert(slot).second);
    for (const sts_entry_point_t slot : STSSANDiskEntryPoints2)
        EXPECT_TRUE(seen.insert(slot).second);
    EXPECT_EQ(seen.size(), 36U + 22U);
}

// ---- ioctl and stubs ---------------------------------------------------------------------------------------------

TEST(Ioctl, ElevenCommandsAreAcknowledged) {
    for (int32_t command = -3; command <= 40; ++command) {
        const bool accepted = command >= 1 && command <= 12 && command != 8;
        EXPECT_EQ(stspi_ioctl(nullptr, command), accepted ? 0 : STS_E_NOT_SUPPORTED) << command;
    }
    EXPECT_EQ(stspi_ioctl(nullptr, INT32_MIN), STS_E_NOT_SUPPORTED);
    EXPECT_EQ(stspi_ioctl(nullptr, INT32_MAX), STS_E_NOT_SUPPORTED);
}

TEST(Ioctl, HandleAndFurtherArgumentsAreIgnored) {
    int any = 0;
    EXPECT_EQ(stspi_ioctl(&any, 9, &any, 17L, "x"), 0);
}

TEST(NotSupported, TwentyNineEntryPointsSaySo) {
    int32_t (*const stubs[])(void) = {
        stspi_async_flush,
        stspi_async_read_image,
        stspi_async_wait,
        stspi_async_write_image,
        stspi_close_evchannel,
        stspi_delete_event,
        stspi_delete_files,
        stspi_get_image_group,
        stspi_get_image_group_byname,
        stspi_open_evchannel,
        stspi_open_image_group_list,
        stspi_activate_lsu,
        stspi_add_pool_lsu,
        stspi_alloc_lsu,
        stspi_close_lsu,
        stspi_create_lsu,
        stspi_create_lsu_with_storel,
        stspi_create_lsu_with_pool,
        stspi_dealloc_lsu,
        stspi_delete_lsu,
        stspi_extract_files,
        stspi_get_host,
        stspi_get_lsu_prop,
        stspi_get_pool_lsu,
        stspi_get_storel,
        stspi_get_storel_prop,
        stspi_open_lsu,
        stspi_remove_pool_lsu,
        stspi_shutdown_server,
    };
    EXPECT_EQ(std::size(stubs), 29U);
    for (int32_t (*stub)(void) : stubs)
        EXPECT_EQ(stub(), STS_E_NOT_SUPPORTED);
}

}  // namespace
