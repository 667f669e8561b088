// What was acknowledged is there after a power cut, whichever part of what was not flushed has reached the disk.

#include <linux/magic.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/seeds.h"
#include "tests/unit/stsimage/image_test.h"
#include "tests/unit/stsimage/recorded_disk.h"

namespace {

using Content = std::optional<std::string>;  // none: there is no such image

class PowerCut : public DirectoryTest {
protected:
    // What a call promises once it has ended. Before that, either may be seen.
    struct Promise {
        std::string name;
        Content content;
        size_t begin, end;
    };

    void record(const Traits &traits) { disk.emplace(root(), traits); }

    void promise(const std::string &name, const Content &content, const std::function<void()> &calls) {
        const size_t begin = disk->now();
        calls();
        promises.push_back({name, content, begin, disk->now()});
    }

    void put(const std::string &name, const std::string &data) {
        promise(name, data, [&] { ASSERT_EQ(store(name, data), 0) << stsimg_last_error(); });
    }

    void change(const std::string &name, const std::string &earlier, const std::string &data, uint64_t place) {
        std::string whole = earlier;
        whole.replace(place, data.size(), data);
        promise(name, whole, [&] {
            sts_image_handle_t image = nullptr;
            ASSERT_EQ(open(name, STSIMG_MODE_WRITE, image), 0) << stsimg_last_error();
            ASSERT_EQ(write(image, data, place), 0);
            ASSERT_EQ(stsimg_close_image(image), 0);
        });
    }

    void take_away(const std::string &name) {
        promise(name, std::nullopt, [&] { ASSERT_EQ(remove(name), 0) << stsimg_last_error(); });
    }

    // A writer that never closed: nothing of it may be seen.
    void give_up(const std::string &name, const std::string &data) {
        ASSERT_EQ(stsimg_init(9), 0);
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create(name, image), 0);
        ASSERT_EQ(write(image, data), 0);
        ASSERT_EQ(stsimg_terminate(), 0);
    }

    std::vector<Content> possible(const std::string &name, size_t point) const {
        std::vector<Content> contents{std::nullopt};
        for (const Promise &made : promises)
            if (made.name == name && made.end <= point)
                contents = {made.content};
            else if (made.name == name && made.begin < point)
                contents.push_back(made.content);
        return contents;
    }

    // What is wrong with what the library sees there, "" if nothing is.
    std::string look(const std::string &name, size_t point) const {
        Content seen;
        const std::string found = content(name);
        if (found != "status " + std::to_string(STS_E_NOT_FOUND))
            seen = found;
        for (const Content &right : possible(name, point))
            if (seen == right)
                return "";
        std::ostringstream wrong;
        wrong << name << " is "
              << (seen ? std::to_string(seen->size()) + " bytes: " + seen->substr(0, 60) : "not there");
        return wrong.str();
    }

    std::string look_at_all(size_t point, const std::filesystem::path &place) const {
        std::set<std::string> of_promises;
        for (const Promise &made : promises)
            of_promises.insert(made.name);
        std::vector<std::string> there;
        for (const std::string &name : of_promises) {
            if (const std::string wrong = look(name, point); !wrong.empty())
                return wrong;
            if (content(name) != "status " + std::to_string(STS_E_NOT_FOUND))
                there.push_back(name);
        }
        if (std::filesystem::exists(place / "pool") && names() != there)
            return "the list tells of others";
        for (const std::string &name : of_promises)
            if (store(name, "afterwards") != 0 || content(name) != "afterwards")
                return name + " cannot be written any more: " + stsimg_last_error();
        return std::filesystem::exists(place / "pool" / unfinished().filename()) ? "what was unfinished stays" : "";
    }

    // Lets the power fail at every point, so many times or as many as STSIMAGE_POWER_CUTS says.
    void cut_power(unsigned times) {
        disk->end();
        if (const char *const wanted = std::getenv("STSIMAGE_POWER_CUTS"))
            times = static_cast<unsigned>(std::strtoul(wanted, nullptr, 10));
        expect_all_recorded();
        for (const uint32_t seed : seeds_of("PowerCut.LosesNothingThatWasAcknowledged", 1)) {
            std::mt19937 random(seed);
            for (size_t point = 0; point <= disk->now(); ++point)
                for (unsigned time = 0; time < times; ++time) {
                    const std::string wrong = look_after(point, [&] { return static_cast<uint32_t>(random()); });
                    ASSERT_EQ(wrong, "") << "seed " << seed << ", after " << point << " of " << disk->now()
                                         << " changes, time " << time;
                    ++states;
                }
            std::cout << "seed " << seed << ": " << states << " states, " << disk->now() << " changes" << std::endl;
        }
    }

private:
    std::string look_after(size_t point, const Chance &chance) const {
        const std::filesystem::path place = root().string() + ".cut";
        std::filesystem::create_directory(place);
        disk->leave(point, chance, place);
        setenv("STSIMAGE_ROOT", place.c_str(), 1);
        const std::string wrong = look_at_all(point, place);
        std::filesystem::remove_all(place);
        return wrong;
    }

    // Otherwise all of the above would be about less than what happens.
    void expect_all_recorded() const {
        const std::filesystem::path place = root().string() + ".all";
        std::filesystem::create_directory(place);
        disk->lay_all(place);
        const std::string compared = "diff -r '" + place.string() + "' '" + root().string() + "'";
        EXPECT_EQ(std::system(compared.c_str()), 0);
        std::filesystem::remove_all(place);
    }

    std::optional<RecordedDisk> disk;
    std::vector<Promise> promises;
    unsigned states = 0;
};

Traits traits_of(const std::string &kind) {
    if (kind == "WithoutExchange")
        return {false, std::nullopt};
    if (kind == "OfManyHosts")
        return {false, NFS_SUPER_MAGIC};
    return {true, kind == "Ext4" ? std::optional<long>(EXT4_SUPER_MAGIC) : std::nullopt};
}

class PowerCutOf : public PowerCut, public testing::WithParamInterface<std::string> {};

INSTANTIATE_TEST_SUITE_P(EveryKind, PowerCutOf, testing::Values("Ordinary", "WithoutExchange", "OfManyHosts", "Ext4"),
                         [](const auto &kind) { return kind.param; });

TEST_P(PowerCutOf, LosesNoImageThatWasCreatedReplacedOrChanged) {
    record(traits_of(GetParam()));
    const std::string one = pattern(20'000, 1), two = pattern(70'000, 2);
    put("name", one);
    put("other", two);
    put("name", two);
    put("name", "");
    change("other", two, "changed", 40'000);
    cut_power(10);
}

TEST_P(PowerCutOf, BringsNothingBackThatWasDeleted) {
    record(traits_of(GetParam()));
    put("name", "first");
    take_away("name");
    put("name", "second");
    put("name", "third");
    take_away("name");
    cut_power(10);
}

TEST_P(PowerCutOf, ShowsNothingOfAWriterThatGaveUp) {
    record(traits_of(GetParam()));
    put("name", "first");
    give_up("name", pattern(30'000));
    give_up("other", pattern(30'000));
    put("other", "second");
    cut_power(10);
}

// For what ext4 is asked for room for.
TEST_F(PowerCut, LosesNothingOfALargeImageWrittenInOrder) {
    record(traits_of("Ext4"));
    promise("large", pattern(9 << 20), [&] {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create("large", image), 0);
        for (uint64_t place = 0; place < 9; ++place)
            ASSERT_EQ(write(image, pattern(9 << 20).substr(place << 20, 1 << 20), place << 20), 0);
        ASSERT_EQ(stsimg_close_image(image), 0);
    });
    cut_power(3);
}

}  // namespace
