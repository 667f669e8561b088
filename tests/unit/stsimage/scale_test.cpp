// Many images in one LSU: what a call costs does not depend on how many there are.
//
// STSIMAGE_SCALE sets the number of images (100,000, or 20,000 under the slow sanitizers).
#include <cstdlib>
#include <fstream>
#include <set>

#include "tests/unit/stsimage/failing_allocations.h"
#include "tests/unit/stsimage/failing_calls.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

namespace {

size_t number_of_images() {
    const char *setting = std::getenv("STSIMAGE_SCALE");
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr size_t usual = 20000;
#else
    constexpr size_t usual = 100000;
#endif
    return setting != nullptr ? std::strtoull(setting, nullptr, 10) : usual;
}

// The function runs twice, since what is made once and for all does not count.
template <class Function>
std::map<Call, int> calls_of(Function function) {
    function();
    count_calls();
    {
        const Library scope;
        function();
    }
    return counted_calls();
}

}  // namespace

using ManyImages = ImageTest;

TEST_F(ManyImages, CallsCostTheSameAndListingStreams) {
    ASSERT_EQ(store("image 0", "data"), 0);
    const sts_image_definition_t definition = image_named("image 0"), new_definition = image_named("new");
    sts_image_handle_t image = nullptr;
    sts_image_list_handle_t list = nullptr;
    sts_image_definition_t found;
    sts_image_info_t properties;
    const auto open_by_name = [&] {
        stsimg_open_image("pool", nullptr, "", &definition, STSIMG_MODE_READ, &image);
        stsimg_close_image(image);
    };
    const auto describe_by_name = [&] { stsimg_get_image_prop_byname("pool", nullptr, "", &definition, &properties); };
    const auto create_and_delete = [&] {
        stsimg_create_image("pool", nullptr, "", &new_definition, 0, &image);
        stsimg_close_image(image);
        stsimg_delete_image("pool", nullptr, "", &new_definition, 0);
    };
    const auto begin_list = [&] {
        stsimg_open_image_list("pool", nullptr, "", 0, &list);
        stsimg_close_image_list(list);
    };
    const auto opening = calls_of(open_by_name);
    const auto describing = calls_of(describe_by_name);
    const auto creating = calls_of(create_and_delete);
    const auto listing = calls_of(begin_list);
    EXPECT_GT(opening.at(Call::open), 0);
    EXPECT_EQ(opening.at(Call::list), 0);

    // Links to a few images stand for many; a file takes 65,000 of them at most.
    const size_t wanted = number_of_images();
    for (size_t number = 1; number < wanted; ++number) {
        const std::string name = "image " + std::to_string(number);
        if (number % 50000 == 0)
            ASSERT_EQ(store(name, "data"), 0);
        else
            fs::create_hard_link(file_of("image " + std::to_string(number / 50000 * 50000)), file_of(name));
    }

    EXPECT_EQ(calls_of(open_by_name), opening);
    EXPECT_EQ(calls_of(describe_by_name), describing);
    EXPECT_EQ(calls_of(create_and_delete), creating);
    EXPECT_EQ(calls_of(begin_list), listing);

    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    std::set<std::string> names_found;
    for (size_t number = 0; number < wanted; ++number) {
        count_calls();
        {
            const Library scope;
            ASSERT_EQ(stsimg_list_image(list, &found), 0);
        }
        const auto step = counted_calls();
        ASSERT_LE(step.at(Call::list), 1);
        ASSERT_EQ(step.at(Call::memory), 0);
        names_found.insert(found.name);
    }
    EXPECT_EQ(stsimg_list_image(list, &found), STS_E_NO_MORE_ENTRIES);
    EXPECT_EQ(stsimg_close_image_list(list), 0);
    EXPECT_EQ(names_found.size(), wanted);
}

using LargeImage = ImageTest;

// What a group of blocks costs, once the most tables are in memory that may be: its entry in the index.
TEST_F(LargeImage, TakesNoMemoryForItsChecksums) {
    constexpr uint64_t group_size = 2048 * 4096, groups = 1000;
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("large", image), 0);
    const auto write_groups = [&](uint64_t first) {
        for (uint64_t group = first; group < first + groups; ++group)
            ASSERT_EQ(write(image, "x", group * group_size), 0);
    };
    write_groups(0);
    const int64_t before = live_allocations();
    write_groups(groups);
    EXPECT_LE(live_allocations() - before, static_cast<int64_t>(groups + groups / 10));
    ASSERT_EQ(stsimg_close_image(image), 0);

    ASSERT_EQ(open("large", STSIMG_MODE_READ, image), 0);
    std::string data;
    const auto read_groups = [&](uint64_t first) {
        for (uint64_t group = first; group < first + groups; ++group) {
            ASSERT_EQ(read(image, data, 1, group * group_size), 0);
            ASSERT_EQ(data, "x");
        }
    };
    read_groups(0);
    const int64_t loaded = live_allocations();
    read_groups(groups);
    EXPECT_EQ(live_allocations(), loaded);
    EXPECT_EQ(stsimg_close_image(image), 0);
}
