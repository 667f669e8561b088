// The places of a server's lists, as one thread sees them.
#include "plugin/open_lists.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <set>
#include <vector>

#include "plugin/lsu_list_handle.h"
#include "sim/array_size.h"

namespace {

using Places = std::set<OpenLists::Place *>;

TEST(OpenLists, PlacesOfClosedListsAreUsedAgain) {
    OpenLists lists;
    for (const size_t count : {1U, 2U, 3U, 5U}) {
        Places first;
        for (int round = 0; round < 4; ++round) {
            std::vector<OpenLists::Place *> open;
            for (size_t i = 0; i < count; ++i)
                open.push_back(lists.enter(nullptr));
            const Places places(open.begin(), open.end());
            EXPECT_EQ(places.size(), count);  // each list has its own
            if (round == 0)
                first = places;
            EXPECT_EQ(places, first) << count;
            for (OpenLists::Place *place : open)
                OpenLists::leave(place, nullptr);
        }
    }
}

TEST(OpenLists, FreePlacesAreTakenBeforeOneIsMade) {
    OpenLists lists;
    Places all;
    std::vector<OpenLists::Place *> open;
    for (int i = 0; i < 6; ++i)
        all.insert(open.emplace_back(lists.enter(nullptr)));
    for (OpenLists::Place *place : open)
        OpenLists::leave(place, nullptr);
    // Closed in between: five stand free when the sixth is closed again.
    OpenLists::Place *one = lists.enter(nullptr);
    OpenLists::leave(one, nullptr);
    Places again;
    for (int i = 0; i < 6; ++i)
        again.insert(lists.enter(nullptr));
    EXPECT_EQ(again, all);
    EXPECT_THAT(all, testing::Not(testing::Contains(lists.enter(nullptr))));
}

#if !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)  // these keep freed memory, and find the leak themselves
size_t resident_bytes() {
    size_t total = 0;
    size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

TEST(OpenLists, ListsThatNobodyClosesGoWithThem) {
    constexpr size_t most_growth = size_t{32} << 20;
    const size_t before = resident_bytes();
    for (int round = 0; round < 40; ++round) {
        OpenLists lists;
        for (int i = 0; i < 2; ++i) {
            auto list = std::make_unique<LsuListHandle>();
            auto pools = std::make_unique<DiskGroupTable>();
            resize(*pools, 20000);
            list->pool_list = std::move(pools);
            list->place = lists.enter(list.get());
            static_cast<void>(list.release());  // the lists' own from now on
        }
    }
    EXPECT_LT(resident_bytes(), before + most_growth);
}
#endif

}  // namespace
