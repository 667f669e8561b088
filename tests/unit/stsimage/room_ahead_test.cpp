// Room that is asked for before data is written. The tests stand on whatever file system there is, and say that it is ext4.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "tests/unit/stsimage/failing_calls.h"
#include "tests/unit/stsimage/image_test.h"

namespace {

constexpr uint64_t mebibyte = uint64_t{1} << 20;

class RoomAheadTest : public ImageTest {
protected:
    ~RoomAheadTest() override { let_calls_pass(); }

    // Writes the same to each of these places of an image, and gives how often room was asked for.
    int write_to(const std::string &data, const std::vector<uint64_t> &places) {
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(create("image", image), 0);
        count_calls();
        for (const uint64_t place : places) {
            const Library scope;
            EXPECT_EQ(write(image, data, place), 0) << stsimg_last_error();
        }
        const int asked = counted_calls()[Call::room];
        EXPECT_EQ(stsimg_close_image(image), 0);
        return asked;
    }

    const std::string piece = pattern(mebibyte);
};

TEST_F(RoomAheadTest, IsAskedForOnceForEachLargeWriteOnExt4) {
    pretend_to_be_ext4();
    EXPECT_EQ(write_to(piece, {0, mebibyte, 2 * mebibyte}), 3);
    EXPECT_EQ(content("image"), piece + piece + piece);
    EXPECT_EQ(write_to(piece.substr(0, 65536), {0, 65536}), 0);
}

TEST_F(RoomAheadTest, IsNotAskedForElsewhere) {
    pretend_to_share();
    EXPECT_EQ(write_to(piece, {0, mebibyte}), 0);
    EXPECT_EQ(content("image"), piece + piece);
}

TEST_F(RoomAheadTest, IsNotNeeded) {
    for (const int error : {ENOSPC, EDQUOT, EIO, EINTR, ENODEV, EOPNOTSUPP}) {
        SCOPED_TRACE(strerrorname_np(error));
        pretend_to_be_ext4();
        fail_call(Call::room, 1, error, Failing::from_then_on);
        EXPECT_EQ(write_to(piece, {0, mebibyte, 2 * mebibyte}), error == EOPNOTSUPP ? 1 : 3);
        EXPECT_TRUE(let_calls_pass());
        EXPECT_EQ(content("image"), piece + piece + piece);
    }
}

TEST_F(RoomAheadTest, IsFoundForNothingButWhatIsWritten) {
    const auto look = [this] {
        struct stat state {};
        write_to(piece, {5 * mebibyte, 400 * mebibyte});
        EXPECT_EQ(stat(file_of("image").c_str(), &state), 0);
        return state;
    };
    pretend_to_share();
    const struct stat left_alone = look();
    pretend_to_be_ext4();
    const struct stat asked_for = look();
    EXPECT_EQ(left_alone.st_size, asked_for.st_size);
    EXPECT_LT(asked_for.st_blocks * 512, static_cast<int64_t>(3 * mebibyte));
}

}  // namespace
