// Every entry point that needs memory, with each of its allocations failing in turn.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <new>

#include "tests/memory/failing_memory.h"
#include "tests/memory/world.h"

namespace {

// A call and what it needs before.
struct Case {
    const char *name;
    std::function<void(World &)> prepare;
    std::function<int32_t(World &)> call;
};

std::ostream &operator<<(std::ostream &stream, const Case &each) { return stream << each.name; }

void nothing(World &) {}

std::function<void(World &)> opened(const char *server_name, const char *lsu_name = "") {
    return [=](World &world) {
        world.open(server_name);
        world.name_lsu(lsu_name);
    };
}

std::function<void(World &)> created(const char *lsu_name = "") {
    return [=](World &world) {
        world.create();
        world.name_lsu(lsu_name);
    };
}

std::function<int32_t(World &)> opening(const char *server_name) {
    return [=](World &world) {
        return stspi_open_server(&world.session, server_name, nullptr, nullptr, &world.out_server);
    };
}

std::function<int32_t(World &)> creating(const char *server_name) {
    return [=](World &world) {
        return stspi_create_server(&world.session, server_name, nullptr, nullptr, world.hosts, 2, &world.out_server);
    };
}

std::function<int32_t(World &)> opening_target(const char *server_name) {
    return [=](World &world) {
        const int32_t status = stspi_open_target_server(world.server, server_name, nullptr, nullptr, &world.out_server);
        if (*server_name == 'K')
            world.out_server = nullptr;  // refused, and freed already
        return status;
    };
}

std::function<int32_t(World &)> describing(const char *server_name) {
    return [=](World &world) { return stspi_get_server_prop_byname(&world.session, server_name, &world.server_info); };
}

int32_t describe(World &world) { return stspi_get_server_prop(world.server, &world.server_info); }
int32_t open_list(World &world) { return stspi_open_lsu_list(world.server, nullptr, &world.out_list); }
int32_t open_dynamic(World &world) { return stspi_open_dynamic_lsu_list(&world.lsu, &world.out_list); }
int32_t next_name(World &world) { return stspi_list_lsu(world.list, world.out_name); }
int32_t tell_properties(World &world) { return stspi_get_lsu_prop_byname(&world.lsu, &world.lsu_info); }

int32_t mount(World &world) { return stspi_mount_lsu(&world.lsu, world.mount_point.c_str(), 1, 0, world.out_result); }

const sts_image_definition_t *definition() {
    static char bytes[16];
    return reinterpret_cast<const sts_image_definition_t *>(bytes);
}

int32_t create_image(World &world) {
    sts_image_handle_t image = nullptr;
    return stspi_create_image(&world.lsu, definition(), 0, &image);
}
int32_t open_image(World &world) {
    sts_image_handle_t image = nullptr;
    return stspi_open_image(&world.lsu, definition(), 0, &image);
}
int32_t delete_image(World &world) { return stspi_delete_image(&world.lsu, definition(), 0); }
int32_t list_images(World &world) {
    sts_image_list_handle_t images = nullptr;
    return stspi_open_image_list(&world.lsu, 0, &images);
}
int32_t describe_image(World &world) { return stspi_get_image_prop_byname(&world.lsu, definition(), nullptr); }

std::function<int32_t(World &)> copying(uint64_t length) {
    return [=](World &world) {
        auto *const image = reinterpret_cast<sts_image_handle_t>(&world);
        return stspi_copy_extent(image, 0, image, 0, length, nullptr, &world.out_bytes) |
               stspi_include_in_image(image, 0, image, 0, length);
    };
}

std::function<void(World &)> with_list(std::function<void(World &)> prepare, int32_t (*open)(World &)) {
    return [=](World &world) {
        prepare(world);
        open(world);
        std::swap(world.list, world.out_list);
    };
}

const Case cases[] = {
    {"claim", nothing, [](World &) { return stspi_claim("Kelvarpool:x"); }},
    {"claim_unclaimed", nothing, [](World &) { return stspi_claim("other:x"); }},
    {"open_array", nothing, opening("Kelvarpool:x")},
    {"open_copan", nothing, opening("copan:arr1")},
    {"open_copan_not_found", nothing, opening("copan:a_server_that_is_not_there")},
    {"open_null_host", nothing, opening("copan:")},
    {"open_unclaimed", nothing, opening("other:x")},
    {"open_without_colon", nothing, opening("copan")},
    {"create_array", nothing, creating("Kelvarpool:x")},
    {"create_copan", nothing, creating("copan:arr1")},
    {"create_null_host", nothing, creating("Kelvarpool:")},
    {"target_copan", opened("copan:arr1"), opening_target("copan:arr1")},
    {"target_not_found", opened("copan:arr1"), opening_target("copan:a_server_that_is_not_there")},
    {"target_array", opened("copan:arr1"), opening_target("Kelvarpool:x")},
    {"properties_of_array", opened("Kelvarpool:x"), describe},
    {"properties_of_copan", opened("copan:arr1"), describe},
    {"properties_byname_of_array", nothing, describing("Kelvarpool:x")},
    {"properties_byname_of_copan", nothing, describing("copan:arr1")},
    {"properties_byname_not_found", nothing, describing("copan:a_server_that_is_not_there")},
    {"list_pools", created(), open_list},
    {"list_pools_refused", opened("Kelvarpool:x"), open_list},
    {"list_copan", opened("copan:arr1"), open_list},
    {"list_volumes", created("p1"), open_dynamic},
    {"list_volumes_unknown", created("unknown"), open_dynamic},
    {"next_pool", with_list(created(), open_list), next_name},
    {"next_copan", with_list(opened("copan:arr1"), open_list), next_name},
    {"next_volume", with_list(created("p1"), open_dynamic), next_name},
    {"pool", created("p1"), tell_properties},
    {"pool_unknown", created("unknown"), tell_properties},
    {"disk", created("p1:a_disk_with_a_long_name"), tell_properties},
    {"disk_by_udid", created("p1:#UDID#a_token_with_some_length#a_disk_with_a_long_name#"), tell_properties},
    {"disk_unknown", created("p1:a_disk_that_is_not_there"), tell_properties},
    {"directory", created("/"), tell_properties},
    {"copan_lsu", opened("copan:arr1", "vol1"), tell_properties},
    {"copan_lsu_unknown", opened("copan:arr1", "a_volume_that_is_not_there"), tell_properties},
    {"mount", created("p1:a_disk_with_a_long_name"), mount},
    {"mount_plain", created("p1"), mount},
    {"mount_unknown", created("a_pool_that_is_not_there:d1"), mount},
    {"image_of_array", created("p1"), create_image},
    {"create_image", opened("copan:arr1", "vol1"), create_image},
    {"open_image", opened("copan:arr1", "vol1"), open_image},
    {"delete_image", opened("copan:arr1", "vol1"), delete_image},
    {"list_images", opened("copan:arr1", "vol1"), list_images},
    {"describe_image", opened("copan:arr1", "vol1"), describe_image},
    {"image_of_copan_unknown", opened("copan:arr1", "a_volume_that_is_not_there"), create_image},
    {"copy", nothing, copying(1000)},
    {"copy_beyond_32_bits", nothing, copying(0x100000010)},
    {"load_process", nothing, [](World &) { return load_process("/bin/false", " with arguments"); }},
    {"load_process_missing", nothing, [](World &) { return load_process("/no/such/program", ""); }},
};

int64_t open_files() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

class OutOfMemory : public testing::TestWithParam<Case> {
protected:
    // What a call tells with all the memory it wants, and the pieces that stay behind: the LSUs of Copan arrays live on.
    struct Answer {
        int32_t status;
        std::string told;
        int64_t left;
    };
    Answer answer(bool with_call) const {
        const int64_t before = pieces_in_use();
        Answer result{};
        {
            World world;
            GetParam().prepare(world);
            world.forget();
            if (with_call) {
                result.status = GetParam().call(world);
                result.told = unplaced(world);
            }
        }
        result.left = pieces_in_use() - before - (result.told.capacity() > 15 ? 1 : 0);
        return result;
    }

