// How the tables of sections grow while a file is read.
#include <gmock/gmock.h>
#include <stdio.h>

#include <algorithm>

#include "tests/unit/sim/config_reading.h"

namespace {

struct TableSizes {
    size_t diskgroups;
    size_t enclosures;
};

// Hands the reader one header at a time and notes the sizes of the tables after each.
class GrowthRecorder {
public:
    GrowthRecorder(const char *header, size_t count) : m_header(std::string(header) + "=x;\n"), m_left(count) {
        setvbuf(m_file.get(), nullptr, _IOLBF, 4096);
        m_reading.read(m_file.get());
    }

    // Sizes when that many headers had been read.
    const TableSizes &after(size_t headers) const { return m_sizes.at(headers); }
    size_t largest() const {
        size_t largest = 0;
        for (const TableSizes &sizes : m_sizes)
            largest = std::max({largest, sizes.diskgroups, sizes.enclosures});
        return largest;
    }
    const ConfigReading &reading() const { return m_reading; }

private:
    static ssize_t next_header(void *cookie, char *buffer, size_t size) {
        auto &self = *static_cast<GrowthRecorder *>(cookie);
        self.m_sizes.push_back({self.m_reading.diskgroups.size(), self.m_reading.enclosures.size()});
        if (self.m_left == 0 || size < self.m_header.size())
            return 0;
        --self.m_left;
        self.m_header.copy(buffer, self.m_header.size());
        return static_cast<ssize_t>(self.m_header.size());
    }

    std::string m_header;
    size_t m_left;
    std::vector<TableSizes> m_sizes;
    ConfigReading m_reading;
    File m_file{fopencookie(this, "r", {next_header, nullptr, nullptr, nullptr})};
};

TEST(TableGrowth, NineDiskGroupsFitTheFirstTable) {
    const GrowthRecorder growth("DISKGROUP", 9);
    EXPECT_EQ(growth.after(0).diskgroups, 10U);
    EXPECT_EQ(growth.after(9).diskgroups, 10U);
    EXPECT_EQ(growth.reading().diskgroups.size(), 9U);
}

TEST(TableGrowth, TenthDiskGroupAndEachThatFollowsDoublesTheTable) {
    const GrowthRecorder growth("DISKGROUP", 13);
    EXPECT_EQ(growth.after(10).diskgroups, 20U);
    EXPECT_EQ(growth.after(11).diskgroups, 40U);
    EXPECT_EQ(growth.after(12).diskgroups, 80U);
    EXPECT_EQ(growth.after(13).diskgroups, 160U);
    EXPECT_EQ(growth.after(13).enclosures, 5U);
    EXPECT_EQ(growth.reading().diskgroups.size(), 13U);
}

TEST(TableGrowth, FourEnclosuresFitTheFirstTable) {
    const GrowthRecorder growth("ENCLOSURE", 4);
    EXPECT_EQ(growth.after(4).enclosures, 5U);
    EXPECT_EQ(growth.after(4).diskgroups, 10U);
    EXPECT_EQ(growth.reading().enclosures.size(), 4U);
    EXPECT_EQ(growth.reading().diskgroups.size(), 0U);
}

TEST(TableGrowth, FifthEnclosureAndEachThatFollowsDoublesBothTables) {
    const GrowthRecorder growth("ENCLOSURE", 7);
    EXPECT_EQ(growth.after(5).enclosures, 10U);
    EXPECT_EQ(growth.after(5).diskgroups, 20U);
    EXPECT_EQ(growth.after(7).enclosures, 40U);
    EXPECT_EQ(growth.after(7).diskgroups, 80U);
}

TEST(TableGrowth, From20480SlotsOnATableGrowsOnlyWhenItIsFull) {
    const GrowthRecorder growth("DISKGROUP", 20481);
    EXPECT_EQ(growth.after(20).diskgroups, 20480U);
    EXPECT_EQ(growth.after(21).diskgroups, 20480U);
    EXPECT_EQ(growth.after(20480).diskgroups, 20480U);
    EXPECT_EQ(growth.after(20481).diskgroups, 40960U);
    EXPECT_EQ(growth.reading().diskgroups.size(), 20481U);
}

TEST(TableGrowth, EnclosuresReachTheSameLimit) {
    const GrowthRecorder growth("ENCLOSURE", 30);
    EXPECT_EQ(growth.after(15).enclosures, 10240U);
    EXPECT_EQ(growth.after(16).enclosures, 20480U);
    EXPECT_EQ(growth.after(17).enclosures, 20480U);
    EXPECT_EQ(growth.after(30).diskgroups, 20480U);
}

TEST(TableGrowth, TenThousandSectionsOfEachKindStayBelowTheLimitAndTheRoomIsGivenBack) {
    for (const char *header : {"DISKGROUP", "ENCLOSURE"}) {
        const GrowthRecorder growth(header, 10000);
        EXPECT_EQ(growth.largest(), 20480U) << header;
        const bool groups = std::string(header) == "DISKGROUP";
        EXPECT_EQ(growth.reading().diskgroups.size(), groups ? 10000U : 0U);
        EXPECT_EQ(growth.reading().diskgroups.max_size(), growth.reading().diskgroups.size());
        EXPECT_EQ(growth.reading().enclosures.size(), groups ? 0U : 10000U);
        EXPECT_EQ(growth.reading().enclosures.max_size(), growth.reading().enclosures.size());
    }
}

TEST(TableGrowth, TablesOfAnySizeTakeEverySection) {
    for (const size_t size : {0U, 1U, 2U, 3U}) {
        std::string text;
        for (int i = 0; i < 12; ++i)
            text += "DISKGROUP=g" + std::to_string(i) + ";\nENCLOSURE=e" + std::to_string(i) + ";\n";
        ConfigReading reading(size, size);
        const File file(fmemopen(text.data(), text.size(), "r"));
        reading.read(file.get());
        ASSERT_EQ(reading.diskgroups.size(), 12U) << size;
        ASSERT_EQ(reading.enclosures.size(), 12U) << size;
        EXPECT_STREQ(c_text(reading.diskgroups[11].name), "g11");
        EXPECT_STREQ(c_text(reading.enclosures[11].name), "e11");
    }
}

TEST(TableGrowth, SectionsKeepTheirContentWhileTheTablesGrow) {
    std::string text;
    for (int i = 0; i < 3000; ++i) {
        const std::string number = std::to_string(i);
        text +=
            "DISKGROUP=g" + number + ";\nDISKS=d" + number + ";\nENCLOSURE=e" + number + ";\nDISKS=x" + number + ";\n";
    }
    const ConfigReading reading(text);
    ASSERT_EQ(reading.diskgroups.size(), 3000U);
    ASSERT_EQ(reading.enclosures.size(), 3000U);
    for (size_t i = 0; i < 3000; ++i) {
        const std::string number = std::to_string(i);
        ASSERT_EQ(c_text(reading.diskgroups[i].name), "g" + number);
        ASSERT_EQ(c_text((*reading.diskgroups[i].disks)[0]), "d" + number);
        ASSERT_EQ(c_text(reading.enclosures[i].label), "e" + number);
        ASSERT_EQ(c_text((*reading.enclosures[i].disks)[0]), "x" + number);
    }
}

}  // namespace
