#include "simhost/host/entry_points.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "simhost/report/failure.h"

namespace {

void any_entry_point() {}
int32_t other_entry_point() { return 8; }

class BindEntryPoints : public testing::Test {
protected:
    BindEntryPoints() {
        std::fill(std::begin(table), std::end(table), any_entry_point);
        std::fill(std::begin(table2), std::end(table2), any_entry_point);
    }

    std::string refusal() {
        try {
            bind_entry_points(table, table2);
        } catch (const BadAnswer &failure) {
            return failure.what();
        }
        return "";
    }

    sts_entry_point_t table[STS_ENTRY_POINT_COUNT];
    sts_entry_point_t table2[STS_ENTRY_POINT_COUNT2];
};

}  // namespace

TEST_F(BindEntryPoints, TakesEachFromItsSlot) {
    const auto other = reinterpret_cast<sts_entry_point_t>(other_entry_point);
    table[STS_SLOT_TERMINATE] = other;
    table2[STS_SLOT2_UNMOUNT_LSU] = other;
    const EntryPoints entry = bind_entry_points(table, table2);
    EXPECT_EQ(entry.terminate(), 8);
    EXPECT_EQ(entry.unmount_lsu(), 8);
}

TEST_F(BindEntryPoints, NamesASlotThatIsNull) {
    table[STS_SLOT_CLAIM] = nullptr;
    EXPECT_EQ(refusal(), "slot 4 of the first table (stspi_claim) is null");
    table[STS_SLOT_CLAIM] = any_entry_point;
    table2[STS_SLOT2_MOUNT_LSU] = nullptr;
    EXPECT_EQ(refusal(), "slot 16 of the second table (stspi_mount_lsu) is null");
}

TEST_F(BindEntryPoints, DoesNotMindNullSlotsThatItDoesNotNeed) {
    table[15] = nullptr;
    table2[STS_SLOT2_ACTIVATE_LSU] = nullptr;
    EXPECT_EQ(refusal(), "");
}

TEST_F(BindEntryPoints, RefusesAMissingTable) {
    EXPECT_THROW(bind_entry_points(nullptr, table2), BadAnswer);
    EXPECT_THROW(bind_entry_points(table, nullptr), BadAnswer);
}