    // Without what differs from one world to the next.
    static std::string unplaced(const World &world) {
        std::string text = world.told();
        const std::string &place = world.directory.path();
        for (size_t at = text.find(place); at != std::string::npos; at = text.find(place, at))
            text.replace(at, place.size(), "DIRECTORY");
        return text;
    }
};

TEST_P(OutOfMemory, EachAllocationThatFailsPassesOutAndLeavesNothing) {
    const Case &tested = GetParam();
    answer(true);  // what is made once for the process
    const Answer wanted = answer(true);
    const int64_t left_without_call = answer(false).left;
    const int64_t files = open_files();
    bool is_over = false;
    for (int n = 1; !is_over; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        const int64_t before = pieces_in_use();
        int64_t expected_left = wanted.left;
        {
            World world;
            tested.prepare(world);
            world.forget();
            bool has_thrown = false;
            int32_t status = 0;
            {
                const FailingAllocation failing(n);
                try {
                    status = tested.call(world);
                } catch (const std::bad_alloc &) {
                    has_thrown = true;
                }
            }
            is_over = !FailingAllocation::has_failed();
            ASSERT_FALSE(is_over && has_thrown);
            EXPECT_TRUE(world.is_traced_to_the_end());
            if (!has_thrown) {  // the call got by without that memory
                EXPECT_EQ(status, wanted.status);
                EXPECT_EQ(unplaced(world), wanted.told);
            } else {
                EXPECT_TRUE(world.is_untouched());
                expected_left = left_without_call;
                // Nothing is half done: the same call gives the same answer now.
                world.forget();
                const int64_t left_by_the_call = wanted.left - left_without_call;
                EXPECT_EQ(tested.call(world), wanted.status);
                EXPECT_EQ(unplaced(world), wanted.told);
                expected_left += left_by_the_call;
            }
        }
        EXPECT_EQ(pieces_in_use() - before, expected_left);
        EXPECT_EQ(open_files(), files);
    }
}

INSTANTIATE_TEST_SUITE_P(EntryPoint, OutOfMemory, testing::ValuesIn(cases),
                         [](const auto &tested) { return std::string(tested.param.name); });

TEST(ListsThatNobodyCloses, GoWithTheirServer) {
    World world;
    const auto opened_and_left = [&] {
        const int64_t before = pieces_in_use();
        world.create();
        world.name_lsu("p1");
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(open_list(world), 0);
            EXPECT_EQ(open_dynamic(world), 0);
            world.out_list = nullptr;
            EXPECT_EQ(open_list(world), 0);
            EXPECT_EQ(stspi_close_lsu_list(world.out_list), 0);
        }
        EXPECT_EQ(stspi_close_server(world.server), 0);
        world.server = nullptr;
        world.out_list = nullptr;
        return pieces_in_use() - before;
    };
    opened_and_left();
    EXPECT_EQ(opened_and_left(), 0);
}

TEST(OutOfMemory, CallsThatReleaseOrAnswerFromMemoryAskForNone) {
    World world;
    world.create();
    ASSERT_EQ(stspi_open_lsu_list(world.server, nullptr, &world.list), 0);
    sts_registration_t registration{};
    sts_registration2_t registration2{};
    const FailingAllocation failing(1);
    EXPECT_EQ(stspi_init(9, nullptr, &registration), 0);
    EXPECT_EQ(stspi_init2(9, &registration2), 0);
    EXPECT_EQ(stspi_ioctl(nullptr, 1), 0);
    EXPECT_EQ(stspi_list_lsu(world.list, world.out_name), 0);
    EXPECT_EQ(stspi_close_lsu_list(world.list), 0);
    EXPECT_EQ(stspi_unmount_lsu(), 0);
    EXPECT_EQ(stspi_close_server(world.server), 0);
    EXPECT_EQ(stspi_terminate(), STS_E_NOT_SUPPORTED);
    world.list = nullptr;
    world.server = nullptr;
    EXPECT_FALSE(FailingAllocation::has_failed());
}

}  // namespace
