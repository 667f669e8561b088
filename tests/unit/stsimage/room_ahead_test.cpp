// Room that is asked for before data is written. The tests stand on whatever file system there is, and say that it is ext4.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "tests/unit/stsimage/failing_calls.h"
#include "tests/unit/stsimage/image_test.h"

namespace {

constexpr uint64_t mebibyte = uint64_t{1} << 20;
constexpr uint64_t image_bytes = 20 * mebibyte;  // 8 MiB must have come before room is asked for, in pieces of as much
constexpr int times_asked = 2;

class RoomAheadTest : public ImageTest {
protected:
    ~RoomAheadTest() override { let_calls_pass(); }

    void begin() {
        ASSERT_EQ(create("image", image), 0);
        count_calls();
    }

    // Writes the data from this place on, in calls of so many bytes.
    void write_all(const std::string &piece, uint64_t place, uint64_t call_bytes) {
        for (uint64_t done = 0; done < piece.size(); done += call_bytes) {
            const Library scope;
            ASSERT_EQ(write(image, std::string_view(piece).substr(done, call_bytes), place + done), 0)
                << stsimg_last_error();
        }
    }

    // How often room was asked for.
    int end() {
        const Library scope;
        EXPECT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
        return counted_calls()[Call::room];
    }

    int store_in_order(uint64_t call_bytes) {
        begin();
        write_all(data, 0, call_bytes);
        return end();
    }

    struct stat state() const {
        struct stat found {};
        EXPECT_EQ(stat(file_of("image").c_str(), &found), 0);
        return found;
    }

    const std::string data = pattern(image_bytes);
    sts_image_handle_t image = nullptr;
};

TEST_F(RoomAheadTest, IsAskedForByThePieceWhereAnImageGrowsInOrderOnExt4) {
    for (const uint64_t call_bytes : {mebibyte, mebibyte / 16, uint64_t{100'000}}) {
        pretend_to_be_ext4();
        EXPECT_EQ(store_in_order(call_bytes), times_asked) << call_bytes;
        EXPECT_TRUE(content("image") == data);
    }
}

TEST_F(RoomAheadTest, IsNotAskedForElsewhere) {
    pretend_to_share();
    EXPECT_EQ(store_in_order(mebibyte), 0);
    EXPECT_TRUE(content("image") == data);
}

TEST_F(RoomAheadTest, IsNotNeeded) {
    for (const int error : {ENOSPC, EDQUOT, EIO, EINTR, ENODEV, EOPNOTSUPP}) {
        SCOPED_TRACE(strerrorname_np(error));
        pretend_to_be_ext4();
        fail_call(Call::room, 1, error, Failing::from_then_on);
        // Unless it is never given, it is asked for at each of the twelve calls behind the first 8 MiB.
        EXPECT_EQ(store_in_order(mebibyte), error == EOPNOTSUPP ? 1 : 12);
        EXPECT_TRUE(let_calls_pass());
        EXPECT_TRUE(content("image") == data);
    }
}

TEST_F(RoomAheadTest, IsGivenBackAtTheEnd) {
    pretend_to_share();
    store_in_order(mebibyte);
    const struct stat left_alone = state();
    pretend_to_be_ext4();
    store_in_order(mebibyte);
    const struct stat asked_for = state();
    EXPECT_EQ(left_alone.st_size, asked_for.st_size);
    EXPECT_LT(asked_for.st_blocks * 512, static_cast<int64_t>(22 * mebibyte));
}

TEST_F(RoomAheadTest, ThatCannotBeGivenBackIsNoFailure) {
    pretend_to_be_ext4();
    begin();
    write_all(data, 0, mebibyte);
    fail_call(Call::truncate, 1, EIO, Failing::once);
    EXPECT_EQ(end(), times_asked);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_TRUE(content("image") == data);
}

TEST_F(RoomAheadTest, IsNotAskedForWhereAnImageHasGaps) {
    pretend_to_be_ext4();
    begin();
    for (uint64_t place = 0; place < 100 * mebibyte; place += 10 * mebibyte)
        write_all(data.substr(0, 7 * mebibyte), place, mebibyte);
    write_all(data.substr(0, 7 * mebibyte), 0, mebibyte);
    EXPECT_EQ(end(), 0);
    EXPECT_LT(state().st_blocks * 512, static_cast<int64_t>(72 * mebibyte));
}

}  // namespace
