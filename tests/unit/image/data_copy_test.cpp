#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <new>

#include "stspi/stspi.h"
#include "tests/support/image_library_double.h"

namespace {

using testing::IsEmpty;

class CopyExtent : public testing::Test {
protected:
    int32_t copy(uint64_t length) {
        return stspi_copy_extent(m_target, 0x1111111111, m_source, 0x2222222222, length, this, &m_count);
    }

    int m_images[2] = {};
    sts_image_handle_t m_target = &m_images[0];
    sts_image_handle_t m_source = &m_images[1];
    uint64_t m_count = 4711;
    ImageLibraryDouble m_library;
};

TEST_F(CopyExtent, OneReadAndOneWrite) {
    m_library.read_count = 100;
    m_library.write_count = 99;
    EXPECT_EQ(copy(100), 0);
    EXPECT_EQ(m_count, 99U);
    ASSERT_EQ(m_library.calls().size(), 2U);
    const ImageLibraryCall &read = m_library.calls()[0];
    EXPECT_EQ(read.function, "stsimg_read_image");
    EXPECT_EQ(read.arguments[0], pointer_bits(m_source));
    EXPECT_EQ(read.arguments[2], 100U);
    EXPECT_EQ(read.arguments[3], 0x2222222222U);
    const ImageLibraryCall &write = m_library.calls()[1];
    EXPECT_EQ(write.function, "stsimg_write_image");
    EXPECT_EQ(write.arguments[0], pointer_bits(m_target));
    EXPECT_EQ(write.arguments[1], 0U);
    EXPECT_EQ(write.arguments[2], read.arguments[1]);  // the same buffer
    EXPECT_EQ(write.arguments[3], 100U);
    EXPECT_EQ(write.arguments[4], 0x1111111111U);
    EXPECT_EQ(m_library.written, std::string(100, 'r'));
}

TEST_F(CopyExtent, ShortReadWritesWhatWasRead) {
    m_library.read_count = 10;
    m_library.write_count = 10;
    EXPECT_EQ(copy(100), 0);
    EXPECT_EQ(m_library.calls()[1].arguments[3], 10U);
    EXPECT_EQ(m_count, 10U);
    EXPECT_EQ(m_library.calls().size(), 2U);  // no second try
}

TEST_F(CopyExtent, CountsThatTheLibraryLeavesAreZero) {
    m_library.sets_counts = false;
    EXPECT_EQ(copy(100), 0);
    ASSERT_EQ(m_library.calls().size(), 2U);
    EXPECT_EQ(m_library.calls()[1].arguments[3], 0U);
    EXPECT_EQ(m_count, 0U);
}

TEST_F(CopyExtent, LengthZeroIsReadAndWritten) {
    m_library.write_count = 5;
    EXPECT_EQ(copy(0), 0);
    ASSERT_EQ(m_library.calls().size(), 2U);
    EXPECT_EQ(m_library.calls()[0].arguments[2], 0U);
    EXPECT_NE(m_library.calls()[0].arguments[1], 0U);
    EXPECT_EQ(m_library.calls()[1].arguments[3], 0U);
    EXPECT_EQ(m_count, 5U);
}

TEST_F(CopyExtent, FailedReadWritesNothingAndSetsNoCount) {
    m_library.read_status = 2060099;
    EXPECT_EQ(copy(100), 2060099);
    EXPECT_EQ(m_library.calls().size(), 1U);
    EXPECT_EQ(m_count, 4711U);
}

TEST_F(CopyExtent, FailedWriteSetsTheCountAllTheSame) {
    m_library.read_count = 100;
    m_library.write_count = 60;
    m_library.write_status = 2060099;
    EXPECT_EQ(copy(100), 2060099);
    EXPECT_EQ(m_count, 60U);
}

TEST_F(CopyExtent, NullTargetOrCountIsInvalid) {
    EXPECT_EQ(stspi_copy_extent(nullptr, 0, m_source, 0, 1, nullptr, &m_count), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_copy_extent(m_target, 0, m_source, 0, 1, nullptr, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_library.calls(), IsEmpty());
    EXPECT_EQ(m_count, 4711U);
}

TEST_F(CopyExtent, NullSourceIsHandedOn) {
    m_library.read_status = 2060099;
    EXPECT_EQ(stspi_copy_extent(m_target, 0, nullptr, 0, 1, nullptr, &m_count), 2060099);
    EXPECT_EQ(m_library.calls()[0].arguments[0], 0U);
}

TEST_F(CopyExtent, LengthThatIsNegativeIn32BitsIsInvalid) {
    EXPECT_EQ(copy(0x80000000), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(copy(0xffffffffffffffff), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(copy(0x180000000), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_library.calls(), IsEmpty());
}

TEST_F(CopyExtent, LengthBeyond32BitsReachesTheReadAsItIs) {
    m_library.read_count = 4096;  // more than the low 32 bits of the length: there is room for all the read may give
    std::vector<uint64_t> lengths{0x100000010};
#ifndef __SANITIZE_THREAD__  // whose own memory leaves no terabyte in one piece on some runs
    lengths.push_back(0x7000000000000001);
#endif
    for (const uint64_t length : lengths) {
        EXPECT_EQ(copy(length), 0);
        EXPECT_EQ(m_library.calls()[m_library.calls().size() - 2].arguments[2], length);
    }
    EXPECT_EQ(m_library.written, std::string(lengths.size() * 4096, 'r'));
}

uint64_t address_space() {
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// What else the process may take meanwhile.
constexpr uint64_t slack = uint64_t{256} << 20;

TEST_F(CopyExtent, RoomIsGivenBackAfterwards) {
    uint64_t during = 0;
    m_library.when_called = [&] { during = std::max(during, address_space()); };
    for (const uint64_t length : {uint64_t{0x7fffffff}, uint64_t{0x17fffffff}, uint64_t{0x300000000}}) {
        const uint64_t before = address_space();
        during = 0;
        EXPECT_EQ(copy(length), 0) << length;
        EXPECT_GE(during, before + length) << length;
        EXPECT_LT(during, before + length + slack) << length;
        EXPECT_LT(address_space(), before + slack) << length;
    }
}

#ifndef __SANITIZE_THREAD__
TEST_F(CopyExtent, RoomIsATerabyteAtMost) {
    constexpr uint64_t terabyte = uint64_t{1} << 40;
    uint64_t during = 0;
    m_library.when_called = [&] { during = std::max(during, address_space()); };
    for (const uint64_t length : {terabyte, terabyte + slack, uint64_t{0x7000000000000001}}) {
        const uint64_t before = address_space();
        during = 0;
        EXPECT_EQ(copy(length), 0) << length;
        EXPECT_GE(during, before + terabyte) << length;
        EXPECT_LT(during, before + terabyte + slack / 2) << length;
        EXPECT_LT(address_space(), before + slack) << length;
    }
}
#endif

// The sanitizers need more address space than a limit would leave them.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(CopyExtent, NoRoomForTheDataThrowsBeforeAnythingIsRead) {
    const auto limit_memory = [] {
        const rlimit least{uint64_t{1} << 20, uint64_t{1} << 20};
        return setrlimit(RLIMIT_AS, &least) == 0;
    };
    const pid_t child = fork();
    if (child == 0)
        _exit(limit_memory() && mmap(nullptr, 0x40000000, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED
                  ? 0
                  : 1);
    int limit_missed = -1;
    ASSERT_EQ(waitpid(child, &limit_missed, 0), child);
    if (limit_missed != 0)
        GTEST_SKIP() << "nothing holds a process to its limit of memory here, as under an emulator";
    const auto refused_without_room = [&](uint64_t length) {
        if (!limit_memory())
            return false;
        try {
            copy(length);
        } catch (const std::bad_alloc &) {
            return m_library.calls().empty() && m_count == 4711;
        }
        return false;
    };
    for (const uint64_t length : {uint64_t{0x40000000}, uint64_t{0x100000010}})
        EXPECT_EXIT(_exit(refused_without_room(length) ? 0 : 1), testing::ExitedWithCode(0), "") << length;
}
#endif

class IncludeInImage : public CopyExtent {};

TEST_F(IncludeInImage, OneReadAndOneWrite) {
    m_library.read_count = 8;
    EXPECT_EQ(stspi_include_in_image(m_target, 3, m_source, 4, 8), 0);
    ASSERT_EQ(m_library.calls().size(), 2U);
    EXPECT_EQ(m_library.calls()[0].arguments[0], pointer_bits(m_source));
    EXPECT_EQ(m_library.calls()[0].arguments[3], 4U);
    EXPECT_EQ(m_library.calls()[1].arguments[0], pointer_bits(m_target));
    EXPECT_EQ(m_library.calls()[1].arguments[4], 3U);
    EXPECT_EQ(m_library.written, "rrrrrrrr");
}

TEST_F(IncludeInImage, NullTargetIsInvalid) {
    EXPECT_EQ(stspi_include_in_image(nullptr, 0, m_source, 0, 1), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_library.calls(), IsEmpty());
}

TEST_F(IncludeInImage, NullSourceIsHandedOnAndTheReadsStatusReturned) {
    m_library.read_status = 2060099;
    EXPECT_EQ(stspi_include_in_image(m_target, 0, nullptr, 0, 1), 2060099);
    ASSERT_EQ(m_library.calls().size(), 1U);
    EXPECT_EQ(m_library.calls()[0].arguments[0], 0U);
}

TEST_F(IncludeInImage, FailedWriteGivesItsStatus) {
    m_library.write_status = 2060099;
    EXPECT_EQ(stspi_include_in_image(m_target, 0, m_source, 0, 1), 2060099);
}

}  // namespace
