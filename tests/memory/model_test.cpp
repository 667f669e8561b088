// The parts behind the entry points, where no entry point reaches all of them.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>

#include "plugin/property_list.h"
#include "sim/array_size.h"
#include "sim/name_lists.h"
#include "sim/orv_sim_storage_server.h"
#include "tests/memory/failing_memory.h"
#include "tests/support/config_directory.h"

namespace {

// Lets each allocation of action fail in turn. Either action gets by without that memory, or what prepare made is as it was;
// and all memory is given back.
template <class Subject>
void expect_all_or_nothing(const std::function<std::unique_ptr<Subject>()> &prepare,
                           const std::function<void(Subject &)> &action,
                           const std::function<std::string(Subject &)> &text_of) {
    int failures = 0;
    for (int n = 1; n == 1 || FailingAllocation::has_failed(); ++n) {
        const int64_t before = pieces_in_use();
        {
            const std::unique_ptr<Subject> subject = prepare();
            const std::string text = text_of(*subject);
            bool has_thrown = false;
            {
                const FailingAllocation failing(n);
                try {
                    action(*subject);
                } catch (const std::bad_alloc &) {
                    has_thrown = true;
                }
            }
            if (has_thrown) {
                ++failures;
                EXPECT_EQ(text_of(*subject), text) << "allocation " << n;
            }
        }
        EXPECT_EQ(pieces_in_use(), before) << "allocation " << n;
    }
    EXPECT_GT(failures, 0);
}

// Longer than any string keeps within itself.
std::string long_name(int number) { return "a_name_of_some_length_" + std::to_string(number); }

TEST(MemoryOfPropertyList, AdditionToAFullList) {
    expect_all_or_nothing<STSPropertyList>(
        [] {
            auto list = std::make_unique<STSPropertyList>();
            for (int i = 0; i < 256; ++i)
                list->add(long_name(i).c_str(), "value");
            return list;
        },
        [](STSPropertyList &list) { EXPECT_EQ(list.add("one_more_than_there_is_room_for", "value"), 0); },
        [](STSPropertyList &list) { return std::string(c_text(list.to_string())); });
}

TEST(MemoryOfPropertyList, ReadFromText) {
    expect_all_or_nothing<Name>([] { return std::make_unique<Name>("a=1;b=2;c=3;a=4;flag;"); },
                                [](Name &text) { const STSPropertyList list(text); },
                                [](Name &text) { return std::string(c_text(text)); });
}

TEST(MemoryOfHostSet, AdditionToAFullSet) {
    expect_all_or_nothing<HostSet>(
        [] {
            auto hosts = std::make_unique<HostSet>(16);
            for (int i = 0; i < 16; ++i)
                hosts->bind(long_name(i).c_str(), 1);
            return hosts;
        },
        [](HostSet &hosts) { EXPECT_EQ(hosts.bind("one_more_than_there_is_room_for", 1), 0); },
        [](HostSet &hosts) { return joined_names(&hosts); });
}

TEST(MemoryOfNameLists, Growth) {
    expect_all_or_nothing<NameList>(
        [] {
            auto names = std::make_unique<NameList>();
            resize(*names, 3);
            for (int i = 0; i < 3; ++i)
                (*names)[static_cast<size_t>(i)] = long_name(i).c_str();
            return names;
        },
        [](NameList &names) { resize(names, 4); }, [](NameList &names) { return joined_names(&names); });
}

TEST(MemoryOfNameLists, SplittingOfAText) {
    expect_all_or_nothing<std::string>(
        [] { return std::make_unique<std::string>(long_name(1) + "," + long_name(2)); },
        [](std::string &text) {
            const std::unique_ptr<NameList> names(tokenize(text.c_str(), ","));
            const std::unique_ptr<HostSet> hosts(tokenize_to_map(text.c_str(), ","));
            const std::unique_ptr<std::vector<std::string>> vector(tokenize_to_vector(text.c_str(), ","));
        },
        [](std::string &text) { return text; });
}

TEST(MemoryOfDiskArray, SyncWritesTheWholeFileOrLeavesTheOldOne) {
    const ConfigDirectory directory;
    directory.write("lab1", "DISKGROUP=g1;\nDISKS=a,b;\nHOSTS=h1,h2;\nVOLUMES=v;\nENCLOSURE=e1;\nDISKS=c;\n");
    expect_all_or_nothing<OrvSimStorageServer>([] { return std::make_unique<OrvSimStorageServer>("lab1:x"); },
                                               [](OrvSimStorageServer &array) { EXPECT_EQ(array.sync(), 0); },
                                               [&](OrvSimStorageServer &) { return directory.read("lab1"); });
}

}  // namespace
